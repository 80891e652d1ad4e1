#include "Events.h"

#include <algorithm>

namespace Replay {

namespace {

template <typename Map>
std::set<StreamId> keysOf(Map const& map) {
    std::set<StreamId> keys;
    for (auto const& entry : map) {
        keys.insert(entry.first);
    }
    return keys;
}

}  // namespace

std::vector<Event> eventsOf(Session const& session) {
    std::vector<Event> events;
    for (size_t index = 0; index < session.frames.size(); ++index) {
        Frame const& frame = session.frames[index];
        events.push_back({frame.shownNs.value_or(frame.startNs), Event::FrameStarts, index});
        events.push_back({frame.resultNs, Event::FrameLands, index});
        if (frame.leavesNs) {
            events.push_back({*frame.leavesNs, Event::FrameLeaves, index});
        }
    }
    for (size_t index = 0; index < session.requests.size(); ++index) {
        Request const& request = session.requests[index];
        events.push_back({request.arrivalNs.value_or(request.submitNs), Event::RequestArrives, index});
    }
    for (size_t index = 0; index < session.ticks.size(); ++index) {
        events.push_back({session.ticks[index].ns, Event::Tick, index});
    }
    std::stable_sort(events.begin(), events.end(), [](Event const& left, Event const& right) {
        return left.ns != right.ns ? left.ns < right.ns : left.kind < right.kind;
    });
    return events;
}

StreamSets streamsOf(Frame const& frame) { return {frame.images, keysOf(frame.halMetas), keysOf(frame.appMetas)}; }

std::map<StreamId, NSCam::IMetadata const*> pointersTo(std::map<StreamId, Metadata> const& metas) {
    std::map<StreamId, NSCam::IMetadata const*> pointers;
    for (auto const& [id, meta] : metas) {
        pointers[id] = &meta;
    }
    return pointers;
}

ISelector::SelectInputParams inputOf(Request const& request) {
    ISelector::SelectInputParams in;
    in.requestNo = request.requestNo;
    in.zsdTs = request.shutterNs;
    for (int32_t const index : request.frameIndices) {
        auto& info = in.requiredFrames[index];
        info.needStreams = request.needStreams;
        info.inAppMeta = &request.appMeta;
        info.reqSensorIds = &request.sensorIds;
    }
    in.preCollects = request.preCollects;
    in.sensorModes = request.sensorModes;
    in.targetEv = request.ev;
    in.ispHidlFrameIdx = request.burstIdx;
    in.ispHidlFrameCnt = request.burstCnt;
    return in;
}

}  // namespace Replay
