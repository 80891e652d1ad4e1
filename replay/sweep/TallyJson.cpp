#include <nlohmann/json.hpp>

#include "Tally.h"

namespace Replay {

NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(StateCounts, pending, fromHistory, nonZsl)
NLOHMANN_DEFINE_TYPE_NON_INTRUSIVE(Share, stable, all)

nlohmann::json Distribution::toJson() const { return mCounts; }

Distribution Distribution::fromJson(nlohmann::json const& json) {
    Distribution distribution;
    distribution.mCounts = json.get<std::map<int64_t, uint64_t>>();
    for (auto const& entry : distribution.mCounts) {
        distribution.mSize += entry.second;
    }
    return distribution;
}

nlohmann::json Tally::toJson() const {
    return {{"requests", requests}, {"distances", distances.toJson()}, {"waits", waits.toJson()}, {"focus", focus},
            {"exposure", exposure}, {"softExposure", softExposure}};
}

Tally Tally::fromJson(nlohmann::json const& json) {
    return {json.at("requests"),
            Distribution::fromJson(json.at("distances")),
            Distribution::fromJson(json.at("waits")),
            json.at("focus"),
            json.at("exposure"),
            json.at("softExposure")};
}

}  // namespace Replay
