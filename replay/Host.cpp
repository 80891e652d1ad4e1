#include "Host.h"

#include <vzrcam/LogSink.h>

#include <algorithm>

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

constexpr int kWarn = 5;

struct Event {
    enum Kind { FrameStarts, FrameLands, RequestArrives };

    int64_t ns;
    Kind kind;
    size_t index;  // of the frame or the request
};

std::vector<Event> eventsOf(Session const& session) {
    std::vector<Event> events;
    for (size_t index = 0; index < session.frames.size(); ++index) {
        events.push_back({session.frames[index].startNs, Event::FrameStarts, index});
        events.push_back({session.frames[index].resultNs, Event::FrameLands, index});
    }
    for (size_t index = 0; index < session.requests.size(); ++index) {
        events.push_back({session.requests[index].submitNs, Event::RequestArrives, index});
    }
    std::stable_sort(events.begin(), events.end(), [](Event const& left, Event const& right) {
        return left.ns != right.ns ? left.ns < right.ns : left.kind < right.kind;
    });
    return events;
}

template <typename Map>
std::set<StreamId> keysOf(Map const& map) {
    std::set<StreamId> keys;
    for (auto const& entry : map) {
        keys.insert(entry.first);
    }
    return keys;
}

StreamSets streamsOf(Frame const& frame) { return {frame.images, keysOf(frame.halMetas), keysOf(frame.appMetas)}; }

std::map<StreamId, NSCam::IMetadata const*> pointersTo(std::map<StreamId, Metadata> const& metas) {
    std::map<StreamId, NSCam::IMetadata const*> pointers;
    for (auto const& [id, meta] : metas) {
        pointers[id] = &meta;
    }
    return pointers;
}

/// The prefix "[function] " or "[function] [r7,...]<...> " says nothing that the table does not show.
std::string withoutPrefix(std::string const& line, RequestNo requestNo) {
    size_t start = line.find("] ");
    if (start == std::string::npos) {
        return line;
    }
    start += 2;
    if (line.compare(start, 2 + std::to_string(requestNo).size(), "[r" + std::to_string(requestNo)) == 0) {
        size_t const end = line.find(' ', start);
        start = end == std::string::npos ? start : end + 1;
    }
    return line.substr(start);
}

/// Whether a WARN line is the verdict on one frame.
bool isVerdict(std::string const& line) { return line.find("[isQualify] ") == 0; }

class Host {
  public:
    Host(Session const& session, HostOptions const& options) : mSession(session), mOptions(options) {
        for (size_t index = 0; index < session.selectors; ++index) {
            mSelectors.push_back(options.makeSelector());
        }
        for (Request const& request : session.requests) {
            Outcome outcome;
            outcome.request = &request;
            mResult.outcomes.push_back(outcome);
        }
        mArrived.resize(session.requests.size());
    }

    SessionResult play() {
        NSCam::Utils::Log::setSink(
            [this](int priority, char const* tag, std::string const& text) { takeLine(priority, tag, text); });
        for (Event const& event : eventsOf(mSession)) {
            mNowNs = event.ns;
            apply(event);
            for (size_t index = 0; index < mArrived.size(); ++index) {
                if (mArrived[index] && !mResult.outcomes[index].isAnswered) {
                    present(mResult.outcomes[index]);
                }
            }
        }
        mSelectors.clear();
        NSCam::Utils::Log::setSink({});
        for (auto const& entry : mInput.history) {
            mResult.lockedAtEnd += entry.second.locked ? 1 : 0;
        }
        return std::move(mResult);
    }

  private:
    void takeLine(int priority, char const* tag, std::string const& text) {
        // Why a frame was refused says more than that a run of frames could not be found.
        if (priority == kWarn && (mLastWarning.empty() || !isVerdict(mLastWarning) || isVerdict(text))) {
            mLastWarning = text;
        }
        if (mOptions.onLogLine) {
            mOptions.onLogLine({priority, tag, text, mNowNs});
        }
    }

    void apply(Event const& event) {
        if (event.kind == Event::RequestArrives) {
            mArrived[event.index] = true;
            return;
        }
        Frame const& frame = mSession.frames[event.index];
        if (event.kind == Event::FrameStarts) {
            mInput.inflight[frame.frameNo] = {frame.frameNo, streamsOf(frame)};
            return;
        }
        mInput.inflight.erase(frame.frameNo);
        mInput.history[frame.frameNo] = {frame.frameNo,
                                         frame.requestNo,
                                         frame.startNs,
                                         pointersTo(frame.appMetas),
                                         pointersTo(frame.halMetas),
                                         streamsOf(frame),
                                         false};
        evict();
    }

