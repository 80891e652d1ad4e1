// Reads what `adb logcat` printed, and finds the calls of the plug-in in it.
#pragma once

#include "Explain.h"

namespace Replay {

/// A line that the plug-in wrote.
struct LogcatLine {
    std::string process;  ///< its id; empty where the form of the log does not tell
    std::string thread;   ///< likewise
    char level = 'V';
    std::string text;
};

/// Reads a line in the forms threadtime, time, brief and tag of logcat, with year, zone, user, microseconds or
/// seconds since 1970. Nothing: the plug-in did not write it.
std::optional<LogcatLine> readLogcatLine(std::string const& line);

/// What a log tells of one request.
struct LoggedRequest {
    uint32_t requestNo = 0;
    Explanation explanation;
};

/// What a log tells of one process.
struct LoggedProcess {
    std::string id;
    bool hasDebug = false;                ///< the selector's DEBUG lines are there
    std::vector<LoggedRequest> requests;  ///< in the order of their first calls
};

/// The calls in a log text. Without any line of the plug-in the answer is empty.
std::vector<LoggedProcess> readLogcat(std::string const& text);

}  // namespace Replay
