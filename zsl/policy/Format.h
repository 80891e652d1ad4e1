// Text by printf formats, which the compiler checks.
#pragma once

#include <string>

namespace NSCam::ZslPolicy {

/// Adds the formatted piece to `text`: numbers and short words, at most 159 characters; what is longer is cut.
void append(std::string& text, char const* fmt, ...) __attribute__((format(printf, 2, 3)));

}  // namespace NSCam::ZslPolicy
