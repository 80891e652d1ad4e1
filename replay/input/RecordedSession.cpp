// What the calls show of frames and requests, for the desk host to play again. Three clocks meet here: that of the
// calls, which orders them; the sensor's, on which frames and shutters are; and the waiting time of each request,
// which is what counts for the selector.
#include "RecordedSession.h"

#include <fmt/core.h>

#include <algorithm>
#include <istream>
#include <iterator>
#include <streambuf>

#include "RecordedFrames.h"
#include "replay/model/InputError.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

/// What the calls of one selector show, or of several with the same frames.
class SelectorSession {
  public:
    explicit SelectorSession(Expansion& expansion) : mExpansion(expansion), mFrames(expansion) {}

    void take(RecordedCall const& call, std::string const& file) {
        std::string const place = fmt::format("{}: call {}", file, call.number);
        bool const isNew = isNewRequest(call);
        placeCall(isNew ? newRequestNs(call) : waitingFor(call)->second.submitNs + elapsedNs(call));
        mFrames.take(call.input, mBeforeNs, mNowNs, place);
        if (call.input.in.requiredFrames.empty()) {
            return;  // it asks for nothing
        }
        if (isNew) {
            addRequest(call, place);
        }
        record(call);
    }

    Session session(std::string name, std::vector<std::pair<std::string, std::string>> const& properties) {
        int64_t const offset = sensorToCallOffset();
        Session session;
        session.name = std::move(name);
        session.properties = properties;
        session.selectors = std::max<size_t>(1, mSelectors.size());
        session.historyDepth = mFrames.depth();
        session.ticks = std::move(mTicks);
        for (Tick& tick : session.ticks) {
            tick.ns -= offset;
        }
        session.frames = mFrames.place(offset);
        session.requests = std::move(mRequests);
        for (Request& request : session.requests) {
            request.submitNs -= offset;
            request.arrivalNs = *request.arrivalNs - offset;
        }
        return session;
    }

    bool isEmpty() const { return mRequests.empty(); }

    RecordedFrames const& frames() const { return mFrames; }

  private:
    struct Waiting {
        int64_t submitNs = 0;
        int64_t elapsedMs = 0;  // at its last call
        size_t place = 0;       // among the requests
    };

    using WaitingRequests = std::map<std::pair<uint64_t, RequestNo>, Waiting>;

    static int64_t elapsedNs(RecordedCall const& call) { return call.input.in.elapsedMs * kNsPerMs; }

    WaitingRequests::iterator waitingFor(RecordedCall const& call) {
        return mWaiting.find({call.selector, call.input.in.requestNo});
    }

    /// Whether no request of this number waits, or one that has waited longer already: the number is used again.
    bool isNewRequest(RecordedCall const& call) {
        auto const waiting = waitingFor(call);
        return waiting == mWaiting.end() || call.input.in.elapsedMs < waiting->second.elapsedMs;
    }

    /// When a new request is presented: when it was called, but not sooner than by its shutter and what the first
    /// request took from there. A host whose clock is not that of the calls, as the desk's, shows by its shutters
    /// how time went.
    int64_t newRequestNs(RecordedCall const& call) const {
        int64_t const shutterNs = call.input.in.zsdTs;
        bool const isKnown = shutterNs > 0 && mShutterDelayNs;
        return isKnown ? std::max(call.ns, shutterNs + *mShutterDelayNs + elapsedNs(call)) : call.ns;
    }

    /// Goes on to the call's time. No two calls are at the same one, so that what lands between them does so on the
    /// desk, too; and what the first call shows came with it.
    void placeCall(int64_t ns) {
        int64_t const nowNs = std::max(mNowNs + 1, ns);
        mBeforeNs = mTicks.empty() ? nowNs - 1 : mNowNs;
        mNowNs = nowNs;
    }

    void addRequest(RecordedCall const& call, std::string const& place) {
        ISelector::SelectInputParams const& in = call.input.in;
        ISelector::ZslFrameInfo const& info = in.requiredFrames.begin()->second;
        Request request;
        request.requestNo = in.requestNo;
        request.shutterNs = in.zsdTs;
        request.submitNs = mNowNs - elapsedNs(call);
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
        request.selector = mSelectors.try_emplace(call.selector, mSelectors.size()).first->second;
        if (in.zsdTs > 0 && !mShutterDelayNs) {
            mShutterDelayNs = request.submitNs - in.zsdTs;
        }
        mExpansion.add(valuesOf(request), place);
        mWaiting[{call.selector, in.requestNo}] = {request.submitNs, in.elapsedMs, mRequests.size()};
        mRequests.push_back(std::move(request));
    }

