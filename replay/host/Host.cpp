#include "Host.h"

#include <vzrcam/LogSink.h>
#include <vzrcam/PropertyStore.h>

#include <fmt/core.h>

#include <algorithm>

#include "Events.h"
#include "History.h"
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

/// Where a request stands in its presentations.
enum class Phase {
    OnEveryEvent,   ///< of a session: whatever happens may have brought what it waits for
    AsRecorded,     ///< of a recording: when and as it was presented then
    AfterRecording  ///< of a recording, answered then and not now: whenever a frame lands, and with the others'
                    ///< calls
};

class Host {
  public:
    Host(Session const& session, HostOptions const& options)
        : mSession(session),
          mOptions(options),
          mResult(emptyResult(session, options)),
          mHistory(session, options.historyDepth.value_or(session.historyDepth ? SIZE_MAX : kHistoryDepth),
                   mResult.frames) {
        setGate();
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
            presentAll(Phase::OnEveryEvent);
            if (mOptions.onProgress) {
                mOptions.onProgress(done + 1, events.size());
            }
        }
        mSelectors.clear();
        mResult.endNs = mNowNs;
        mResult.lockedAtEnd = mHistory.endLocks(mNowNs);
        return std::move(mResult);
    }

  private:
    /// A request that has arrived and is not answered.
    struct Waiting {
        Phase phase = Phase::OnEveryEvent;
        ISelector::SelectInputParams in;  // without history and frames in flight
    };

    static SessionResult emptyResult(Session const& session, HostOptions const& options) {
        SessionResult result;
        result.outcomes.resize(session.requests.size());
        for (size_t index = 0; index < session.requests.size(); ++index) {
            result.outcomes[index].request = &session.requests[index];
        }
        result.frames.resize(options.onCall ? session.frames.size() : 0);
        return result;
    }

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

    void apply(Event const& event) {
        switch (event.kind) {
            case Event::FrameStarts: mHistory.begin(mSession.frames[event.index]); break;
            case Event::FrameLands:
                mHistory.land(mSession.frames[event.index], mNowNs);
                presentAll(Phase::AfterRecording);
                break;
            case Event::FrameLeaves:
                if (!mOptions.historyDepth) {
                    mHistory.leave(mSession.frames[event.index].frameNo, mNowNs);
                }
                break;
            case Event::RequestArrives:
                mWaiting[event.index] = {mSession.ticks.empty() ? Phase::OnEveryEvent : Phase::AsRecorded,
                                         inputOf(mSession.requests[event.index])};
                break;
            case Event::Tick: presentAsRecorded(mSession.ticks[event.index]); break;
        }
    }

    void presentAll(Phase phase) {
        for (auto request = mWaiting.begin(); request != mWaiting.end();) {
            auto const next = std::next(request);
            if (request->second.phase == phase) {
                present(request, mNowNs - mSession.requests[request->first].submitNs);
            }
            request = next;
        }
    }

    /// The request's recorded call; those that are behind theirs come with it.
    void presentAsRecorded(Tick const& tick) {
        auto const request = mWaiting.find(tick.request);
        bool const isWaiting = request != mWaiting.end() && request->second.phase == Phase::AsRecorded;
        bool const stillWaits = isWaiting && !present(request, tick.waitedNs);
        presentAll(Phase::AfterRecording);
        if (stillWaits && tick.isLast) {
            request->second.phase = Phase::AfterRecording;
        }
    }

    using Pending = std::map<size_t, Waiting>;

    /// Whether it was answered: then it waits no more.
    bool present(Pending::iterator pending, int64_t waitedNs) {
        size_t const index = pending->first;
        ISelector::SelectInputParams& in = pending->second.in;
        Outcome& outcome = mResult.outcomes[index];
        Request const& request = *outcome.request;
        in.elapsedMs = waitedNs / kNsPerMs;
        mHistory.swapInto(in);
        auto const out = mSelectors[request.selector]->select(in);
        mHistory.swapInto(in);
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
        if (isAnswered) {
            mWaiting.erase(pending);
        }
        return isAnswered;
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
                if (FrameLife* const life = mHistory.lifeOf(verdict.frameNo)) {
                    life->verdicts[outcome.request->requestNo] = verdict;
                }
            }
            mOptions.onCall(index, call);
        }
    }

    void check(ISelector::SelectOutputParams const& out, Request const& request) const {
        for (auto const& entry : out.selectedFrames) {
            if (entry.second.frameNo != kNoFrame && mHistory.find(entry.second.frameNo) == nullptr) {
                throw BrokenPlugin(fmt::format("the plug-in answered R{} with F{}, which is not in the history",
                                               request.requestNo, entry.second.frameNo));
            }
        }
    }

    void carryOut(std::map<FrameNo, ISelector::OpT> const& operations, Outcome& outcome) {
        for (auto const& [frameNo, operation] : operations) {
            bool const isLock = operation == ISelector::OpT::Lock;
            ++(isLock ? outcome.locks : outcome.unlocks);
            mHistory.setLocked(frameNo, isLock, mNowNs);
        }
    }

    /// The request takes its frames over; the locks that kept them for it end with that.
    void answer(std::map<int32_t, ISelector::ZslFrameResult> const& selected, Outcome& outcome) {
        bool const isNonZsl = std::any_of(selected.begin(), selected.end(),
                                          [](auto const& entry) { return entry.second.frameNo == kNoFrame; });
        outcome.state = isNonZsl ? RequestState::NonZsl : RequestState::FromHistory;
        for (auto const& [index, result] : selected) {
            outcome.chosen[index] = result.frameNo;
            if (auto const* const frame = mHistory.find(result.frameNo)) {
                outcome.offsetsNs.push_back(frame->timestamp - outcome.request->shutterNs);
                mHistory.setLocked(result.frameNo, false, mNowNs);
            }
        }
    }

    /// The frames of an incomplete answer stay until the request is answered.
    void keep(size_t index, bool isAnswered, std::map<int32_t, ISelector::ZslFrameResult> const& selected) {
        std::vector<FrameNo> frames;
        frames.reserve(selected.size());
        for (auto const& entry : selected) {
            frames.push_back(entry.second.frameNo);
        }
        mHistory.keepFor(index, isAnswered ? std::vector<FrameNo>() : frames, mNowNs);
    }

    Session const& mSession;
    HostOptions const& mOptions;
    std::vector<std::shared_ptr<ISelector>> mSelectors;
    SessionResult mResult;
    History mHistory;
    Pending mWaiting;  // by their place in the session, in which order they are presented
    CallReader mReader;
    size_t mCalls = 0;
    int64_t mNowNs = 0;
};

}  // namespace

SessionResult play(Session const& session, HostOptions const& options) { return Host(session, options).play(); }

}  // namespace Replay
