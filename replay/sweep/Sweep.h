// The sums of many inputs under many combinations of settings, side by side.
#pragma once

#include <ostream>
#include <string>
#include <vector>

#include "Tally.h"
#include "replay/model/Settings.h"

namespace Replay {

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
