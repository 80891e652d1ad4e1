// Sessions out of a recording: what the calls show of frames and requests, for the desk host to play again.
#include <algorithm>
#include <iterator>
#include <sstream>

#include "RecordedCalls.h"

namespace Replay {

namespace {

/// What the calls of one selector show, or of several with the same frames.
class SelectorSession {
  public:
    void take(RecordedCall const& call) {
        ISelector::SelectInputParams const& in = call.input.in;
        auto const waiting = mWaiting.find({call.selector, in.requestNo});
        bool const isNew = waiting == mWaiting.end() || in.elapsedMs < waiting->second.elapsedMs;
        // The time that a request has waited is what counts for the selector; the clock of the calls orders them.
        // No two calls are at the same time, so that what lands between them does so on the desk, too.
        int64_t const elapsedNs = in.elapsedMs * static_cast<int64_t>(kNsPerMs);
        mNowNs = std::max(mNowNs + 1, isNew ? call.ns : waiting->second.submitNs + elapsedNs);
        mDepth = std::max(mDepth, in.history.size());
        takeFrames(in);
        int64_t const submitNs = isNew ? mNowNs - elapsedNs : waiting->second.submitNs;
        size_t const place = isNew ? mRequests.size() : waiting->second.place;
        if (isNew && !in.requiredFrames.empty()) {
            addRequest(in, submitNs);
            mRequests.back().selector = mSelectors.try_emplace(call.selector, mSelectors.size()).first->second;
        }
        bool const isServed = in.ispHidlFrameIdx >= 0 ? !call.out.selectedFrames.empty()
                                                      : call.out.selectedFrames.size() == in.requiredFrames.size();
        if (!in.requiredFrames.empty()) {
            mTicks.push_back({mNowNs, place, elapsedNs, isServed});
        }
        if (isServed) {
            mWaiting.erase({call.selector, in.requestNo});
        } else {
            mWaiting[{call.selector, in.requestNo}] = {submitNs, in.elapsedMs, place};
        }
    }

    Session session(std::string name, std::vector<std::pair<std::string, std::string>> const& properties) {
        int64_t const offset = clockOffset();
        Session session;
        session.name = std::move(name);
        session.properties = properties;
        session.selectors = std::max<size_t>(1, mSelectors.size());
        session.historyDepth = mDepth;
        for (Tick const& tick : mTicks) {
            session.ticks.push_back({tick.ns - offset, tick.request, tick.waitedNs});
        }
        for (auto& entry : mFrames) {
            Frame& frame = entry.second;
            frame.shownNs = *frame.shownNs - offset;
            bool const hasLanded = frame.resultNs >= 0;
            auto const lost = mLostNs.find(entry.first);
            if (frame.leavesNs) {
                *frame.leavesNs -= offset;
            }
            frame.isLost = !hasLanded && lost != mLostNs.end();
            frame.startNs = hasLanded ? frame.startNs : *frame.shownNs;
            frame.resultNs = (hasLanded ? frame.resultNs : frame.isLost ? lost->second : mNowNs + 1) - offset;
            session.frames.push_back(std::move(frame));
        }
        std::stable_sort(session.frames.begin(), session.frames.end(),
                         [](Frame const& left, Frame const& right) { return left.startNs < right.startNs; });
        for (Request& request : mRequests) {
            request.submitNs -= offset;
            request.arrivalNs = *request.arrivalNs - offset;
            session.requests.push_back(std::move(request));
        }
        return session;
    }

    bool isEmpty() const { return mRequests.empty(); }

    /// Each selector has frames of its own: they have the same numbers, or are there for one and not for the other.
    bool hasOtherFrames() const { return mHasOtherFrames; }

  private:
    struct Waiting {
        int64_t submitNs = 0;
        int64_t elapsedMs = 0;  // at its last call
        size_t place = 0;       // among the requests
    };

    void takeFrames(ISelector::SelectInputParams const& in) {
        for (auto const& [key, frame] : in.inflight) {
            frameOf(key, frame.frameNo).images = frame.streamSets.halImages;
            mLostNs.erase(key);
        }
        for (auto const& [key, frame] : in.history) {
            Frame& known = frameOf(key, frame.frameNo);
            land(known, frame);
            mHasOtherFrames = mHasOtherFrames || known.leavesNs;  // it was away: the call between was not about it
            known.leavesNs = std::nullopt;
        }
        for (FrameNo const key : mInFlight) {
            if (in.inflight.count(key) == 0 && mFrames[key].resultNs < 0) {
                mLostNs.emplace(key, mNowNs);
            }
        }
        for (FrameNo const key : mInHistory) {
            if (in.history.count(key) == 0) {
                mFrames[key].leavesNs = mNowNs;
            }
        }
        mInFlight = keysOf(in.inflight);
        mInHistory = keysOf(in.history);
    }

    template <typename Frames>
    static std::vector<FrameNo> keysOf(Frames const& frames) {
        std::vector<FrameNo> keys;
        keys.reserve(frames.size());
        for (auto const& entry : frames) {
            keys.push_back(entry.first);
        }
        return keys;
    }

    Frame& frameOf(FrameNo key, FrameNo frameNo) {
        auto const [entry, isNew] = mFrames.try_emplace(key);
        if (isNew) {
            entry->second.frameNo = frameNo;
            entry->second.shownNs = mNowNs;
            entry->second.resultNs = -1;
        }
        return entry->second;
    }

