// The host's log gate.
#pragma once

/// Non-zero when lines of `level` ('V', 'D', 'I', 'W', 'E' or 'F') are enabled for `tag`.
extern "C" int vzrcam_testLog(char const* tag, int level);