    /// The presentation of a request, and whether it was its last.
    void record(RecordedCall const& call) {
        ISelector::SelectInputParams const& in = call.input.in;
        auto const waiting = waitingFor(call);
        size_t const selected = call.out.selectedFrames.size();
        bool const isOfBurst = in.ispHidlFrameIdx >= 0;
        bool const isServed = isOfBurst ? selected > 0 : selected == in.requiredFrames.size();
        mTicks.push_back({mNowNs, waiting->second.place, elapsedNs(call), isServed});
        if (isServed) {
            mWaiting.erase(waiting);
        } else {
            waiting->second.elapsedMs = in.elapsedMs;
        }
    }

    /// How far the clock of the calls is ahead of the sensor's: the request that was presented soonest after its
    /// shutter shows it; without a shutter, the frame that landed soonest.
    int64_t sensorToCallOffset() const {
        std::optional<int64_t> offset;
        for (Request const& request : mRequests) {
            if (request.shutterNs > 0) {
                int64_t const delay = request.submitNs - request.shutterNs;
                offset = std::min(offset.value_or(delay), delay);
            }
        }
        return offset ? *offset : mFrames.shortestLatency().value_or(0);
    }

    Expansion& mExpansion;
    RecordedFrames mFrames;
    std::vector<Tick> mTicks;
    std::vector<Request> mRequests;
    WaitingRequests mWaiting;
    std::map<uint64_t, size_t> mSelectors;  // to their places in the session
    int64_t mBeforeNs = 0;                  // the call before
    int64_t mNowNs = 0;
    std::optional<int64_t> mShutterDelayNs;  // from its shutter until the first request was submitted
};

/// Times whose sums and differences must not overflow.
void checkTimes(RecordedCall const& call, std::string const& file) {
    constexpr int64_t kMostNs = int64_t{1} << 58;         // of clocks that begin with the machine: 9 years
    constexpr int64_t kMostTimestamp = int64_t{1} << 61;  // enough for one that counts from 1970
    auto const check = [&](char const* name, int64_t value, int64_t most) {
        if (value < -most || value > most) {
            throw InputError(fmt::format("{}: call {}: {} {} is too far away to be played; verify takes it", file,
                                         call.number, name, value));
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

/// A text as a stream, without a copy of it.
class TextBuffer : public std::streambuf {
  public:
    explicit TextBuffer(std::string const& text) {
        char* const begin = const_cast<char*>(text.data());  // which nothing writes to
        setg(begin, begin, begin + text.size());
    }
};

/// What of the selector's recording is not played.
void addNotes(std::string const& name, RecordedFrames const& frames, std::vector<std::string>& notes) {
    auto const note = [&](std::set<FrameNo> const& keys, char const* what) {
        if (!keys.empty()) {
            notes.push_back(
                fmt::format("{}: {} frames, the first of them F{}, {}", name, keys.size(), *keys.begin(), what));
        }
    };
    note(frames.restarted(), "come back after they had gone, or with another timestamp: played is what came first");
    note(frames.changed(), "have changed since they landed: they are played as they landed");
}

/// The sessions, one for all selectors or one for each; nothing if the selectors turn out to have frames of their
/// own.
std::optional<SessionSet> sessionsOf(std::string const& text, std::string const& file, bool isShared) {
    TextBuffer buffer(text);
    std::istream in(&buffer);
    RecordingReader reader(in, file);
    Expansion expansion(text.size());
    std::map<uint64_t, SelectorSession> selectors;
    std::optional<PropertyList> properties;
    while (auto const event = reader.next()) {
        if (auto const* const told = std::get_if<RecordedProperties>(&*event)) {
            properties = properties && !selectors.empty() ? properties : setOf(*told);
        } else if (auto const* const call = std::get_if<RecordedCall>(&*event)) {
            checkTimes(*call, file);
            auto& selector = selectors.try_emplace(isShared ? 0 : call->selector, expansion).first->second;
            selector.take(*call, file);
            if (isShared && !selector.frames().restarted().empty()) {
                return std::nullopt;
            }
        }
    }
    SessionSet set;
    set.notes = reader.notes();
    for (auto& [number, selector] : selectors) {
        if (selector.isEmpty()) {
            continue;
        }
        std::string const name = isShared ? file : fmt::format("{}, selector {}", file, number);
        addNotes(name, selector.frames(), set.notes);
        set.sessions.push_back(selector.session(name, properties.value_or(PropertyList())));
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
