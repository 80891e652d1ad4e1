// The least that an answer costs: hand-written loops over the same records that read the same metadata and yield
// the same frames, with no log, no dispatch and no burst record.
#pragma once

#include <utility>
#include <vector>

#include "zsl/policy/ISelector.h"

namespace ZslBench {

using NSCam::ZslPolicy::FrameNo;
using NSCam::ZslPolicy::ISelector;
using NSCam::ZslPolicy::RequestNo;

/// The default policy's selection around the shutter, as many frames as the request requires.
ISelector::SelectOutputParams floorContinuous(ISelector::SelectInputParams const& in);

/// One call of a burst whose unserved requests wait for `waiting` (oldest first): serves the first one when
/// `isTurn` and its frame is in the history, and locks the others. With `isVerified` every frame is judged
/// by streams, sensor modes and EV first.
ISelector::SelectOutputParams floorBurst(ISelector::SelectInputParams const& in,
                                         std::vector<std::pair<RequestNo, FrameNo>> const& waiting, bool isTurn,
                                         bool isVerified);

}  // namespace ZslBench
