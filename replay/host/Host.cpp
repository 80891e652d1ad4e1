#include "Host.h"

#include <vzrcam/LogSink.h>
#include <vzrcam/PropertyStore.h>

#include <algorithm>

#include "Events.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

/// While it lives, the log goes to the sink.
class SinkInForce {
  public:
    explicit SinkInForce(NSCam::Utils::Log::Sink sink) { NSCam::Utils::Log::setSink(std::move(sink)); }
    ~SinkInForce() { NSCam::Utils::Log::setSink({}); }
    SinkInForce(SinkInForce const&) = delete;
    SinkInForce& operator=(SinkInForce const&) = delete;
};

class Host {
  public:
    Host(Session const& session, HostOptions const& options)
        : mSession(session),
          mOptions(options),
          mDepth(options.historyDepth.value_or(session.historyDepth ? SIZE_MAX : kHistoryDepth)) {
        setGate();
        mResult.outcomes.resize(session.requests.size());
        for (size_t index = 0; index < session.requests.size(); ++index) {
            mResult.outcomes[index].request = &session.requests[index];
        }
        if (options.onCall) {
            mResult.frames.resize(session.frames.size());
            for (size_t index = 0; index < session.frames.size(); ++index) {
                mFrameIndex[session.frames[index].frameNo] = index;
            }
        }
    }

    SessionResult play() {
        SinkInForce const sink(
            [this](int priority, char const* tag, std::string const& text) { takeLine(priority, tag, text); });
        for (size_t index = 0; index < mSession.selectors; ++index) {
            mSelectors.push_back(mOptions.makeSelector());
        }
        mReader.endCall();
        auto const events = eventsOf(mSession);
        for (size_t done = 0; done < events.size(); ++done) {
            mNowNs = events[done].ns;
            apply(events[done]);
            if (mSession.ticks.empty()) {
                presentAll(mPending);
            } else if (events[done].kind == Event::FrameLands) {
                presentAll(mOvertime);
            }
            if (mOptions.onProgress) {
                mOptions.onProgress(done + 1, events.size());
            }
        }
        mSelectors.clear();
        mResult.endNs = mNowNs;
        for (auto const& entry : mHistory) {
            mResult.lockedAtEnd += entry.second.locked ? 1 : 0;
            noteLock(entry.first, entry.second.locked, false);
        }
        return std::move(mResult);
    }

  private:
    /// Requests that have arrived and are not answered: by their outcome's index, in which order they are
    /// presented, their calls' input without history and frames in flight.
    using Pending = std::map<size_t, ISelector::SelectInputParams>;

    void setGate() {
        bool const isRead = mOptions.onCall || mCalls < mOptions.explainedCalls;
        NSCam::Utils::Properties::set("log.tag.SampleSelector", std::string(1, isRead ? 'V' : mOptions.logLevel));
        mResult.isExplained = isRead;
    }

    void takeLine(int priority, char const* tag, std::string const& text) {
        mReader.take(text);
        if (mOptions.log) {
            mOptions.log->add({priority, tag, text, mNowNs});
        }
        if (mOptions.onLogLine) {
            mOptions.onLogLine({priority, tag, text, mNowNs});
        }
    }

    void presentAll(Pending& pending) {
        for (auto request = pending.begin(); request != pending.end();) {
            present(*request, mNowNs - mSession.requests[request->first].submitNs);
            request = mResult.outcomes[request->first].isAnswered() ? pending.erase(request) : std::next(request);
        }
    }

    void present(size_t tick) {
        Tick const& now = mSession.ticks[tick];
        auto const request = mPending.find(now.request);
        bool const isPending = request != mPending.end();
        if (isPending) {
            present(*request, now.waitedNs);
        }
        presentAll(mOvertime);
        if (isPending && mResult.outcomes[now.request].isAnswered()) {
            mPending.erase(request);
        } else if (isPending && now.isLast) {
            mOvertime.insert(mPending.extract(request));
        }
    }

