// What a call of `select` did, read from the plug-in's log lines alone. The lines are its contract (docs/log.md);
// this module is the only one here that knows them, and it knows no rule of selection.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "LogWords.h"

namespace Replay {

/// What was said of one frame.
struct Verdict {
    uint32_t frameNo = 0;
    bool isRefused = false;
    bool isUnchecked = false;  ///< taken after the time-out, its quality unchecked
    Reason reason;             ///< of a refusal
};

/// One call, as far as the log tells.
struct CallStory {
    uint32_t requestNo = 0;
    bool isNamed = false;   ///< a line named the request; without one there is nothing to tell
    int64_t waitedMs = 0;   ///< by the request's log name
    int64_t timeoutMs = 0;  ///< likewise
    std::string strategy;   ///< the word of the log name: "multiFrame", "ispHidl", ...
    std::string policy;     ///< as the log writes it; empty where it does not
    int burstIdx = -1;      ///< -1: not part of a burst
    int burstCnt = -1;
    std::optional<int64_t> shutterNs;
    std::optional<uint32_t> shutterFrame;
    std::vector<Verdict> verdicts;            ///< in the order in which they were given
    std::vector<std::string> steps;           ///< what else happened, in words
    size_t stepsBefore = 0;                   ///< so many of the steps came before the first verdict
    std::map<uint32_t, int64_t> timestampNs;  ///< of the frames of which a line tells
    std::optional<int> ev;                    ///< the exposure compensation that was asked for
    bool isEndKnown = false;                  ///< a line tells whether it was served
    bool isServed = false;
    bool hasTimedOut = false;
    std::vector<uint32_t> selected;  ///< the frames of the answer; kNoFrame: a capture without ZSL
    size_t unnamed = 0;              ///< so many more frames are in the answer, and no line says which
    Reason reason;                   ///< why it waits, or goes without ZSL

    bool isOwnSelection() const;  ///< of the continuous selection, which serves the request itself, not a burst
    bool isNonZsl() const;        ///< served, and at least one frame is captured without ZSL
};

/// Where the lines come from.
enum class LogSource {
    Host,    ///< they are all there, so that a line's absence says something; the host tells where a call ends
    Logcat,  ///< any may be missing: what none says is not known
    LogcatNoDebug,  ///< likewise, and those of level DEBUG are
};

/// Reads the lines of one thread of one process, one after the other.
class CallReader {
  public:
    explicit CallReader(LogSource source = LogSource::Host) : mSource(source) {}

    /// Takes a line's text. Of a logcat: answers the call before if the line begins another one.
    std::optional<CallStory> take(std::string_view line);

    /// Lines are known to be missing here; `words` say so.
    void takeGap(std::string const& words);

    /// Ends the call and answers what was read of it.
    CallStory endCall();

    /// The selector is gone, and its bursts with it.
    void forgetBursts() { mMapped.clear(); }

    bool isReading() const { return mNow.phase != Phase::Empty; }
    CallStory const& call() const { return mNow.call; }

  private:
    /// How far the present call has come, by its lines. They are written in this order; a line that steps back
    /// begins another call.
    enum class Phase {
        Empty,      ///< no line yet
        Opening,    ///< what `select` writes before a strategy begins
        Preparing,  ///< the strategy looks for frames to judge
        Judging,    ///< frame by frame
        Counting,   ///< those that passed are counted
        Ended,      ///< a line told how it ends; locks and the end of a burst may follow
        Any         ///< of a line: it may stand in several phases
    };

    struct RequestLine;
    struct Heading;

    /// What is known of the present call.
    struct Reading {
        CallStory call;
        Phase phase = Phase::Empty;
        int openingRank = 0;
        int stage = 0;             ///< of the frame being judged
        Detail detail;             ///< likewise
        Reason refusal;            ///< of the last frame that was refused
        Reason other;              ///< what says more than the refusal of a frame, or stands where none is
        bool endsByCount = false;  ///< too few frames passed: the refusals are the reason
        bool isTorn = false;       ///< a line was cut, so that what no line says may still have happened
        bool lacksVerdicts = false;
        size_t fit = 0;         ///< the last verdicts that let a frame pass, without a refusal or gap between
        size_t attributed = 0;  ///< so many verdicts stand before a line that named the request
        size_t round = 0;       ///< the first verdict since frames were counted
        int hdrLines = 0;
        bool wentNonZslBefore = false;  ///< an earlier call's line says that this request goes without ZSL
    };

    bool isQualityCheck() const { return mNow.call.strategy == "ispHidlSelect_LatestWithQuality"; }

    static RequestLine const* find(std::string_view rest);
    static int openingRank(std::string_view line);
    static Phase phaseOf(RequestLine const& line, Heading const& heading);
    bool isAnother(Heading const& heading) const;
    bool beginsCall(std::string_view line, Heading const& heading, RequestLine const* known) const;
    void takeOfRequest(std::string_view rest, Heading const& heading, RequestLine const* known);

    void takeJudging(std::string_view line);
    void takeVerdict(std::string_view line);
    void loseVerdict();
    void takeFrame(std::string_view rest);
    void addStep(std::string step);
    void count(std::string_view rest, std::string_view passedLabel, std::string_view neededLabel);
    void end(bool isServed);

    void takePolicy(std::string_view rest);
    void takeError(std::string_view rest);
    void takeBegin(std::string_view rest);
    void takeOver(std::string_view rest);
    void takeShutter(std::string_view rest);
    void takeSearch(std::string_view rest);
    void takeNoRun(std::string_view rest);
    void takeSelected(std::string_view rest);
    void takePending(std::string_view rest);
    void takeTimeOut(std::string_view rest);
    void takeTooFewPassed(std::string_view rest);
    void takeMapping(std::string_view rest);
    void takeMappingTimeOut(std::string_view rest);
    void takeVerifyFailed(std::string_view rest);
    void takeServed(std::string_view rest);
    void takeLock(std::string_view rest);
    void takeState(std::string_view rest);
    void takeTooFewKnown(std::string_view rest);
    void takeSkipped(std::string_view rest);
    void takeQuality(std::string_view rest);
    void takeHdrMapping(std::string_view rest);
    void takeHinted(std::string_view rest);

    LogSource mSource;
    Reading mNow;
    std::map<uint32_t, uint32_t> mMapped;  // the frames that earlier calls gave to requests of bursts
};

}  // namespace Replay
