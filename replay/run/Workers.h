// Work done in processes of its own, so many at a time.
#pragma once

#include <deque>
#include <memory>

#include "ChildProcess.h"

namespace Replay {

class Workers {
  public:
    using Done = std::function<void(size_t task, ChildEnd const& end)>;

    /// `done` is called in this process, in the order in which the tasks end.
    Workers(size_t jobs, Done done) : mJobs(jobs), mDone(std::move(done)) {}

    /// Waits until a process may be started, and starts one for the task. When none is to be had, there are too
    /// many: from then on fewer run at once, and the task waits for one of them. So its work may be asked for later
    /// than this call, and more than once.
    void start(size_t number, ChildTask task);

    /// Waits for all of them.
    void finish();

  private:
    struct Job {
        size_t number;
        ChildTask task;
        std::unique_ptr<ChildProcess> process;  // once it runs
    };

    void step();
    void waitForOne();

    size_t mJobs;
    Done mDone;
    std::deque<Job> mWaiting;
    std::vector<Job> mRunning;
};

}  // namespace Replay
