// A recorded camera session, ready to be played: what the camera did and what the application asked for.
// Times are nanoseconds on the session's own clock.
#pragma once

#include <vzrcam/Metadata.h>

#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "zsl/policy/ISelector.h"

namespace Replay {

using NSCam::Metadata;
using NSCam::ZslPolicy::FrameNo;
using NSCam::ZslPolicy::ISelector;
using NSCam::ZslPolicy::RequestNo;
using NSCam::ZslPolicy::StreamId;
using NSCam::ZslPolicy::StreamSets;

/// From a frame's start to its complete result, where an input does not say.
constexpr int64_t kUsualResultDelayNs = 66000000;

struct Frame {
    FrameNo frameNo = 0;
    RequestNo requestNo = 0;
    int64_t startNs = 0;                   ///< exposure starts, the frame is in flight; also its sensor timestamp
    int64_t resultNs = 0;                  ///< its results are complete, it lands in the history
    bool isLost = false;                   ///< it does not land: at resultNs it is in flight no more
    std::optional<int64_t> leavesNs = {};  ///< of a recording: it leaves the history then, unless it is locked
    std::optional<int64_t> shownNs = {};   ///< when the host tells of it first, unless at startNs
    std::set<StreamId> images;
    std::map<StreamId, Metadata> appMetas;
    std::map<StreamId, Metadata> halMetas;
};

struct Request {
    RequestNo requestNo = 0;
    int64_t shutterNs = 0;                  ///< the shutter moment
    int64_t submitNs = 0;                   ///< when the host first presents it
    std::optional<int64_t> arrivalNs = {};  ///< its first presentation, unless at submitNs
    std::vector<int32_t> frameIndices{0};
    StreamSets needStreams;
    std::set<uint32_t> sensorIds;
    std::unordered_map<uint32_t, uint32_t> sensorModes;
    int32_t ev = 0;
    Metadata appMeta;
    std::map<FrameNo, ISelector::PreCollectSelectInfo> preCollects;
    int32_t burstIdx = -1;  ///< -1: not part of a burst
    int32_t burstCnt = -1;
    size_t selector = 0;  ///< which of the session's selectors serves it
};

/// A recorded presentation of a request.
struct Tick {
    int64_t ns = 0;
    size_t request = 0;    ///< its place in the session
    int64_t waitedNs = 0;  ///< as the host told it, whatever the clock of the calls says
    bool isLast = false;   ///< it was answered then
};

struct Session {
    std::string name;
    std::vector<std::pair<std::string, std::string>> properties;
    size_t selectors = 1;
    std::vector<Frame> frames;      ///< ascending frame numbers and start times
    std::vector<Request> requests;  ///< in the order in which the host presents pending ones
    /// Of a recording: requests are presented when they were presented then; what was answered then and is not
    /// under other settings, on later events, too. Without ticks, all pending requests are, on every event.
    std::vector<Tick> ticks;
    std::optional<size_t>
        historyDepth;  ///< of a recording, whose frames leave by themselves: the greatest it shows
};

/// When the session begins: its first frame or shutter, in ns on its own clock.
int64_t startOf(Session const& session);

/// What one input holds: sessions that follow one another, and what the reader has to say about it.
struct SessionSet {
    std::vector<Session> sessions;
    std::vector<std::string> notes;
};

}  // namespace Replay
