#include "ChildProcess.h"

#include <fcntl.h>
#include <fmt/core.h>
#include <poll.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <csignal>
#include <cstring>
#include <ctime>
#include <iostream>
#include <set>

#include "EndWithParent.h"
#include "replay/selector/Plugin.h"

namespace Replay {

namespace {

/// What stands before the text in the pipe. A process that the plug-in ends leaves it out or incomplete.
struct Head {
    enum Kind : uint32_t { Answer, Failed, PluginIsMissing, IsOutOfProcesses };

    Kind kind;
    uint64_t size;
};

// Of this process: whether it was started here, what it reads, and how to be told that a child ended.
bool isChild = false;
std::set<int> openPipes;
bool isToldOfEnds = false;
sigset_t maskBefore;

/// The end of a child is a signal that is held back, but for the time of waiting. A pipe's end would not do: what
/// the child has started may hold the pipe, and a child may close it and stay.
void beToldOfEnds() {
    if (isToldOfEnds) {
        return;
    }
    std::signal(SIGCHLD, [](int) {});
    sigset_t set;
    sigemptyset(&set);
    sigaddset(&set, SIGCHLD);
    sigprocmask(SIG_BLOCK, &set, &maskBefore);
    isToldOfEnds = true;
}

/// Waits for something to read, the end of a child, or the deadline. No deadline: for ever.
void waitForNews(std::vector<pollfd>& descriptors, std::optional<std::chrono::nanoseconds> longest) {
    timespec time{};
    if (longest) {
        auto const wait = std::max(*longest, std::chrono::nanoseconds(0));
        time.tv_sec = static_cast<time_t>(wait.count() / 1000000000);
        time.tv_nsec = static_cast<long>(wait.count() % 1000000000);
    }
    sigset_t mask = maskBefore;
    sigdelset(&mask, SIGCHLD);
    if (ppoll(descriptors.data(), descriptors.size(), longest ? &time : nullptr, &mask) < 0) {
        for (pollfd& descriptor : descriptors) {
            descriptor.revents = 0;
        }
    }
}

void writeAll(int descriptor, char const* bytes, size_t size) {
    for (size_t written = 0; written < size;) {
        ssize_t const count = write(descriptor, bytes + written, size - written);
        if (count < 0 && errno != EINTR) {
            return;  // the reader is gone, or the plug-in has closed the descriptor
        }
        written += count > 0 ? static_cast<size_t>(count) : 0;
    }
}

void writeAnswer(int descriptor, Head::Kind kind, std::string const& text) {
    Head head{};
    head.kind = kind;
    head.size = text.size();
    writeAll(descriptor, reinterpret_cast<char const*>(&head), sizeof head);
    writeAll(descriptor, text.data(), text.size());
}

void doWork(ChildTask const& task, int descriptor) {
    try {
        writeAnswer(descriptor, Head::Answer, task.work());
    } catch (OutOfProcesses const& error) {
        writeAnswer(descriptor, Head::IsOutOfProcesses, error.what());
    } catch (PluginError const& error) {
        writeAnswer(descriptor, Head::PluginIsMissing, error.what());
    } catch (std::exception const& error) {
        writeAnswer(descriptor, Head::Failed, error.what());
    }
}

/// Nothing: the answer is not whole.
std::optional<ChildEnd> toEnd(std::string&& bytes) {
    Head head{};
    if (bytes.size() < sizeof head) {
        return std::nullopt;
    }
    std::memcpy(&head, bytes.data(), sizeof head);
    if (bytes.size() - sizeof head != head.size) {
        return std::nullopt;
    }
    bytes.erase(0, sizeof head);
    if (head.kind == Head::Answer) {
        return ChildEnd{std::move(bytes), std::nullopt, false};
    }
    return ChildEnd{"", Failure{std::move(bytes), head.kind == Head::PluginIsMissing},
                    head.kind == Head::IsOutOfProcesses};
}

std::string inWords(int status) {
    if (WIFSIGNALED(status)) {
        return fmt::format("signal {} ({})", WTERMSIG(status), strsignal(WTERMSIG(status)));
    }
    int const code = WEXITSTATUS(status);
    return fmt::format("exit code {}{}", code, code == 0 ? ", without an answer" : "");
}

OutOfProcesses outOf(char const* what) { return OutOfProcesses(fmt::format("{}: {}", what, std::strerror(errno))); }

}  // namespace

ChildProcess::ChildProcess(ChildTask const& task)
    : mAllowed(task.deadline), mHasPlugin(task.hasPlugin), mIsLeader(!isChild) {
    beToldOfEnds();
    std::cout.flush();
    std::cerr.flush();
    int ends[2];
    if (pipe(ends) != 0) {
        throw outOf("cannot make a pipe");
    }
    EndingSignalsHeld const held;
    pid_t const parent = getpid();
    mProcess = fork();
    if (mProcess < 0) {
        auto const error = outOf("cannot start a process");
        close(ends[0]);
        close(ends[1]);
        throw error;
    }
    if (mProcess == 0) {
        if (mIsLeader) {
            setpgid(0, 0);
            std::signal(SIGTTOU, SIG_IGN);  // a group in the background may write to the terminal all the same
        }
        endWith(parent);
        isChild = true;
        isToldOfEnds = false;
        std::signal(SIGCHLD, SIG_DFL);
        sigprocmask(SIG_SETMASK, &maskBefore, nullptr);
        for (int const pipe : openPipes) {
            close(pipe);
        }
        openPipes.clear();
        close(ends[0]);
        doWork(task, ends[1]);
        std::cout.flush();
        std::cerr.flush();
        _exit(0);
    }
    if (mIsLeader) {
        setpgid(mProcess, mProcess);  // here, too: it may not have come so far when the group is to be killed
        addLeader(mProcess);
    }
    close(ends[1]);
    mPipe = ends[0];
    fcntl(mPipe, F_SETFL, O_NONBLOCK);
    openPipes.insert(mPipe);
    if (mAllowed.count() > 0) {
        mDeadline = Clock::now() + std::chrono::duration_cast<Clock::duration>(mAllowed);
    }
}

ChildProcess::~ChildProcess() {
    if (mProcess > 0) {
        reap();
    }
}

bool ChildProcess::hasEnded() const {
    siginfo_t info{};
    int const options = WEXITED | WNOWAIT | WNOHANG;
    return waitid(P_PID, static_cast<id_t>(mProcess), &info, options) == 0 && info.si_pid == mProcess;
}

bool ChildProcess::readSome() {
    char part[65536];
    ssize_t const count = read(mPipe, part, sizeof part);
    if (count > 0) {
        mBytes.append(part, static_cast<size_t>(count));
    }
    if (count == 0) {
        closePipe();
    }
    return count > 0;
}

void ChildProcess::closePipe() {
    openPipes.erase(mPipe);
    close(mPipe);
    mPipe = -1;
}

void ChildProcess::kill() const { ::kill(mIsLeader ? -mProcess : mProcess, SIGKILL); }

/// The process is not waited for before the rest of its group is killed: until then, no other has its number.
void ChildProcess::reap() {
    kill();
    while (isOpen() && readSome()) {
    }
    if (isOpen()) {
        closePipe();
    }
    EndingSignalsHeld const held;
    while (waitpid(mProcess, &mStatus, 0) < 0 && errno == EINTR) {
    }
    removeLeader(mProcess);
    mProcess = -1;
}

size_t ChildProcess::waitForAny(std::vector<ChildProcess*> const& children) {
    for (;;) {
        std::vector<pollfd> descriptors;
        std::vector<ChildProcess*> readers;
        std::optional<Clock::time_point> first;
        for (size_t index = 0; index < children.size(); ++index) {
            ChildProcess& child = *children[index];
            if (child.hasEnded()) {
                return index;
            }
            if (child.mDeadline && *child.mDeadline <= Clock::now()) {
                child.mIsLate = true;
                child.mDeadline.reset();
                child.kill();
            }
            if (child.mDeadline) {
                first = std::min(first.value_or(*child.mDeadline), *child.mDeadline);
            }
            if (child.isOpen()) {
                descriptors.push_back({child.mPipe, POLLIN, 0});
                readers.push_back(&child);
            }
        }
        waitForNews(descriptors, first ? std::optional(*first - Clock::now()) : std::nullopt);
        for (size_t index = 0; index < descriptors.size(); ++index) {
            if (descriptors[index].revents != 0) {
                readers[index]->readSome();
            }
        }
    }
}

ChildEnd ChildProcess::end() {
    waitForAny({this});
    reap();
    auto whole = WIFEXITED(mStatus) && WEXITSTATUS(mStatus) == 0 ? toEnd(std::move(mBytes)) : std::nullopt;
    if (whole) {
        return std::move(*whole);
    }
    char const* const who = mHasPlugin ? "the plug-in" : "its process";
    std::string text = mIsLate
                           ? fmt::format("{} did not return within {:g} s (--deadline-s)", who, mAllowed.count())
                       : mHasPlugin ? "the plug-in ended the process: " + inWords(mStatus)
                                    : "its process ended: " + inWords(mStatus);
    return {"", Failure{std::move(text)}, false};
}

ChildEnd runInChild(ChildTask const& task) {
    try {
        return ChildProcess(task).end();
    } catch (OutOfProcesses const& error) {
        return {"", Failure{error.what()}, true};
    }
}

}  // namespace Replay
