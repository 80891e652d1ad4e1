// Metadata tags by name, with the words of their values.
#pragma once

#include <vzrcam/Metadata.h>

#include <optional>
#include <string>
#include <vector>

namespace Replay {

enum class TagType { U8, I32, I64 };

struct Tag {
    char const* name;
    uint32_t number;
    TagType type;
    std::vector<char const*> words;  ///< the word of value 0, 1, ...; empty for plain numbers
};

// Tags the readers themselves have to know.
constexpr uint32_t kAeExposureCompensation = 0x10001;
constexpr uint32_t kCaptureIntent = 0x1000D;
constexpr uint32_t kAfMode = 0x10007;
constexpr uint32_t kAeState = 0x1001F;
constexpr uint32_t kAfState = 0x10020;
constexpr uint32_t kLensState = 0x80009;
constexpr uint32_t kHalRequestSensorId = 0xC0000005;
constexpr uint32_t kP1NodeSensorMode = 0xC0010014;
constexpr uint32_t kSoftAeState = 0xC0030023;
constexpr uint32_t kFrameSyncResult = 0xC0080004;

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
