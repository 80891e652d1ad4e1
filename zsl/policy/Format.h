// Text by printf formats, which the compiler checks.
#pragma once

#include <string>

namespace NSCam::ZslPolicy {

/// The formatted text, as a new string.
std::string format(char const* fmt, ...) __attribute__((format(printf, 1, 2)));

}  // namespace NSCam::ZslPolicy
