// What a replay found, for people and for programs.
#pragma once

#include <ostream>

#include "Host.h"

namespace Replay {

struct PlayedSession {
    Session const* session = nullptr;
    SessionResult result;
};

/// A table a session, a row a request; then the notes of the reader and a summary line over all sessions.
void printTable(std::ostream& out, Recording const& recording, std::vector<PlayedSession> const& played);

/// The same as one JSON object.
void printJson(std::ostream& out, Recording const& recording, std::vector<PlayedSession> const& played);

}  // namespace Replay