    void apply(Event const& event) {
        if (event.kind == Event::Tick) {
            present(event.index);
            return;
        }
        if (event.kind == Event::RequestArrives) {
            mPending.emplace(event.index, inputOf(mSession.requests[event.index]));
            return;
        }
        Frame const& frame = mSession.frames[event.index];
        if (event.kind == Event::FrameStarts) {
            mInflight[frame.frameNo] = {frame.frameNo, streamsOf(frame)};
            return;
        }
        if (event.kind == Event::FrameLeaves) {
            if (!mOptions.historyDepth) {
                mLeaving.insert(frame.frameNo);
                evict();
            }
            return;
        }
        mInflight.erase(frame.frameNo);
        if (frame.isLost) {
            return;
        }
        mHistory[frame.frameNo] = {frame.frameNo,
                                   frame.requestNo,
                                   frame.startNs,
                                   pointersTo(frame.appMetas),
                                   pointersTo(frame.halMetas),
                                   streamsOf(frame),
                                   false};
        evict();
    }

    using HistoryEntry = std::map<FrameNo, ISelector::HistoryFrame>::iterator;

    bool isHeld(HistoryEntry entry) const { return entry->second.locked || mKept.count(entry->first) != 0; }

    void removeFromHistory(HistoryEntry entry) {
        if (FrameLife* const life = lifeOf(entry->first)) {
            life->leftNs = mNowNs;
        }
        mHistory.erase(entry);
    }

    /// Frames leave that nobody holds: those whose time has come, and the oldest while the history is above its
    /// depth, the newest included when all others are held.
    void evict() {
        for (auto leaving = mLeaving.begin(); leaving != mLeaving.end();) {
            auto const entry = mHistory.find(*leaving);
            bool const isHere = entry != mHistory.end();
            bool const stays = isHere && isHeld(entry);
            if (isHere && !stays) {
                removeFromHistory(entry);
            }
            leaving = stays ? std::next(leaving) : mLeaving.erase(leaving);
        }
        auto oldest = mHistory.begin();
        while (mHistory.size() > mDepth && oldest != mHistory.end()) {
            auto const entry = oldest++;
            if (!isHeld(entry)) {
                removeFromHistory(entry);
            }
        }
    }

    void present(Pending::value_type& pending, int64_t waitedNs) {
        auto& [index, in] = pending;
        Outcome& outcome = mResult.outcomes[index];
        Request const& request = *outcome.request;
        in.elapsedMs = waitedNs / kNsPerMs;
        in.history.swap(mHistory);
        in.inflight.swap(mInflight);
        auto const out = mSelectors[request.selector]->select(in);
        in.history.swap(mHistory);
        in.inflight.swap(mInflight);
        ++outcome.calls;
        outcome.waitedNs = waitedNs;
        check(out, request);

        // A request of a burst needs one frame, under whatever index; any other needs them all.
        bool const isBurst = request.burstIdx >= 0;
        bool const isAnswered =
            isBurst ? !out.selectedFrames.empty() : out.selectedFrames.size() == request.frameIndices.size();
        carryOut(out.frameOps, outcome);
        if (isAnswered) {
            answer(out.selectedFrames, outcome);
        }
        keep(index, isAnswered, out.selectedFrames);
        if (mResult.isExplained) {
            readCall(index);
        }
        if (++mCalls == mOptions.explainedCalls) {
            setGate();
        }
    }

    void readCall(size_t index) {
        Outcome& outcome = mResult.outcomes[index];
        CallStory const call = mReader.endCall();
        outcome.hasTimedOut = outcome.isAnswered() && call.hasTimedOut;
        if (outcome.state != RequestState::FromHistory) {
            auto const known = std::find_if(outcome.refusals.begin(), outcome.refusals.end(),
                                            [&](auto const& entry) { return entry.first == call.reason.name; });
            if (known != outcome.refusals.end()) {
                ++known->second;
            } else {
                outcome.refusals.emplace_back(call.reason.name, 1);
            }
        }
        if (mOptions.onCall) {
            for (Verdict const& verdict : call.verdicts) {
                if (FrameLife* const life = lifeOf(verdict.frameNo)) {
                    life->verdicts[outcome.request->requestNo] = verdict;
                }
            }
            mOptions.onCall(index, call);
        }
    }

