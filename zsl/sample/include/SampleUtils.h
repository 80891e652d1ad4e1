// Judging one history frame: the stability predicates, the qualification that combines them, and the metadata
// reads the strategies share. Pure functions apart from their log lines; their DEBUG lines follow the log gate
// alone. Metadata pointers go to the container's getEntry unchanged; missing metadata has a stated verdict.
#pragma once

#include <optional>

#include "zsl/policy/ISelector.h"
#include "zsl/sample/SensorModes.h"

namespace NSCam::Sample {

using ZslPolicy::ISelector;
using ZslPolicy::StreamSets;

/// The modes that the host expects of the sensors which the request's first frame depends on.
SensorModes requiredSensorModes(ISelector::SelectInputParams const& in);

/// Whether the auto-focus of every needed application stream is at rest. A stream without afMode, afState or
/// lens state fails; a frame without a needed stream passes.
bool isAFStable(ISelector::HistoryFrame const& hf, StreamSets const& needStreams);

/// Whether the auto-exposure of every needed application stream is converged or locked. A stream without
/// aeState fails; a frame without a needed stream passes.
bool isAEStable(ISelector::HistoryFrame const& hf, StreamSets const& needStreams);

/// Whether no needed HAL stream says that its soft auto-exposure is unstable. A stream without it passes.
bool isAESoftStable(ISelector::HistoryFrame const& hf, StreamSets const& needStreams);

/// Whether at least one needed HAL stream is synchronised. A stream without the result counts as synchronised;
/// a frame without a needed stream does not.
bool isFrameSync(ISelector::HistoryFrame const& hf, StreamSets const& needStreams);

/// Whether `hf` may serve a frame of a request: it carries `needStreams`, was taken by the sensors in the modes
/// of `reqSensorModes` and with the exposure compensation `targetEv`, and passes the predicates that `policy`
/// asks for. `isTimeout` (the request has waited for its time-out) skips the predicates only. With
/// Policy::ForcePending no frame qualifies. A frame without exposure compensation counts as 0; a needed HAL
/// stream without sensor id or sensor mode fails.
bool isQualify(ISelector::HistoryFrame const& hf, StreamSets const& needStreams, uint32_t policy, bool isTimeout,
               SensorModes const& reqSensorModes, int32_t targetEv);

/// Whether the application metadata carries the pre-collect hint. Null metadata does not, and is reported.
bool tryGetPreCollectHint(IMetadata const* appMeta);

/// The exposure compensation in the application metadata; nothing when the tag is absent, or, with a report,
/// when the metadata is null.
std::optional<int32_t> tryGetEVSetting(IMetadata const* appMeta);

}  // namespace NSCam::Sample
