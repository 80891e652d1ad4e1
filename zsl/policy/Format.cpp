#include "zsl/policy/Format.h"

#include <cstdarg>
#include <cstdio>

namespace NSCam::ZslPolicy {

void append(std::string& text, char const* fmt, ...) {
    char piece[160];
    va_list arguments;
    va_start(arguments, fmt);
    std::vsnprintf(piece, sizeof piece, fmt, arguments);
    va_end(arguments);
    text += piece;
}

}  // namespace NSCam::ZslPolicy