    /// Null when nothing is to be told of frames.
    FrameLife* lifeOf(FrameNo frameNo) {
        auto const index = mFrameIndex.find(frameNo);
        return index != mFrameIndex.end() ? &mResult.frames[index->second] : nullptr;
    }

    void noteLock(FrameNo frameNo, bool wasLocked, bool isLocked) {
        FrameLife* const life = wasLocked != isLocked ? lifeOf(frameNo) : nullptr;
        if (life == nullptr) {
            return;
        }
        if (isLocked) {
            mLockedSinceNs[frameNo] = mNowNs;
        } else {
            life->lockedNs.emplace_back(mLockedSinceNs[frameNo], mNowNs);
        }
    }

    void setLocked(ISelector::HistoryFrame& frame, bool isLocked) {
        noteLock(frame.frameNo, frame.locked, isLocked);
        frame.locked = isLocked;
    }

    void check(ISelector::SelectOutputParams const& out, Request const& request) const {
        for (auto const& entry : out.selectedFrames) {
            if (entry.second.frameNo != kNoFrame && mHistory.count(entry.second.frameNo) == 0) {
                throw BrokenPlugin("the plug-in answered R" + std::to_string(request.requestNo) + " with F" +
                                   std::to_string(entry.second.frameNo) + ", which is not in the history");
            }
        }
    }

    void carryOut(std::map<FrameNo, ISelector::OpT> const& operations, Outcome& outcome) {
        for (auto const& [frameNo, operation] : operations) {
            bool const isLock = operation == ISelector::OpT::Lock;
            ++(isLock ? outcome.locks : outcome.unlocks);
            auto const frame = mHistory.find(frameNo);
            if (frame != mHistory.end()) {
                setLocked(frame->second, isLock);
            }
        }
    }

    /// The request takes its frames over; the locks that kept them for it end with that.
    void answer(std::map<int32_t, ISelector::ZslFrameResult> const& selected, Outcome& outcome) {
        bool const isNonZsl = std::any_of(selected.begin(), selected.end(),
                                          [](auto const& entry) { return entry.second.frameNo == kNoFrame; });
        outcome.state = isNonZsl ? RequestState::NonZsl : RequestState::FromHistory;
        for (auto const& [index, result] : selected) {
            outcome.chosen[index] = result.frameNo;
            auto const frame = mHistory.find(result.frameNo);
            if (frame != mHistory.end()) {
                outcome.offsetsNs.push_back(frame->second.timestamp - outcome.request->shutterNs);
                setLocked(frame->second, false);
            }
        }
    }

    /// The frames of an incomplete answer stay until the request is answered.
    void keep(size_t index, bool isAnswered, std::map<int32_t, ISelector::ZslFrameResult> const& selected) {
        auto const kept = mKeptBy.find(index);
        if (kept != mKeptBy.end()) {
            for (FrameNo const frameNo : kept->second) {
                mKept.erase(mKept.find(frameNo));
            }
            mKeptBy.erase(kept);
        }
        if (!isAnswered && !selected.empty()) {
            for (auto const& entry : selected) {
                mKeptBy[index].push_back(entry.second.frameNo);
                mKept.insert(entry.second.frameNo);
            }
        }
        evict();
    }

    Session const& mSession;
    HostOptions const& mOptions;
    size_t mDepth;
    std::vector<std::shared_ptr<ISelector>> mSelectors;
    SessionResult mResult;
    Pending mPending;
    Pending mOvertime;  // of a recording: those that were answered by now
    std::map<FrameNo, ISelector::HistoryFrame> mHistory;
    std::map<FrameNo, ISelector::InflightFrame> mInflight;
    std::set<FrameNo> mLeaving;                      // that are to leave when nobody holds them
    std::map<size_t, std::vector<FrameNo>> mKeptBy;  // by outcome
    std::multiset<FrameNo> mKept;
    CallReader mReader;
    std::map<FrameNo, size_t> mFrameIndex;      // of the session's frames; with HostOptions::onCall
    std::map<FrameNo, int64_t> mLockedSinceNs;  // likewise
    size_t mCalls = 0;
    int64_t mNowNs = 0;
};

}  // namespace

SessionResult play(Session const& session, HostOptions const& options) { return Host(session, options).play(); }

}  // namespace Replay
