// Numbers over all reported requests.
#pragma once

#include <optional>
#include <vector>

#include "Report.h"

namespace Replay {

struct Summary {
    StateCounts requests;
    size_t locks = 0;
    size_t unlocks = 0;
    size_t lockedAtEnd = 0;
    std::vector<double> offsetsMs;
    std::vector<double> waitsMs;  // of answered requests
};

Summary summarize(Report const& report);

std::optional<double> median(std::vector<double> values);

/// The value furthest from zero.
std::optional<double> worst(std::vector<double> const& values);

}  // namespace Replay
