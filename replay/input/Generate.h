// Plausible camera sessions out of thin air, so that settings can be compared without a phone.
#pragma once

#include <cstdint>
#include <string>

namespace Replay {

struct GenerateOptions {
    uint32_t seed = 1;
    double seconds = 5;
    double fps = 30;
    size_t captures = 6;
    size_t burst = 0;    ///< each capture is a burst of so many requests; 0: none is
    size_t sensors = 1;  ///< 1 or 2; two are synchronised, and lose it now and then
};

/// A session file on one line: focus scans and rests, the lens moves with the scan, exposure and soft exposure
/// search and settle, frames are dropped and results come late, captures are spread over the time. The same options
/// give the same text on every machine. Options that no session file may amount to throw InputError.
std::string generateSession(GenerateOptions const& options);

}  // namespace Replay
