// Recordings of real calls (docs/recording.md), made into sessions.
#pragma once

#include "replay/model/Session.h"

namespace Replay {

/// The sessions of a recording's text: one for all selectors, or one for each when they have frames of their own.
/// `file` only names the recording in errors. Throws InputError.
SessionSet readRecordedSessions(std::string const& text, std::string const& file);

}  // namespace Replay
