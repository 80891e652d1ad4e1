// The metadata tags that the selector reads. This is the only place that knows their numbers: the selector, the
// recorder and the desk tool look them up here, so that a tag that is added is recorded and named at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace NSCam {

/// What the entries of a tag are: uint8_t, int32_t or int64_t.
enum class TagType : uint8_t { U8, I32, I64 };

/// As session files and recordings have it.
constexpr char const* nameOf(TagType type) {
    return type == TagType::U8 ? "u8" : type == TagType::I32 ? "i32" : "i64";
}

struct MetadataTag {
    uint32_t number;
    TagType type;
    std::string_view name;
};

inline constexpr MetadataTag kMetadataTags[] = {
    // Application metadata, with the Android camera metadata standard's numbers.
    {0x10001, TagType::I32, "android.control.aeExposureCompensation"},
    {0x10007, TagType::U8, "android.control.afMode"},
    {0x1001F, TagType::U8, "android.control.aeState"},
    {0x10020, TagType::U8, "android.control.afState"},
    {0x80009, TagType::U8, "android.lens.state"},
    {0x800B0022, TagType::I32, "preCollectHint"},  // set when > 0
    // HAL (vendor) metadata.
    {0xC0000005, TagType::I32, "VZR_HAL_REQUEST_SENSOR_ID"},
    {0xC0010014, TagType::I32, "VZR_P1NODE_SENSOR_MODE"},
    {0xC0030023, TagType::I32, "softAeState"},      // 1: stable
    {0xC0080004, TagType::I64, "frameSyncResult"},  // 0: in sync
};

inline constexpr size_t kMetadataTagCount = sizeof(kMetadataTags) / sizeof(kMetadataTags[0]);

/// The number of the table's tag of this name. A constant of a name that is not there does not compile.
constexpr uint32_t metadataTag(std::string_view name) {
    size_t index = 0;
    while (kMetadataTags[index].name != name) {
        ++index;
    }
    return kMetadataTags[index].number;
}

}  // namespace NSCam
