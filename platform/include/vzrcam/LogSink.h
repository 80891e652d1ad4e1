// Where the stand-in's log lines go.
#pragma once

#include <cstdint>
#include <functional>
#include <string>

namespace NSCam::Utils::Log {

/// Takes one line: its Android priority (3 debug ... 7 fatal), tag and text.
using Sink = std::function<void(int priority, char const* tag, std::string const& text)>;

/// Sends all lines of the process to `sink`, called by the thread that writes the line, one line at a time; an
/// empty sink sends them to standard error again. The sink must not write log lines or set a sink.
void setSink(Sink sink);

/// The letter logcat shows for a priority: V, D, I, W, E or F.
char priorityLetter(int priority);

/// The priority of a level letter, in either case; 0 when it is none. S, silent, is above every line.
int priorityOf(char levelLetter);

/// The line in logcat's threadtime form, "MM-DD HH:MM:SS.mmm  PID  TID L TAG: text", in local time.
/// `sinceEpochNs` is nanoseconds since 1970.
std::string threadtimeLine(int priority, char const* tag, std::string const& text, int64_t sinceEpochNs);

}  // namespace NSCam::Utils::Log
