// Reads what a command is given: a file or standard input, a session or a dump.
#pragma once

#include <string>

#include "Session.h"

namespace Replay {

struct Input {
    std::string name;  ///< for messages
    std::string text;
    bool isSession = false;  ///< a session file; otherwise a dump
};

/// Reads the file, or standard input for "-". What is neither a session nor a dump is named for what it is:
/// SessionError.
Input readInput(std::string const& path);

}  // namespace Replay
