#include "EndWithParent.h"

#include <sys/prctl.h>
#include <unistd.h>

#include <array>
#include <atomic>

namespace Replay {

namespace {

constexpr int kEndingSignals[] = {SIGHUP, SIGINT, SIGTERM};

/// For a signal handler, which can walk an array and nothing else. More than --jobs allows.
std::array<std::atomic<pid_t>, 1100> leaders{};
static_assert(std::atomic<pid_t>::is_always_lock_free);
bool isHandled = false;

void killAllAndEnd(int signal) {
    for (auto const& leader : leaders) {
        if (pid_t const process = leader.load()) {
            kill(-process, SIGKILL);
        }
    }
    std::signal(signal, SIG_DFL);
    raise(signal);  // comes when the handler returns
}

/// A signal that whoever started the program wants ignored stays ignored.
void handleSignals() {
    for (int const signal : kEndingSignals) {
        struct sigaction now {};
        sigaction(signal, nullptr, &now);
        if (now.sa_handler == SIG_DFL) {
            std::signal(signal, killAllAndEnd);
        }
    }
    isHandled = true;
}

void replaceLeader(pid_t from, pid_t to) {
    for (auto& leader : leaders) {
        pid_t expected = from;
        if (leader.compare_exchange_strong(expected, to)) {
            return;
        }
    }
}

}  // namespace

EndingSignalsHeld::EndingSignalsHeld() : mMaskBefore() {
    sigset_t set;
    sigemptyset(&set);
    for (int const signal : kEndingSignals) {
        sigaddset(&set, signal);
    }
    sigprocmask(SIG_BLOCK, &set, &mMaskBefore);
}

EndingSignalsHeld::~EndingSignalsHeld() { sigprocmask(SIG_SETMASK, &mMaskBefore, nullptr); }

void addLeader(pid_t leader) {
    if (!isHandled) {
        handleSignals();
    }
    replaceLeader(0, leader);
}

void removeLeader(pid_t leader) { replaceLeader(leader, 0); }

void endWith(pid_t parent) {
    for (auto& leader : leaders) {
        leader = 0;
    }
    for (int const signal : kEndingSignals) {
        struct sigaction now {};
        sigaction(signal, nullptr, &now);
        if (now.sa_handler == killAllAndEnd) {
            std::signal(signal, SIG_DFL);
        }
    }
    isHandled = false;
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    if (getppid() != parent) {  // it ended before it could be said
        _exit(1);
    }
}

}  // namespace Replay
