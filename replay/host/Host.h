// The host's part, played on a desk: frames start, are in flight and land in a history of limited depth; a
// pending request is presented again on every event; locks and unlocks are carried out. Time is the session's
// own clock, so a replay is deterministic.
#pragma once

#include <functional>
#include <memory>
#include <stdexcept>

#include "LogFile.h"

namespace Replay {

/// The plug-in did what no selector may. what() says it.
struct BrokenPlugin : std::runtime_error {
    using std::runtime_error::runtime_error;
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
    /// Told what each call of a request did, as far as its log lines say; may be empty. With it there is no limit
    /// of calls, and what became of every frame is told.
    std::function<void(size_t request, CallStory const& call)> onCall;
    std::shared_ptr<LogFile> log;                               ///< takes the log; may be null
    std::function<void(size_t events, size_t all)> onProgress;  ///< called after every event; may be empty
};

/// Plays one session from its first event to its last, each call on the thread of the caller. Throws BrokenPlugin.
SessionResult play(Session const& session, HostOptions const& options);

}  // namespace Replay
