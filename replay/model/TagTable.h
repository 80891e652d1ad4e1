// Metadata tags by name, with the words of their values.
#pragma once

#include <vzrcam/Metadata.h>
#include <vzrcam/MetadataTags.h>

#include <optional>
#include <string>
#include <vector>

namespace Replay {

using NSCam::TagType;

/// A tag that the selector or a reader reads.
struct Tag {
    std::string name;
    uint32_t number;
    TagType type;
    std::vector<char const*> words;  ///< the word of value 0, 1, ...; empty for plain numbers
};

// Tags the readers themselves have to know.
constexpr uint32_t kAeExposureCompensation = NSCam::metadataTag("android.control.aeExposureCompensation");
constexpr uint32_t kAfMode = NSCam::metadataTag("android.control.afMode");
constexpr uint32_t kAeState = NSCam::metadataTag("android.control.aeState");
constexpr uint32_t kAfState = NSCam::metadataTag("android.control.afState");
constexpr uint32_t kLensState = NSCam::metadataTag("android.lens.state");
constexpr uint32_t kHalRequestSensorId = NSCam::metadataTag("VZR_HAL_REQUEST_SENSOR_ID");
constexpr uint32_t kP1NodeSensorMode = NSCam::metadataTag("VZR_P1NODE_SENSOR_MODE");
constexpr uint32_t kSoftAeState = NSCam::metadataTag("softAeState");
constexpr uint32_t kFrameSyncResult = NSCam::metadataTag("frameSyncResult");
constexpr uint32_t kCaptureIntent = 0x1000D;  // the selector does not read it

/// The tag of this name, or with this number in decimal or 0x-hexadecimal; null when the table has none.
Tag const* findTag(std::string const& nameOrNumber);

Tag const* findTag(uint32_t number);

/// The word of a value, or its number.
std::string wordOf(Tag const& tag, int64_t value);

/// The value that a word of the tag means.
std::optional<int64_t> valueOfWord(Tag const& tag, std::string const& word);

/// The values as metadata items; nothing when one is out of the type's range.
std::optional<NSCam::Metadata::Items> toItems(TagType type, std::vector<int64_t> const& values);

}  // namespace Replay