    void land(Frame& known, ISelector::HistoryFrame const& frame) {
        if (known.resultNs >= 0) {
            mHasOtherFrames = mHasOtherFrames || known.startNs != frame.timestamp;
            return;
        }
        known.resultNs = mNowNs;
        known.frameNo = frame.frameNo;
        known.requestNo = frame.requestNo;
        known.startNs = frame.timestamp;
        known.images = frame.streamSets.halImages;
        for (auto const& [metas, target] :
             {std::pair(&frame.appMetas, &known.appMetas), std::pair(&frame.halMetas, &known.halMetas)}) {
            for (auto const& [id, meta] : *metas) {
                if (meta != nullptr) {
                    (*target)[id] = *static_cast<Metadata const*>(meta);
                }
            }
        }
    }

    void addRequest(ISelector::SelectInputParams const& in, int64_t submitNs) {
        ISelector::ZslFrameInfo const& info = in.requiredFrames.begin()->second;
        Request request;
        request.requestNo = in.requestNo;
        request.shutterNs = in.zsdTs;
        request.submitNs = submitNs;
        request.arrivalNs = mNowNs;
        request.frameIndices.clear();
        for (auto const& entry : in.requiredFrames) {
            request.frameIndices.push_back(entry.first);
        }
        request.needStreams = info.needStreams;
        request.sensorIds = info.reqSensorIds != nullptr ? *info.reqSensorIds : std::set<uint32_t>();
        request.sensorModes = in.sensorModes;
        request.ev = in.targetEv;
        if (info.inAppMeta != nullptr) {
            request.appMeta = *static_cast<Metadata const*>(info.inAppMeta);
        }
        request.preCollects = in.preCollects;
        request.burstIdx = in.ispHidlFrameIdx;
        request.burstCnt = in.ispHidlFrameCnt;
        mRequests.push_back(std::move(request));
    }

    /// From the sensor's clock to that of the calls: the request that was presented soonest after its shutter shows
    /// it; without a shutter, the frame that was seen soonest.
    int64_t clockOffset() const {
        int64_t offset = kNever;
        int64_t seen = kNever;
        for (Request const& request : mRequests) {
            offset = request.shutterNs > 0 ? std::min(offset, request.submitNs - request.shutterNs) : offset;
        }
        for (auto const& entry : mFrames) {
            Frame const& frame = entry.second;
            seen = frame.resultNs >= 0 ? std::min(seen, frame.resultNs - frame.startNs) : seen;
        }
        return offset != kNever ? offset : seen != kNever ? seen : 0;
    }

    static constexpr int64_t kNever = kMaxI64;

    size_t mDepth = 0;
    std::vector<Tick> mTicks;
    std::map<FrameNo, Frame> mFrames;
    std::vector<FrameNo> mInHistory;     // at the last call
    std::vector<FrameNo> mInFlight;      // at the last call
    std::map<FrameNo, int64_t> mLostNs;  // of those that are in flight no more and have not landed
    std::vector<Request> mRequests;
    std::map<std::pair<uint64_t, RequestNo>, Waiting> mWaiting;
    std::map<uint64_t, size_t> mSelectors;  // to their places in the session
    int64_t mNowNs = 0;
    bool mHasOtherFrames = false;
};

using PropertyList = std::vector<std::pair<std::string, std::string>>;

/// The properties that were set when the recording began.
PropertyList setOf(RecordedProperties const& told) {
    PropertyList properties;
    std::copy_if(told.begin(), told.end(), std::back_inserter(properties),
                 [](auto const& entry) { return entry.second != "-1"; });
    return properties;
}

/// The sessions, one for all selectors or one for each; nothing if the selectors turn out to have frames of their
/// own.
std::optional<Recording> sessionsOf(std::string const& text, std::string const& file, bool isShared) {
    std::istringstream in(text);
    RecordingReader reader(in, file);
    std::map<uint64_t, SelectorSession> selectors;
    std::optional<PropertyList> properties;
    while (auto const event = reader.next()) {
        if (auto const* const told = std::get_if<RecordedProperties>(&*event)) {
            properties = properties ? properties : setOf(*told);
        } else if (auto const* const call = std::get_if<RecordedCall>(&*event)) {
            selectors[isShared ? 0 : call->selector].take(*call);
        }
    }
    Recording recording;
    recording.notes = reader.notes();
    for (auto& [number, selector] : selectors) {
        if (isShared && selector.hasOtherFrames()) {
            return std::nullopt;
        }
        if (!selector.isEmpty()) {
            recording.sessions.push_back(
                selector.session(isShared ? file : file + ", selector " + std::to_string(number),
                                 properties.value_or(PropertyList())));
        }
    }
    if (recording.sessions.empty()) {
        throw SessionError(file + ": the recording has no call for a frame");
    }
    return recording;
}

}  // namespace

Recording readRecordedSessions(std::string const& text, std::string const& file) {
    // One host has all selectors, with the same frames; or each camera has its own.
    auto shared = sessionsOf(text, file, true);
    return shared ? std::move(*shared) : *sessionsOf(text, file, false);
}

}  // namespace Replay
