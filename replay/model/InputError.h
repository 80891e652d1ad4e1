// What is thrown for bad arguments and for input that cannot be read.
#pragma once

#include <stdexcept>

namespace Replay {

/// what() names the file or option, the place in it, and the reason.
struct InputError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

}  // namespace Replay
