// What is counted of a played session, and summed over many.
#pragma once

#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>

#include "replay/run/Runner.h"

namespace Replay {

/// Values in milliseconds, kept to a tenth: so the memory does not grow with their number.
class Distribution {
  public:
    void add(double ms);
    void add(Distribution const& other);

    /// The value that `share` of all values do not exceed; nothing without values.
    std::optional<double> quantile(double share) const;

    nlohmann::json toJson() const;  ///< whole, for another process
    static Distribution fromJson(nlohmann::json const& json);

  private:
    std::map<int64_t, uint64_t> mCounts;  // by tenths of a millisecond
    uint64_t mSize = 0;
};

/// Of so many chosen frames that carry a tag, so many are stable.
struct Share {
    uint64_t stable = 0;
    uint64_t all = 0;

    std::optional<double> percent() const;
};

/// How requests fared.
struct Tally {
    StateCounts requests;
    Distribution distances;  ///< of the chosen history frames from the shutter, without sign
    Distribution waits;      ///< of the answered requests
    Share focus;             ///< neither scanning nor with a moving lens
    Share exposure;          ///< converged or locked
    Share softExposure;      ///< stable

    void add(Session const& session, SessionResult const& result);
    void add(Tally const& other);

    nlohmann::json toJson() const;  ///< whole, for another process
    static Tally fromJson(nlohmann::json const& json);
};

}  // namespace Replay
