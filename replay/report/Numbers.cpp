#include "Numbers.h"

#include <fmt/core.h>

#include <cmath>

namespace Replay {

std::string fixedText(std::optional<double> value, int decimals) {
    return value ? fmt::format("{:.{}f}", *value, decimals) : "-";
}

std::string signedText(std::optional<double> value) { return value ? fmt::format("{:+.1f}", *value) : "-"; }

std::string shortText(double value) {
    double const rounded = std::round(value * 10) / 10;
    return fixedText(rounded, rounded == std::floor(rounded) ? 0 : 1);
}

std::string durationText(double ms) {
    if (ms < 1000) {
        return shortText(ms) + " ms";
    }
    if (ms < 60000) {
        return shortText(ms / 1000) + " s";
    }
    auto const minutes = static_cast<uint64_t>(std::llround(ms / 60000));
    auto const both = [](uint64_t small, uint64_t ratio, char const* large, char const* unit) {
        uint64_t const rest = small % ratio;
        return fmt::format("{} {}", small / ratio, large) + (rest > 0 ? fmt::format(" {} {}", rest, unit) : "");
    };
    if (minutes < 60) {
        return fmt::format("{} min", minutes);
    }
    uint64_t const hours = minutes / 60;
    return hours < 24 ? both(minutes, 60, "h", "min") : both(hours, 24, hours < 48 ? "day" : "days", "h");
}

}  // namespace Replay
