// What the host puts together before it plays: the events of a session, and the records it hands to the plug-in.
#pragma once

#include "replay/model/Session.h"

namespace Replay {

struct Event {
    enum Kind { FrameStarts, FrameLeaves, FrameLands, RequestArrives, Tick };

    int64_t ns;
    Kind kind;
    size_t index;  // of the frame, the request or the tick
};

/// All events in the order of their times; at the same time in the order of their kinds.
std::vector<Event> eventsOf(Session const& session);

/// The streams that the frame carries.
StreamSets streamsOf(Frame const& frame);

std::map<StreamId, NSCam::IMetadata const*> pointersTo(std::map<StreamId, Metadata> const& metas);

/// What of a call's input belongs to one request; the history and the frames in flight are the host's.
ISelector::SelectInputParams inputOf(Request const& request);

}  // namespace Replay
