// What comes of one input under one combination of settings.
#pragma once

#include "replay/sweep/Sweep.h"

namespace Replay {

struct SweepAnswer {
    Settings settings;  ///< in force; of another process, `hint`, `policy` and `timeoutMs` alone
    Tally tally;
};

/// For another process.
std::string pack(SweepAnswer const& answer);
SweepAnswer unpackSweepAnswer(std::string const& bytes);

/// As a JSON object in a line.
void printObject(std::ostream& out, std::string const& input, SweepAnswer const& answer);

}  // namespace Replay
