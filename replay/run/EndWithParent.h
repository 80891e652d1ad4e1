// No process stays behind: the signals that end this program end its children first.
#pragma once

#include <sys/types.h>

#include <csignal>

namespace Replay {

/// The signals that end the program and all process groups that it has started are held back while one lives: a
/// process that has been made is either known or not there yet.
class EndingSignalsHeld {
  public:
    EndingSignalsHeld();
    ~EndingSignalsHeld();
    EndingSignalsHeld(EndingSignalsHeld const&) = delete;
    EndingSignalsHeld& operator=(EndingSignalsHeld const&) = delete;

  private:
    sigset_t mMaskBefore;
};

/// From now on a hang-up, an interrupt or a request to end kills the group of this leader before it ends the
/// program.
void addLeader(pid_t leader);

/// The leader was waited for.
void removeLeader(pid_t leader);

/// In a new process: it has no groups of its own, is ended by signals as usual, and is killed when `parent` ends.
void endWith(pid_t parent);

}  // namespace Replay
