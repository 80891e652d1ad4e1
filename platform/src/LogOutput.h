// What the parts of the stand-in share about the log.
#pragma once

namespace NSCam::Utils::Log {

/// Sets the gate from the text of log.tag.SampleSelector: its first letter counts, in either case; a text
/// without a level letter, or an empty one, means the default.
void setMinimumLevel(char const* level);

/// Hands a line to the sink or to standard error.
void write(int priority, char const* tag, char const* text);

}  // namespace NSCam::Utils::Log
