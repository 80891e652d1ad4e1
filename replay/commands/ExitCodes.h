// How the program ends, for scripts.
#pragma once

namespace Replay {

constexpr int kExitFailed = 1;  ///< a session failed, the plug-in could not be loaded, or the output not be written
constexpr int kExitBadInput = 2;  ///< bad arguments or input
constexpr int kExitDiffers = 4;   ///< answers are not as recorded

}  // namespace Replay
