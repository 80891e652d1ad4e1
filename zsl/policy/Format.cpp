#include "zsl/policy/Format.h"

#include <cstdarg>
#include <cstdio>

namespace NSCam::ZslPolicy {

void append(std::string& text, char const* fmt, ...) {
    char usual[128];  // nearly every piece fits, and is formatted once
    va_list arguments;
    va_list again;
    va_start(arguments, fmt);
    va_copy(again, arguments);
    auto const length = static_cast<size_t>(std::vsnprintf(usual, sizeof usual, fmt, arguments));
    if (length < sizeof usual) {
        text.append(usual, length);
    } else {
        size_t const before = text.size();
        text.resize(before + length);
        std::vsnprintf(text.data() + before, length + 1, fmt, again);
    }
    va_end(again);
    va_end(arguments);
}

}  // namespace NSCam::ZslPolicy
