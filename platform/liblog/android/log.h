// The part of Android's <android/log.h> that the selector uses, for builds without an Android log library.
#pragma once

#ifdef __cplusplus
extern "C" {
#endif

/// Writes one line at an Android priority (2 verbose, 3 debug, 4 info, 5 warn, 6 error, 7 fatal). Returns 1.
int __android_log_print(int prio, char const* tag, char const* fmt, ...) __attribute__((format(printf, 3, 4)));

/// Writes the message as a fatal line, then aborts the process. `cond` is printed when `fmt` is null.
void __android_log_assert(char const* cond, char const* tag, char const* fmt, ...)
    __attribute__((noreturn, format(printf, 3, 4)));

#ifdef __cplusplus
}
#endif
