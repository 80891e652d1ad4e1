// Recorded calls made again, and every answer compared.
#pragma once

#include <cstddef>
#include <string>
#include <vector>

namespace Replay {

/// What came of one recording.
struct Verification {
    size_t calls = 0;
    size_t selectors = 0;
    size_t unsure = 0;     ///< calls that were not compared: their answers depend on what is not recorded
    std::string why;       ///< of the first of these
    size_t differing = 0;  ///< calls with another answer than the recorded one
    std::vector<std::string> differences;  ///< the first few of them in words
    std::vector<std::string> notes;        ///< of the recording
};

/// Makes the calls of the recording that these files hold again, in this process, on the plug-in of this path.
/// Throws InputError, PluginError and BrokenPlugin.
Verification verifyRecording(std::vector<std::string> const& files, std::string const& plugin);

}  // namespace Replay
