// Nanoseconds, in which sessions count, and milliseconds, in which people do.
#pragma once

#include <chrono>
#include <cmath>
#include <cstdint>

namespace Replay {

constexpr int64_t kNsPerMs = std::chrono::nanoseconds(std::chrono::milliseconds(1)).count();

constexpr double toMs(int64_t ns) {
    return std::chrono::duration<double, std::milli>(std::chrono::nanoseconds(ns)).count();
}

/// The nearest whole number of nanoseconds.
inline int64_t toNs(double ms) { return std::llround(ms * static_cast<double>(kNsPerMs)); }

}  // namespace Replay
