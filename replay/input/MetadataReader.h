// Metadata in session files.
#pragma once

#include "JsonNode.h"
#include "replay/model/Session.h"

namespace Replay {

/// Tags by name or number, each a value, a list of values, an object that names the type, or null to remove the
/// tag. Merged into what `metadata` holds. A tag that the object has under two keys is refused.
void readMetadata(Node const& node, Metadata& metadata);

/// Metadata by stream, merged into what the streams hold.
void readStreamMetadata(Node const& node, std::map<StreamId, Metadata>& metas);

}  // namespace Replay
