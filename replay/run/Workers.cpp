#include "Workers.h"

namespace Replay {

void Workers::start(size_t number, ChildTask task) {
    mWaiting.push_back({number, std::move(task), nullptr});
    while (!mWaiting.empty()) {
        step();
    }
}

void Workers::finish() {
    while (!mWaiting.empty() || !mRunning.empty()) {
        step();
    }
}

void Workers::step() {
    if (mWaiting.empty() || mRunning.size() >= mJobs) {
        waitForOne();
        return;
    }
    Job& next = mWaiting.front();
    try {
        next.process = std::make_unique<ChildProcess>(next.task);
        mRunning.push_back(std::move(next));
        mWaiting.pop_front();
    } catch (OutOfProcesses const& error) {
        if (!mRunning.empty()) {
            mJobs = mRunning.size();
            return;
        }
        size_t const number = next.number;
        mWaiting.pop_front();
        mDone(number, {"", Failure{error.what()}, true});
    }
}

void Workers::waitForOne() {
    std::vector<ChildProcess*> processes;
    for (Job const& job : mRunning) {
        processes.push_back(job.process.get());
    }
    auto const ended = mRunning.begin() + static_cast<ptrdiff_t>(ChildProcess::waitForAny(processes));
    Job job = std::move(*ended);
    mRunning.erase(ended);
    ChildEnd const end = job.process->end();
    if (end.isOutOfProcesses && !mRunning.empty()) {
        mJobs = mRunning.size();
        job.process.reset();
        mWaiting.push_back(std::move(job));
        return;
    }
    mDone(job.number, end);
}

}  // namespace Replay
