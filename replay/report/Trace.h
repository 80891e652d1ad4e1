// A played recording as trace events, for Perfetto's UI and chrome://tracing.
#pragma once

#include "Report.h"

namespace Replay {

/// Writes trace-event JSON: a process a session; tracks for sensor, frames in flight, history, each locked frame
/// and each request; the log as instants. Slices of a track never overlap.
void writeTrace(std::ostream& out, Report const& report);

}  // namespace Replay
