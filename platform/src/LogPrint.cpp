// Android's log functions, for builds without an Android log library.
#include <android/log.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "LogOutput.h"

namespace Log = NSCam::Utils::Log;

namespace {

constexpr int kFatal = 7;

/// Writes the line; nearly every one fits a buffer in place and is formatted once.
__attribute__((format(printf, 3, 0))) void writeFormatted(int priority, char const* tag, char const* fmt,
                                                          va_list arguments) {
    char usual[1024];
    va_list again;
    va_copy(again, arguments);
    int const length = std::vsnprintf(usual, sizeof usual, fmt, arguments);
    if (length < static_cast<int>(sizeof usual)) {
        Log::write(priority, tag, length < 0 ? "" : usual);
    } else {
        std::string text(static_cast<size_t>(length), '\0');
        std::vsnprintf(text.data(), text.size() + 1, fmt, again);
        Log::write(priority, tag, text.c_str());
    }
    va_end(again);
}

}  // namespace

extern "C" int __android_log_print(int prio, char const* tag, char const* fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    writeFormatted(prio, tag, fmt, arguments);
    va_end(arguments);
    return 1;
}

extern "C" void __android_log_assert(char const* cond, char const* tag, char const* fmt, ...) {
    if (fmt != nullptr) {
        va_list arguments;
        va_start(arguments, fmt);
        writeFormatted(kFatal, tag, fmt, arguments);
        va_end(arguments);
    } else {
        Log::write(kFatal, tag, (std::string("Assertion failed: ") + (cond != nullptr ? cond : "")).c_str());
    }
    std::abort();
}
