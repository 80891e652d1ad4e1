// Work done in processes of its own, so many at a time.
#pragma once

#include <sys/types.h>
#include <functional>
#include <string>
#include <vector>

namespace Replay {

class Workers {
  public:
    /// What a process answered: text, or why there is none.
    using Done = std::function<void(size_t task, std::string const& answer, std::string const& failure)>;

    /// `done` is called in this process, in the order in which the tasks end.
    Workers(size_t jobs, Done done) : mJobs(jobs), mDone(std::move(done)) {}
    ~Workers();
    Workers(Workers const&) = delete;
    Workers& operator=(Workers const&) = delete;

    /// Waits until a process may be started, and starts one that answers what `work` returns.
    void start(size_t task, std::function<std::string()> const& work);

    /// Waits for all of them.
    void finish();

  private:
    struct Worker {
        size_t task;
        pid_t process;
        int descriptor;
        std::string answer;
    };

    void waitForOne();
    void end(Worker const& worker);

    size_t mJobs;
    Done mDone;
    std::vector<Worker> mWorkers;
};

}  // namespace Replay
