// Metadata tags and values the selector reads; every entry is read at index 0.
#pragma once

#include <cstdint>

namespace NSCam::Sample::Tag {

// Application metadata, with the Android camera metadata standard's numbers.
constexpr uint32_t kControlAeExposureCompensation = 0x10001;  // int32; VZR_CONTROL_AE_EXPOSURE_COMPENSATION
constexpr uint32_t kControlAfMode = 0x10007;                  // uint8
constexpr uint32_t kControlAeState = 0x1001F;                 // uint8
constexpr uint32_t kControlAfState = 0x10020;                 // uint8
constexpr uint32_t kLensState = 0x80009;                      // uint8
constexpr uint32_t kPreCollectHint = 0x800B0022;              // int32; set when > 0

// HAL (vendor) metadata.
constexpr uint32_t kHalRequestSensorId = 0xC0000005;  // int32; VZR_HAL_REQUEST_SENSOR_ID
constexpr uint32_t kP1NodeSensorMode = 0xC0010014;    // int32; VZR_P1NODE_SENSOR_MODE
constexpr uint32_t kFrameSyncResult = 0xC0080004;     // int64; 0: in sync
constexpr uint32_t kSoftAeState = 0xC0030023;         // int32; 1: stable

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
