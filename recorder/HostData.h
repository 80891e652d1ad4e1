// What a recording holds of the host's metadata and properties: what a selector reads of them.
#pragma once

#include <vzrcam/MetadataTags.h>

#include <array>
#include <cstdint>

#include "Words.h"

namespace NSCam {
class IMetadata;
}

namespace NSCam::Recorder {

/// The tags that a selector reads, a bit each in the number that tells which are there.
constexpr size_t kTagCount = kMetadataTagCount;
static_assert(kTagCount < 63);

/// In place of the tags that are there, for a null pointer.
constexpr int64_t kNullMetadata = -1;

/// At most so many numbers tell of one container.
constexpr size_t kMetadataWords = 1 + kTagCount;

/// Puts down which of kMetadataTags are there, a bit each, and their values; answers the place behind them.
int64_t* putMetadata(int64_t* to, IMetadata const* meta);

/// The properties that a selector reads, with the defaults that it uses.
constexpr size_t kPropertyCount = 5;
using PropertyValues = std::array<int64_t, kPropertyCount>;
extern std::array<char const*, kPropertyCount> const kPropertyNames;
constexpr size_t kRuntimeSwitch = 1;  ///< the place of the one that is read once in a process

PropertyValues readProperties();
int64_t readRuntimeSwitch();

}  // namespace NSCam::Recorder
