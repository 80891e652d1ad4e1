#include "Summary.h"
#include "replay/model/Units.h"

#include <algorithm>
#include <cmath>

namespace Replay {

Summary summarize(Report const& report) {
    Summary summary;
    for (PlayedSession const& played : report.played) {
        for (Outcome const& outcome : played.result.outcomes) {
            if (!report.isShown(outcome)) {
                continue;
            }
            summary.requests.add(outcome.state);
            summary.locks += outcome.locks;
            summary.unlocks += outcome.unlocks;
            for (int64_t const offset : outcome.offsetsNs) {
                summary.offsetsMs.push_back(toMs(offset));
            }
            if (outcome.isAnswered()) {
                summary.waitsMs.push_back(toMs(outcome.waitedNs));
            }
        }
        summary.lockedAtEnd += played.result.lockedAtEnd;
    }
    return summary;
}

std::optional<double> median(std::vector<double> values) {
    if (values.empty()) {
        return std::nullopt;
    }
    std::sort(values.begin(), values.end());
    size_t const middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

std::optional<double> worst(std::vector<double> const& values) {
    auto const furthest = std::max_element(
        values.begin(), values.end(), [](double left, double right) { return std::abs(left) < std::abs(right); });
    return furthest == values.end() ? std::nullopt : std::optional<double>(*furthest);
}

}  // namespace Replay
