// Metadata tags and values the selector reads; every entry is read at index 0.
#pragma once

#include <vzrcam/MetadataTags.h>

namespace NSCam::Sample::Tag {

// By name from the table that recordings are written by: a number of its own would be missing there.
constexpr uint32_t kControlAeExposureCompensation = metadataTag("android.control.aeExposureCompensation");
constexpr uint32_t kControlAfMode = metadataTag("android.control.afMode");
constexpr uint32_t kControlAeState = metadataTag("android.control.aeState");
constexpr uint32_t kControlAfState = metadataTag("android.control.afState");
constexpr uint32_t kLensState = metadataTag("android.lens.state");
constexpr uint32_t kPreCollectHint = metadataTag("preCollectHint");
constexpr uint32_t kHalRequestSensorId = metadataTag("VZR_HAL_REQUEST_SENSOR_ID");
constexpr uint32_t kP1NodeSensorMode = metadataTag("VZR_P1NODE_SENSOR_MODE");
constexpr uint32_t kFrameSyncResult = metadataTag("frameSyncResult");
constexpr uint32_t kSoftAeState = metadataTag("softAeState");

}  // namespace NSCam::Sample::Tag

namespace NSCam::Sample {

constexpr uint8_t kAfModeAuto = 1;
constexpr uint8_t kAfModeContinuousPicture = 4;  // the focusing modes are AUTO (1) to CONTINUOUS_PICTURE (4)

constexpr uint8_t kAfStateInactive = 0;
constexpr uint8_t kAfStatePassiveScan = 1;
constexpr uint8_t kAfStateActiveScan = 3;

constexpr uint8_t kLensStationary = 0;
constexpr uint8_t kLensMoving = 1;

constexpr uint8_t kAeStateConverged = 2;
constexpr uint8_t kAeStateLocked = 3;

}  // namespace NSCam::Sample
