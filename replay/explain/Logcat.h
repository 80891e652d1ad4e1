// Reads what `adb logcat` printed, and finds the calls of the plug-in in it.
#pragma once

#include "Explain.h"

namespace Replay {

/// A line that the plug-in wrote, or that tells of lines that are not there.
struct LogcatLine {
    std::string process;  ///< its id; empty where the form of the log does not tell
    std::string thread;   ///< likewise
    char level = 'V';
    bool isOfChatty = false;  ///< the log's own note of lines that it dropped
    std::string text;
};

/// Reads a line in the forms threadtime, time, brief and tag of logcat, with year, zone, user, microseconds, colour
/// or seconds since 1970. Nothing: neither the plug-in nor chatty wrote it.
std::optional<LogcatLine> readLogcatLine(std::string_view line);

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
    std::vector<std::string> notes;       ///< which lines are missing, as far as the log says it
};

/// The calls in a log text. Calls of several threads are told apart, unless the log shows that they are of one
/// selector. Without any line of the plug-in the answer is empty.
std::vector<LoggedProcess> readLogcat(std::string const& text);

}  // namespace Replay
