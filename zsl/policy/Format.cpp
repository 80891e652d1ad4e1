#include "zsl/policy/Format.h"

#include <cstdarg>
#include <cstdio>

namespace NSCam::ZslPolicy {

std::string format(char const* fmt, ...) {
    va_list arguments;
    va_start(arguments, fmt);
    va_list again;
    va_copy(again, arguments);
    int const length = std::vsnprintf(nullptr, 0, fmt, arguments);
    va_end(arguments);
    std::string text(length > 0 ? static_cast<size_t>(length) : 0, '\0');
    std::vsnprintf(text.data(), text.size() + 1, fmt, again);
    va_end(again);
    return text;
}

}  // namespace NSCam::ZslPolicy
