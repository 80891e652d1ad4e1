// What a sweep counts: one input under one combination of settings, and the sum over all inputs.
#pragma once

#include <map>
#include <nlohmann/json.hpp>
#include <optional>
#include <ostream>
#include <string>
#include <vector>

#include "replay/report/Report.h"

namespace Replay {

/// Values in milliseconds, kept to a tenth: so the memory does not grow with their number.
class Distribution {
  public:
    void add(double ms);
    void add(Distribution const& other);

    /// The value that `share` of all values do not exceed; nothing without values.
    std::optional<double> quantile(double share) const;

    nlohmann::json toJson() const { return mCounts; }
    static Distribution fromJson(nlohmann::json const& json);

  private:
    std::map<int64_t, uint64_t> mCounts;  // by tenths of a millisecond
    uint64_t mSize = 0;
};

/// Of so many chosen frames that tell, so many were at rest.
struct Share {
    uint64_t atRest = 0;
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

/// A combination of settings as the command line names them; "default" leaves a setting to input and plug-in.
struct Combination {
    std::string hint;
    std::string policy;
    std::string timeoutMs;
    SettingOverrides settings = {};
};

/// The columns of a tally by name, in their order; nothing where there is no value.
std::vector<std::pair<std::string, std::optional<double>>> columnsOf(Tally const& tally);

/// One row a combination; the best of each column is marked with a star.
void printSweepTable(std::ostream& out, std::vector<Combination> const& combinations,
                     std::vector<Tally> const& tallies);

/// The same as comma-separated values, without marks.
void printSweepCsv(std::ostream& out, std::vector<Combination> const& combinations,
                   std::vector<Tally> const& tallies);

}  // namespace Replay
