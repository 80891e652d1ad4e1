// What a recording holds of the host's metadata and properties: what a selector reads of them.
#pragma once

#include <array>
#include <cstdint>

#include "Words.h"

namespace NSCam {
class IMetadata;
}

namespace NSCam::Recorder {

struct Tag {
    uint32_t number;
    char const* type;  ///< u8, i32 or i64
};

/// The tags that a selector reads, ascending.
constexpr size_t kTagCount = 10;
extern std::array<Tag, kTagCount> const kTags;

/// In place of the tags that are there, for a null pointer.
constexpr int64_t kNullMetadata = -1;

/// At most so many numbers tell of one container.
constexpr size_t kMetadataWords = 1 + kTagCount;

/// Puts down which of kTags are there, a bit each, and their values; answers the place behind them.
int64_t* putMetadata(int64_t* to, IMetadata const* meta);

/// The properties that a selector reads, with the defaults that it uses.
constexpr size_t kPropertyCount = 5;
using PropertyValues = std::array<int64_t, kPropertyCount>;
extern std::array<char const*, kPropertyCount> const kPropertyNames;
constexpr size_t kRuntimeSwitch = 1;  ///< the place of the one that is read once in a process

PropertyValues readProperties();
int64_t readRuntimeSwitch();

}  // namespace NSCam::Recorder
