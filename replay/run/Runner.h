// Sessions played in processes of their own: the plug-in keeps state for its process, and may end it.
#pragma once

#include "ChildProcess.h"
#include "replay/explain/Explain.h"
#include "replay/host/Host.h"

namespace Replay {

/// A session that was played.
struct PlayedSession {
    Session const* session = nullptr;
    SessionResult result;
    /// With RunOptions::explain: of the session's requests; empty texts for one that was never presented.
    std::vector<Explanation> explanations;
    std::shared_ptr<LogFile const> log = {};  ///< with RunOptions::keepLog
};

/// Plays the session, which has to outlive the answer, in this process; `host.onCall` is this function's if it is
/// to explain. Throws BrokenPlugin.
PlayedSession playInProcess(Session const& session, HostOptions host, bool explain);

/// How a session's process ended.
struct RunResult {
    std::optional<PlayedSession> played;
    Failure failure;                ///< without a played session: what went wrong
    bool isOutOfProcesses = false;  ///< there was no process to be had
};

struct RunOptions {
    HostOptions host;                           ///< makeSelector and onCall are the runner's
    std::string plugin;                         ///< as dlopen takes it
    std::chrono::duration<double> deadline{0};  ///< for the session's process; 0: none
    bool keepLog = false;                       ///< host.log is the runner's, too
    bool explain = false;                       ///< explain every request, and tell what became of every frame
};

/// Plays the session, which has to outlive the result, in a new process, which loads the plug-in. Lines that
/// onLogLine or onProgress write come from there.
RunResult runSession(Session const& session, RunOptions options);

}  // namespace Replay
