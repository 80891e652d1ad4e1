// The parts of a session file, see docs/session-format.md.
#pragma once

#include "JsonNode.h"
#include "replay/model/Session.h"

namespace Replay {

/// Stream ids: images, app, hal.
StreamSets readStreamSets(Node const& node);

/// A run of frames, added to `frames`. `streams` is what every frame carries.
void readFrames(Node const& node, StreamSets const& streams, std::vector<Frame>& frames);

/// What differs for some of the frames.
void applyChange(Node const& node, std::vector<Frame>& frames);

/// A request or a burst of requests, added to the session. `streams` is what every request needs.
void readRequests(Node const& node, StreamSets const& streams, Session& session);

}  // namespace Replay
