// Sessions played in processes of their own: the plug-in keeps state for its process, and may end it.
#pragma once

#include <optional>

#include "Host.h"

namespace Replay {

/// How a session's process ended.
struct RunResult {
    std::optional<SessionResult> result;
    std::string failure;           ///< without a result: what went wrong
    bool isPluginMissing = false;  ///< the plug-in could not be loaded: no other session will fare better
};

struct RunOptions {
    HostOptions host;    ///< makeSelector is the runner's
    std::string plugin;  ///< as dlopen takes it
};

/// Plays the session in a new process, which loads the plug-in. Lines that onLogLine or onProgress write come from
/// there.
RunResult runSession(Session const& session, RunOptions const& options);

}  // namespace Replay
