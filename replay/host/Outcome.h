// How a session's requests and frames fared.
#pragma once

#include "replay/model/Session.h"
#include "replay/selector/CallReader.h"

namespace Replay {

/// Where a request stands.
enum class RequestState {
    Pending,      ///< not answered when the session ended
    FromHistory,  ///< all its frames are of the history
    NonZsl        ///< answered, and at least one of its frames is captured without ZSL
};

/// "pending", "history" or "non-ZSL".
char const* nameOf(RequestState state);

/// How many requests stand where.
struct StateCounts {
    size_t pending = 0;
    size_t fromHistory = 0;
    size_t nonZsl = 0;

    void add(RequestState state, size_t count = 1);
    size_t all() const { return pending + fromHistory + nonZsl; }
};

/// How one request fared.
struct Outcome {
    Request const* request = nullptr;
    RequestState state = RequestState::Pending;
    std::map<int32_t, FrameNo> chosen;  ///< by frame index; kNoFrame: a capture without ZSL
    std::vector<int64_t> offsetsNs;     ///< of the chosen history frames from the shutter
    int64_t waitedNs = 0;               ///< until the answer, or the end of the session
    size_t calls = 0;
    size_t locks = 0;  ///< frame operations asked while serving this request
    size_t unlocks = 0;
    /// Why calls left the request pending, or did without ZSL, with the number of such calls; in order of
    /// appearance.
    std::vector<std::pair<std::string, size_t>> refusals;
    bool hasTimedOut = false;  ///< answered after the time-out

    bool isAnswered() const { return state != RequestState::Pending; }
};

/// A line of the plug-in's log and the session time at which it was written.
struct LogLine {
    int priority;
    std::string tag;
    std::string text;
    int64_t sessionNs;
};

/// What became of a frame of the session.
struct FrameLife {
    int64_t leftNs = -1;                                ///< out of the history; -1: it stayed to the end
    std::vector<std::pair<int64_t, int64_t>> lockedNs;  ///< from, to
    std::map<RequestNo, Verdict> verdicts;              ///< the last of each request
};

struct SessionResult {
    std::vector<Outcome> outcomes;  ///< in the order of the session's requests
    std::vector<FrameLife> frames;  ///< with HostOptions::onCall: in the order of the session's frames
    int64_t endNs = 0;              ///< of the last event
    size_t lockedAtEnd = 0;
    bool isExplained = true;  ///< the reasons of all calls are known: there were not too many (HostOptions)
};

}  // namespace Replay
