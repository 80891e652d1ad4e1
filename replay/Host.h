// The host's part, played on a desk: frames start, are in flight and land in a history of limited depth; a
// pending request is presented again on every event; locks and unlocks are carried out. Time is the session's
// own clock, so a replay is deterministic.
#pragma once

#include <functional>
#include <memory>

#include "Explain.h"
#include "Session.h"

namespace Replay {

/// The plug-in did what no selector may. what() says it.
struct BrokenPlugin : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// How one request fared.
struct Outcome {
    Request const* request = nullptr;
    bool isAnswered = false;
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
    Explanation explanation;   ///< with HostOptions::explain, if it was presented

    bool isNonZsl() const;  ///< answered, and at least one of its frames is captured without ZSL
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
    std::vector<FrameLife> frames;  ///< with HostOptions::explain: in the order of the session's frames
    std::vector<LogLine> log;       ///< with HostOptions::keepLog
    int64_t endNs = 0;              ///< of the last event
    size_t lockedAtEnd = 0;
    bool isExplained = true;  ///< the reasons of all calls are known: there were not too many (HostOptions)
};

constexpr size_t kHistoryDepth = 30;

struct HostOptions {
    /// Frames of the history; unless told: of a recording what it shows, else kHistoryDepth.
    std::optional<size_t> historyDepth;
    std::function<std::shared_ptr<ISelector>()> makeSelector;
    std::function<void(LogLine const&)> onLogLine;  ///< may be empty
    /// The log level letter that onLogLine needs; the gate is wider while reasons are read.
    char logLevel = 'S';
    /// So many calls are made with an open gate, for the reasons; reading them takes longer than the calls.
    size_t explainedCalls = 100000;
    bool explain = false;  ///< explain every request, and tell what became of every frame; no limit of calls then
    bool keepLog = false;  ///< put the log into the result
    std::function<void(size_t events, size_t all)> onProgress;  ///< called after every event; may be empty
};

/// Plays one session from its first event to its last, each call on the thread of the caller. Throws BrokenPlugin.
SessionResult play(Session const& session, HostOptions const& options);

}  // namespace Replay
