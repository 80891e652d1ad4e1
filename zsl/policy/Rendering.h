// The text forms of the host's records in the log. All numbers are decimal unless said otherwise.
#pragma once

#include <string>

#include "zsl/policy/ISelector.h"

namespace NSCam::ZslPolicy {

/// "[F120 R58 ts:5000 ss(2,1,1) locked=0]"
std::string toString(ISelector::HistoryFrame const& frame);

/// Brief: the three set sizes, "(2,1,1)". Long: the ids in hexadecimal, negative ones as two's complement,
/// "halImages[1 2 ]; halMetas[a ]; appMetas[]".
std::string toString(StreamSets const& streams, bool brief);

/// "[120]=R58 Status=Ready [121]=R58 Status=Inflight "; empty for an empty map.
std::string toString(std::map<unsigned int, ISelector::PreCollectSelectInfo> const& preCollects);

/// "[0]1 [2]1 ": sensor id and mode, in the map's own order; empty for an empty map.
std::string toString(std::unordered_map<unsigned int, unsigned int> const& sensorModes);

}  // namespace NSCam::ZslPolicy

namespace NSCam::Sample {

/// A policy bit set by name: "{ AFStable AESoftStable }"; "{ None }" for 0; ForcePending hides all others.
std::string toString(unsigned int policy);

}  // namespace NSCam::Sample
