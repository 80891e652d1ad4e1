#include "vzrcam/LogSink.h"

#include <sys/syscall.h>
#include <unistd.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <ctime>
#include <mutex>
#include <utility>

#include "LogOutput.h"
#include "vzrcam/LogGate.h"

namespace NSCam::Utils::Log {

namespace {

// Android's priorities, by the letters logcat shows; S is only a level, never a line's priority.
constexpr char kLetters[] = "..VDIWEFS";
constexpr int kVerbose = 2;
constexpr int kInfo = 4;
constexpr int kSilent = 8;

std::atomic<int> minimumPriority{kInfo};

struct Output {
    std::mutex mutex;
    Sink sink;
    std::string text;  // of the line; kept for its room
};

Output& output() {
    static Output instance;
    return instance;
}

}  // namespace

void setSink(Sink sink) {
    std::lock_guard<std::mutex> const guard(output().mutex);
    output().sink = std::move(sink);
}

void write(int priority, char const* tag, char const* text) {
    std::lock_guard<std::mutex> const guard(output().mutex);
    if (output().sink) {
        output().text = text;
        output().sink(priority, tag, output().text);
    } else {
        auto const now = std::chrono::system_clock::now().time_since_epoch();
        int64_t const ns = std::chrono::duration_cast<std::chrono::nanoseconds>(now).count();
        std::fprintf(stderr, "%s\n", threadtimeLine(priority, tag, text, ns).c_str());
    }
}

char priorityLetter(int priority) { return priority >= kVerbose && priority < kSilent ? kLetters[priority] : '?'; }

int priorityOf(char levelLetter) {
    for (int priority = kVerbose; priority <= kSilent; ++priority) {
        if (levelLetter == kLetters[priority] || levelLetter == kLetters[priority] - 'A' + 'a') {
            return priority;
        }
    }
    return 0;
}

void setMinimumLevel(char const* level) {
    int const priority = priorityOf(*level);
    minimumPriority.store(priority != 0 ? priority : kInfo, std::memory_order_relaxed);
}

std::string threadtimeLine(int priority, char const* tag, std::string const& text, int64_t sinceEpochNs) {
    time_t const seconds = static_cast<time_t>(sinceEpochNs / 1000000000);
    tm local{};
    localtime_r(&seconds, &local);
    char stamp[64];
    std::snprintf(stamp, sizeof stamp, "%02d-%02d %02d:%02d:%02d.%03d %5d %5d %c ", local.tm_mon + 1, local.tm_mday,
                  local.tm_hour, local.tm_min, local.tm_sec, static_cast<int>(sinceEpochNs / 1000000 % 1000),
                  static_cast<int>(getpid()), static_cast<int>(syscall(SYS_gettid)), priorityLetter(priority));
    return stamp + std::string(tag) + ": " + text;
}

}  // namespace NSCam::Utils::Log

// One tag's lines are gated here, whatever the caller passes: the selector's.
extern "C" int vzrcam_testLog(char const* /*tag*/, int level) {
    using namespace NSCam::Utils::Log;
    static constexpr auto kPriorityByLevel = [] {
        struct Table {
            signed char priority[128] = {};
        } table;
        for (int priority = kVerbose; priority < kSilent; ++priority) {
            table.priority[static_cast<unsigned char>(kLetters[priority])] = static_cast<signed char>(priority);
        }
        return table;
    }();
    return (level & ~0x7F) == 0 &&
           kPriorityByLevel.priority[level] >= minimumPriority.load(std::memory_order_relaxed);
}
