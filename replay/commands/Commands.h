// The subcommands of zsl-replay.
#pragma once

#include <CLI/CLI.hpp>

namespace Replay {

constexpr int kExitFailed = 1;  ///< a session failed, the plug-in could not be loaded, or the output not be written
constexpr int kExitBadInput = 2;  ///< bad arguments or input
constexpr int kExitDiffers = 4;   ///< answers are not as recorded

/// Each adds its options to `app`; what it answers runs it, once they are parsed, and answers the exit code.
std::function<int()> addPlay(CLI::App& app);
std::function<int()> addExplain(CLI::App& app);
std::function<int()> addSweep(CLI::App& app);
std::function<int()> addGenerate(CLI::App& app);
std::function<int()> addVerify(CLI::App& app);

}  // namespace Replay
