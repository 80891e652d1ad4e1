// Numbers as people read them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Replay {

/// With so many decimals, "12.0"; nothing is "-".
std::string fixedText(std::optional<double> value, int decimals = 1);

/// With its sign and a decimal, "+12.0"; nothing is "-".
std::string signedText(std::optional<double> value);

/// With a decimal unless it is whole, "12.3" or "12".
std::string shortText(double value);

/// A time in the units it is spoken of, the largest two at most: "850 ms", "5.3 s", "2 h 3 min", "11 days 13 h".
std::string durationText(double ms);

}  // namespace Replay
