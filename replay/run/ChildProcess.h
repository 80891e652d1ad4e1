// Work done in a process of its own, which may crash, hang or end without that the program does.
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

namespace Replay {

/// No process, or no pipe to it, can be had while so many others are there. what() gives the reason.
struct OutOfProcesses : std::runtime_error {
    using std::runtime_error::runtime_error;
};

/// Why a process has no answer.
struct Failure {
    std::string text;
    bool isPluginMissing = false;  ///< the plug-in cannot be loaded: no other process will fare better
};

/// What a process is to do.
struct ChildTask {
    /// Its answer is the process's. An exception becomes a Failure with its text.
    std::function<std::string()> work;
    std::chrono::duration<double> deadline{0};  ///< the process is killed after that time; 0: it may take for ever
    bool hasPlugin = true;                      ///< it runs the plug-in, which is to blame if it ends too early
};

/// How a process ended.
struct ChildEnd {
    std::string answer;              ///< whole
    std::optional<Failure> failure;  ///< why there is no answer
    bool isOutOfProcesses = false;   ///< it failed by OutOfProcesses, so that another attempt may succeed
};

/// A process that has been started. It leads a process group, and what is left of the group when it ends is killed;
/// one that is started from within another belongs to that one's group. It does not outlive this program, whatever
/// ends it. To be used from one thread only.
class ChildProcess {
  public:
    /// Throws OutOfProcesses.
    explicit ChildProcess(ChildTask const& task);
    /// Kills the process if it was not waited for.
    ~ChildProcess();
    ChildProcess(ChildProcess const&) = delete;
    ChildProcess& operator=(ChildProcess const&) = delete;

    /// Waits until one of them has ended, and answers its place; there has to be one.
    static size_t waitForAny(std::vector<ChildProcess*> const& children);

    /// Waits for its end.
    ChildEnd end();

  private:
    using Clock = std::chrono::steady_clock;

    bool hasEnded() const;
    bool readSome();  // false: there is nothing to be read now
    void closePipe();
    void kill() const;
    void reap();
    bool isOpen() const { return mPipe >= 0; }

    std::chrono::duration<double> mAllowed;
    bool mHasPlugin;
    std::optional<Clock::time_point> mDeadline;
    bool mIsLate = false;
    bool mIsLeader;
    pid_t mProcess = -1;
    int mPipe = -1;
    int mStatus = 0;
    std::string mBytes;
};

/// Does the work of one process and waits for it; that there is none to be had is a failure, too.
ChildEnd runInChild(ChildTask const& task);

}  // namespace Replay
