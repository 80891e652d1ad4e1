#include "Workers.h"

#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <iostream>
#include <stdexcept>

namespace Replay {

namespace {

void writeAll(int descriptor, std::string const& text) {
    for (size_t written = 0; written < text.size();) {
        ssize_t const count = write(descriptor, text.data() + written, text.size() - written);
        if (count <= 0) {
            return;  // the reader is gone
        }
        written += static_cast<size_t>(count);
    }
}

}  // namespace

Workers::~Workers() {
    for (Worker const& worker : mWorkers) {  // an error ends the whole before they are done
        kill(worker.process, SIGKILL);
        close(worker.descriptor);
        waitpid(worker.process, nullptr, 0);
    }
}

void Workers::start(size_t task, std::function<std::string()> const& work) {
    while (mWorkers.size() >= mJobs) {
        waitForOne();
    }
    int ends[2];
    std::cout.flush();
    std::cerr.flush();
    if (pipe(ends) != 0) {
        throw std::runtime_error(std::string("cannot make a pipe: ") + std::strerror(errno));
    }
    pid_t const child = fork();
    if (child < 0) {
        throw std::runtime_error(std::string("cannot start a process: ") + std::strerror(errno));
    }
    if (child == 0) {
        for (Worker const& other : mWorkers) {
            close(other.descriptor);
        }
        close(ends[0]);
        std::string answer;
        try {
            answer = work();
        } catch (std::exception const& error) {
            std::cerr << "zsl-replay: " << error.what() << '\n';
            _exit(1);
        }
        writeAll(ends[1], answer);
        _exit(0);
    }
    close(ends[1]);
    mWorkers.push_back({task, child, ends[0], ""});
}

void Workers::finish() {
    while (!mWorkers.empty()) {
        waitForOne();
    }
}

void Workers::waitForOne() {
    for (;;) {
        std::vector<pollfd> descriptors;
        for (Worker const& worker : mWorkers) {
            descriptors.push_back({worker.descriptor, POLLIN, 0});
        }
        poll(descriptors.data(), descriptors.size(), -1);
        for (size_t index = 0; index < descriptors.size(); ++index) {
            if (descriptors[index].revents == 0) {
                continue;
            }
            char part[65536];
            ssize_t const count = read(descriptors[index].fd, part, sizeof part);
            if (count > 0) {
                mWorkers[index].answer.append(part, static_cast<size_t>(count));
            } else if (count == 0) {
                Worker const worker = mWorkers[index];
                mWorkers.erase(mWorkers.begin() + static_cast<ptrdiff_t>(index));
                end(worker);
                return;
            }
        }
    }
}

void Workers::end(Worker const& worker) {
    close(worker.descriptor);
    int status = 0;
    waitpid(worker.process, &status, 0);
    bool const isSignal = WIFSIGNALED(status);
    bool const isFine = !isSignal && WEXITSTATUS(status) == 0;
    mDone(worker.task, worker.answer,
          isFine ? ""
                 : "the process ended with " + (isSignal ? std::string("signal ") + strsignal(WTERMSIG(status))
                                                         : "exit code " + std::to_string(WEXITSTATUS(status))));
}

}  // namespace Replay
