// The selector's log lines. A line costs one call of the gate while its level is refused: the arguments, and so
// every rendering among them, are evaluated only once the gate has let the line through. What builds a line is kept
// out of the way of the code that decides.
//
// Formats stand whole at each line, so that a line of a log can be searched for in the sources.
#pragma once

#include <android/log.h>
#include <vzrcam/LogGate.h>

#include "zsl/sample/LogName.h"

namespace NSCam::Sample {

constexpr char const* kLogTag = "SampleSelector";

// Named in location suffixes; log-reading scripts key on them.
constexpr char const* kSelectorPath = "zsl/sample/SampleSelector";
constexpr char const* kUtilsPath = "zsl/sample/include/SampleUtils";

/// Whether the host's gate lets lines of the level through.
inline bool isLogged(char level) { return __builtin_expect(vzrcam_testLog(kLogTag, level), 0) != 0; }

/// Who writes a line about a request: the function, the request's log name and the selector's log level.
struct RequestLog {
    char const* function;
    LogName const& logName;
    int32_t level;

    char const* name() const { return logName.c_str(); }
};

/// Ends the process after an internal inconsistency; the caller has written its "[Fatal] " line.
[[noreturn]] inline void fatal(char const* function, int line) {
    __android_log_assert("1", kLogTag, "(%s){#%d:%s}\r\n", function, line, kSelectorPath);
}

}  // namespace NSCam::Sample

#define ZSL_LOG(level, priority, ...)                                             \
    do {                                                                          \
        if (::NSCam::Sample::isLogged(level)) {                                   \
            __android_log_print(priority, ::NSCam::Sample::kLogTag, __VA_ARGS__); \
        }                                                                         \
    } while (false)

#define ZSL_LOGD(...) ZSL_LOG('D', 3, __VA_ARGS__)
#define ZSL_LOGI(...) ZSL_LOG('I', 4, __VA_ARGS__)
#define ZSL_LOGW(...) ZSL_LOG('W', 5, __VA_ARGS__)
#define ZSL_LOGE(...) ZSL_LOG('E', 6, __VA_ARGS__)

/// The DEBUG line of a selector, which also needs the selector's log level; `log` is its RequestLog.
#define ZSL_MEMBER_LOGD(log, ...)  \
    do {                           \
        if ((log).level >= 1) {    \
            ZSL_LOGD(__VA_ARGS__); \
        }                          \
    } while (false)