    /// Keeps the history at its depth: the oldest frame that nobody holds leaves, the newest included when all
    /// others are held.
    void evict() {
        while (mInput.history.size() > mOptions.historyDepth) {
            auto const oldest = std::find_if(mInput.history.begin(), mInput.history.end(), [&](auto const& entry) {
                return !entry.second.locked && mKept.count(entry.first) == 0;
            });
            if (oldest == mInput.history.end()) {
                return;
            }
            mInput.history.erase(oldest);
        }
    }

    void fillInput(Request const& request) {
        mInput.requestNo = request.requestNo;
        mInput.elapsedMs = (mNowNs - request.submitNs) / static_cast<int64_t>(kNsPerMs);
        mInput.zsdTs = request.shutterNs;
        mInput.requiredFrames.clear();
        for (int32_t const index : request.frameIndices) {
            auto& info = mInput.requiredFrames[index];
            info.needStreams = request.needStreams;
            info.inAppMeta = &request.appMeta;
            info.reqSensorIds = &request.sensorIds;
        }
        mInput.preCollects = request.preCollects;
        mInput.sensorModes = request.sensorModes;
        mInput.targetEv = request.ev;
        mInput.ispHidlFrameIdx = request.burstIdx;
        mInput.ispHidlFrameCnt = request.burstCnt;
    }

    void present(Outcome& outcome) {
        Request const& request = *outcome.request;
        fillInput(request);
        mLastWarning.clear();
        auto const out = mSelectors[request.selector]->select(mInput);
        ++outcome.calls;
        outcome.waitedNs = mNowNs - request.submitNs;

        // A request of a burst needs one frame, under whatever index; any other needs them all.
        bool const isBurst = request.burstIdx >= 0;
        outcome.isAnswered =
            isBurst ? !out.selectedFrames.empty() : out.selectedFrames.size() == request.frameIndices.size();
        carryOut(out.frameOps, outcome);
        if (outcome.isAnswered) {
            answer(out.selectedFrames, outcome);
        } else if (!mLastWarning.empty()) {
            outcome.lastRefusal = withoutPrefix(mLastWarning, request.requestNo);
        }
        rebuildKept(outcome, out.selectedFrames);
    }

    void carryOut(std::map<FrameNo, ISelector::OpT> const& operations, Outcome& outcome) {
        for (auto const& [frameNo, operation] : operations) {
            bool const isLock = operation == ISelector::OpT::Lock;
            ++(isLock ? outcome.locks : outcome.unlocks);
            auto const frame = mInput.history.find(frameNo);
            if (frame != mInput.history.end()) {
                frame->second.locked = isLock;
            }
        }
    }

    /// The request takes its frames over; the locks that kept them for it end with that.
    void answer(std::map<int32_t, ISelector::ZslFrameResult> const& selected, Outcome& outcome) {
        for (auto const& [index, result] : selected) {
            outcome.chosen[index] = result.frameNo;
            auto const frame = mInput.history.find(result.frameNo);
            if (frame != mInput.history.end()) {
                outcome.offsetsNs.push_back(frame->second.timestamp - outcome.request->shutterNs);
                frame->second.locked = false;
            }
        }
    }

    /// The frames of an incomplete answer stay until the request is answered.
    void rebuildKept(Outcome const& outcome, std::map<int32_t, ISelector::ZslFrameResult> const& selected) {
        auto& frames = mKeptBy[&outcome];
        frames.clear();
        if (!outcome.isAnswered) {
            for (auto const& entry : selected) {
                frames.insert(entry.second.frameNo);
            }
        }
        mKept.clear();
        for (auto const& entry : mKeptBy) {
            mKept.insert(entry.second.begin(), entry.second.end());
        }
        evict();
    }

    Session const& mSession;
    HostOptions const& mOptions;
    std::vector<std::shared_ptr<ISelector>> mSelectors;
    SessionResult mResult;
    std::vector<bool> mArrived;  // by request
    ISelector::SelectInputParams mInput;
    std::map<Outcome const*, std::set<FrameNo>> mKeptBy;
    std::set<FrameNo> mKept;
    std::string mLastWarning;
    int64_t mNowNs = 0;
};

}  // namespace

bool Outcome::isNonZsl() const {
    return std::any_of(chosen.begin(), chosen.end(), [](auto const& entry) { return entry.second == kNoFrame; });
}

SessionResult play(Session const& session, HostOptions const& options) { return Host(session, options).play(); }

}  // namespace Replay
