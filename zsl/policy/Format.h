// Text by printf formats, which the compiler checks.
#pragma once

#include <string>

namespace NSCam::ZslPolicy {

/// Adds the formatted text to `text`.
void append(std::string& text, char const* fmt, ...) __attribute__((format(printf, 2, 3)));

}  // namespace NSCam::ZslPolicy
