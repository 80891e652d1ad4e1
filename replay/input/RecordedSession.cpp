// What the calls show of frames and requests, for the desk host to play again.
#include "RecordedSession.h"

#include <algorithm>
#include <deque>
#include <iterator>
#include <sstream>

#include "RecordedCalls.h"
#include "replay/model/Units.h"

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
        int64_t const elapsedNs = in.elapsedMs * kNsPerMs;
        int64_t const calledNs = isNew ? std::max(call.ns, shutterNow(in)) : waiting->second.submitNs + elapsedNs;
        int64_t const nowNs = std::max(mNowNs + 1, calledNs);
        mBeforeNs = mTicks.empty() ? nowNs - 1 : mNowNs;  // what the first call shows came with it
        mNowNs = nowNs;
        mDepth = std::max(mDepth, in.history.size());
        takeFrames(in);
        if (in.requiredFrames.empty()) {
            return;  // it asks for nothing
        }
        int64_t const submitNs = isNew ? mNowNs - elapsedNs : waiting->second.submitNs;
        size_t const place = isNew ? mRequests.size() : waiting->second.place;
        if (isNew) {
            mShutterDelayNs = in.zsdTs > 0 && !mShutterDelayNs ? submitNs - in.zsdTs : mShutterDelayNs;
            addRequest(in, submitNs);
            mRequests.back().selector = mSelectors.try_emplace(call.selector, mSelectors.size()).first->second;
        }
        bool const isServed = in.ispHidlFrameIdx >= 0 ? !call.out.selectedFrames.empty()
                                                      : call.out.selectedFrames.size() == in.requiredFrames.size();
        mTicks.push_back({mNowNs, place, elapsedNs, isServed});
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
        session.ticks = mTicks;
        for (Tick& tick : session.ticks) {
            tick.ns -= offset;
        }
        placeFrames(offset);
        for (auto& entry : mFrames) {
            Frame& frame = entry.second.frame;
            frame.shownNs = *frame.shownNs - offset;
            frame.resultNs -= offset;
            if (frame.leavesNs) {
                *frame.leavesNs -= offset;
            }
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

    /// A change that one call did not show and the next one does.
    struct Change {
        int64_t afterNs = 0;
        int64_t byNs = 0;

        /// The time, if it was not the one expected, that comes nearest.
        int64_t at(int64_t expectedNs) const { return std::min(std::max(expectedNs, afterNs + 1), byNs); }
    };

    struct Seen {
        Frame frame;
        Change shown = {};
        std::optional<Change> landed = {};
        std::optional<Change> lost = {};  // out of flight, not landed
        std::optional<Change> left = {};
    };

    /// When a new request is presented, by its shutter and what the first request took from there: a host whose
    /// clock is not that of the calls, as the desk's, shows by its shutters how time went. INT64_MIN if it cannot
    /// be told.
    int64_t shutterNow(ISelector::SelectInputParams const& in) const {
        return in.zsdTs > 0 && mShutterDelayNs ? in.zsdTs + *mShutterDelayNs + in.elapsedMs * kNsPerMs : kMinI64;
    }

    void takeFrames(ISelector::SelectInputParams const& in) {
        for (auto const& [key, frame] : in.inflight) {
            Seen& seen = seenAs(key, frame.frameNo);
            seen.frame.images = frame.streamSets.halImages;
            seen.lost = std::nullopt;
        }
        for (auto const& [key, frame] : in.history) {
            Seen& seen = seenAs(key, frame.frameNo);
            land(seen, frame);
            mHasOtherFrames = mHasOtherFrames || seen.left;  // it was away: the call between was not about it
            seen.left = std::nullopt;
        }
        for (FrameNo const key : mInFlight) {
            if (in.inflight.count(key) == 0) {
                mFrames[key].lost = change();
            }
        }
        for (FrameNo const key : mInHistory) {
            if (in.history.count(key) == 0) {
                mFrames[key].left = change();
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

    Change change() const { return {mBeforeNs, mNowNs}; }

    Seen& seenAs(FrameNo key, FrameNo frameNo) {
        auto const [entry, isNew] = mFrames.try_emplace(key);
        if (isNew) {
            entry->second.frame.frameNo = frameNo;
            entry->second.shown = change();
        }
        return entry->second;
    }

    void land(Seen& seen, ISelector::HistoryFrame const& frame) {
        Frame& known = seen.frame;
        if (seen.landed) {
            mHasOtherFrames = mHasOtherFrames || known.startNs != frame.timestamp;
            return;
        }
        seen.landed = change();
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

    /// Places what happened to the frames between two calls, which does not show: each lands as long after its
    /// start as the one that was soonest seen to, and old frames leave when new ones land.
    void placeFrames(int64_t offset) {
        int64_t latency = kNever;
        for (auto const& entry : mFrames) {
            Seen const& seen = entry.second;
            latency = seen.landed ? std::min(latency, seen.landed->byNs - seen.frame.startNs) : latency;
        }
        std::map<int64_t, std::deque<int64_t>> landings;  // by the call that shows them
        for (auto& entry : mFrames) {
            Seen& seen = entry.second;
            Frame& frame = seen.frame;
            if (seen.landed) {
                frame.resultNs = seen.landed->at(frame.startNs + latency);
                frame.shownNs = std::min(seen.shown.at(frame.startNs + std::min(offset, latency)), frame.resultNs);
                landings[seen.landed->byNs].push_back(frame.resultNs);
            } else {
                frame.isLost = seen.lost.has_value();
                frame.resultNs = frame.isLost ? seen.lost->byNs : mNowNs + 1;
                frame.shownNs = seen.shown.byNs;
                frame.startNs = seen.shown.byNs - offset;
            }
        }
        for (auto& entry : mFrames) {
            Seen& seen = entry.second;
            if (seen.left) {
                auto& landed = landings[seen.left->byNs];
                seen.frame.leavesNs = seen.left->byNs;
                if (!landed.empty()) {
                    seen.frame.leavesNs = landed.front();
                    landed.pop_front();
                }
            }
        }
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
            Seen const& frame = entry.second;
            seen = frame.landed ? std::min(seen, frame.landed->byNs - frame.frame.startNs) : seen;
        }
        return offset != kNever ? offset : seen != kNever ? seen : 0;
    }

    static constexpr int64_t kNever = kMaxI64;

    size_t mDepth = 0;
    std::vector<Tick> mTicks;
    std::map<FrameNo, Seen> mFrames;
    std::vector<FrameNo> mInHistory;  // at the last call
    std::vector<FrameNo> mInFlight;   // at the last call
    std::vector<Request> mRequests;
    std::map<std::pair<uint64_t, RequestNo>, Waiting> mWaiting;
    std::map<uint64_t, size_t> mSelectors;  // to their places in the session
    int64_t mBeforeNs = 0;                  // the call before
    int64_t mNowNs = 0;
    std::optional<int64_t> mShutterDelayNs;  // from its shutter until the first request was submitted
    bool mHasOtherFrames = false;
};

/// Times whose sums and differences must not overflow.
void checkTimes(RecordedCall const& call, std::string const& file) {
    constexpr int64_t kMostNs = int64_t{1} << 58;         // of clocks that begin with the machine: 9 years
    constexpr int64_t kMostTimestamp = int64_t{1} << 61;  // enough for one that counts from 1970
    auto const check = [&](char const* name, int64_t value, int64_t most) {
        if (value < -most || value > most) {
            throw InputError(file + ": call " + std::to_string(call.number) + ": " + name + " " +
                             std::to_string(value) + " is too far away to be played; verify takes it");
        }
    };
    check("ns", call.ns, kMostNs);
    check("elapsedMs", call.input.in.elapsedMs, kMostNs / kNsPerMs);
    check("zsdTs", call.input.in.zsdTs, kMostTimestamp);
    for (auto const& entry : call.input.in.history) {
        check("timestamp", entry.second.timestamp, kMostTimestamp);
    }
}

using PropertyList = std::vector<std::pair<std::string, std::string>>;

/// The properties that were set at the first call.
PropertyList setOf(RecordedProperties const& told) {
    PropertyList properties;
    std::copy_if(told.begin(), told.end(), std::back_inserter(properties),
                 [](auto const& entry) { return entry.second != "-1"; });
    return properties;
}

/// The sessions, one for all selectors or one for each; nothing if the selectors turn out to have frames of their
/// own.
std::optional<SessionSet> sessionsOf(std::string const& text, std::string const& file, bool isShared) {
    std::istringstream in(text);
    RecordingReader reader(in, file);
    std::map<uint64_t, SelectorSession> selectors;
    std::optional<PropertyList> properties;
    while (auto const event = reader.next()) {
        if (auto const* const told = std::get_if<RecordedProperties>(&*event)) {
            properties = properties && !selectors.empty() ? properties : setOf(*told);
        } else if (auto const* const call = std::get_if<RecordedCall>(&*event)) {
            checkTimes(*call, file);
            selectors[isShared ? 0 : call->selector].take(*call);
        }
    }
    SessionSet set;
    set.notes = reader.notes();
    for (auto& [number, selector] : selectors) {
        if (isShared && selector.hasOtherFrames()) {
            return std::nullopt;
        }
        if (!selector.isEmpty()) {
            set.sessions.push_back(selector.session(isShared ? file : file + ", selector " + std::to_string(number),
                                                    properties.value_or(PropertyList())));
        }
    }
    if (set.sessions.empty()) {
        throw InputError(file + ": the recording has no call for a frame");
    }
    return set;
}

}  // namespace

SessionSet readRecordedSessions(std::string const& text, std::string const& file) {
    // One host has all selectors, with the same frames; or each camera has its own.
    auto shared = sessionsOf(text, file, true);
    return shared ? std::move(*shared) : *sessionsOf(text, file, false);
}

}  // namespace Replay
