// What a call of `select` did, read from the plug-in's log lines alone. The lines are its contract (docs/log.md);
// this module is the only one here that knows them, and it knows no rule of selection.
#pragma once

#include <map>
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
    Reason reason;                   ///< why it waits, or goes without ZSL

    bool isNonZsl() const;  ///< served, and at least one frame is captured without ZSL
};

/// Reads the lines of one thread of one process, one after the other.
class CallReader {
  public:
    /// `hasDebug`: the log has the selector's DEBUG lines, so that their absence says something.
    explicit CallReader(bool hasDebug = true) : mHasDebug(hasDebug) {}

    /// Takes the text of a line; true: it begins a new call, and endCall() has to be asked before it is taken.
    bool beginsCall(std::string const& line) const;

    /// Takes a line of the present call.
    void take(std::string const& line);

    /// Ends the call and answers what was read of it.
    CallStory endCall();

  private:
    void takeVerdict(std::string const& line);
    void takeDetail(std::string const& line);
    void takeOfRequest(std::string const& line, std::string const& rest);
    void takeFrame(std::string const& rest);
    void takeStep(std::string const& rest);
    void takeSelection(std::string const& rest);
    void takeMapping(std::string const& rest);

    bool mHasDebug;
    bool mIsOpening = false;  // only lines that may stand before a call's first own line were read
    bool mHasLines = false;
    bool mIsTorn = false;  // a line was cut, so that what no line says may still have happened
    CallStory mCall;
    Reason mDetail;   // of the frame being judged
    Reason mRefusal;  // of the last frame that was refused
    Reason mOther;    // what says more than the refusal of a frame, or stands where none is
};

/// Whether a DEBUG line with this text tells that the selector's DEBUG lines are on.
bool isSelectorDebug(std::string const& line);

}  // namespace Replay
