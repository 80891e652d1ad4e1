// Whole numbers in texts: options, keys, logs.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Replay {

/// A whole number in decimal or 0x-hexadecimal, nothing else in the text.
std::optional<int64_t> parseInteger(std::string const& text);

}  // namespace Replay
