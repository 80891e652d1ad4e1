// Android's log functions, for builds without an Android log library.
#include <android/log.h>

#include <cstdarg>
#include <cstdio>
#include <cstdlib>
#include <string>

#include "LogOutput.h"

namespace NSCam::Utils::Log {

namespace {

__attribute__((format(printf, 1, 0))) std::string format(char const* fmt, va_list arguments) {
    va_list again;
    va_copy(again, arguments);
    int const length = std::vsnprintf(nullptr, 0, fmt, arguments);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, fmt, again);
    va_end(again);
    return text;
}

}  // namespace

}  // namespace NSCam::Utils::Log

namespace Log = NSCam::Utils::Log;

extern "C" int __android_log_print(int prio, char const* tag, char const* fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    std::string const text = Log::format(fmt, arguments);
    va_end(arguments);
    Log::write(prio, tag, text);
    return 1;
}

extern "C" void __android_log_assert(char const* cond, char const* tag, char const* fmt, ...) {
    constexpr int kFatal = 7;
    if (fmt != nullptr) {
        va_list arguments;
        va_start(arguments, fmt);
        Log::write(kFatal, tag, Log::format(fmt, arguments));
        va_end(arguments);
    } else {
        Log::write(kFatal, tag, std::string("Assertion failed: ") + (cond != nullptr ? cond : ""));
    }
    std::abort();
}
