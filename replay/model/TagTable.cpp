#include "TagTable.h"

#include <algorithm>
#include <limits>

#include "Integer.h"

namespace Replay {

namespace {

std::vector<char const*> wordsOf(uint32_t tag) {
    switch (tag) {
        case kAfMode: return {"OFF", "AUTO", "MACRO", "CONTINUOUS_VIDEO", "CONTINUOUS_PICTURE", "EDOF"};
        case kAfState:
            return {"INACTIVE",       "PASSIVE_SCAN",       "PASSIVE_FOCUSED",  "ACTIVE_SCAN",
                    "FOCUSED_LOCKED", "NOT_FOCUSED_LOCKED", "PASSIVE_UNFOCUSED"};
        case kAeState: return {"INACTIVE", "SEARCHING", "CONVERGED", "LOCKED", "FLASH_REQUIRED", "PRECAPTURE"};
        case kLensState: return {"STATIONARY", "MOVING"};
        case kCaptureIntent:
            return {"CUSTOM",         "PREVIEW",          "STILL_CAPTURE", "VIDEO_RECORD",
                    "VIDEO_SNAPSHOT", "ZERO_SHUTTER_LAG", "MANUAL",        "MOTION_TRACKING"};
        default: return {};
    }
}

std::vector<Tag> const& tags() {
    static std::vector<Tag> const table = [] {
        std::vector<Tag> all;
        for (auto const& [number, type, name] : NSCam::kMetadataTags) {
            all.push_back({std::string(name), number, type, wordsOf(number)});
        }
        all.push_back({"android.control.captureIntent", kCaptureIntent, TagType::U8, wordsOf(kCaptureIntent)});
        all.push_back({"VZR_CONTROL_AE_EXPOSURE_COMPENSATION", kAeExposureCompensation, TagType::I32, {}});
        return all;
    }();
    return table;
}

template <typename T>
std::optional<NSCam::Metadata::Items> narrow(std::vector<int64_t> const& values) {
    std::vector<T> items;
    for (int64_t const value : values) {
        if (value < std::numeric_limits<T>::min() || value > std::numeric_limits<T>::max()) {
            return std::nullopt;
        }
        items.push_back(static_cast<T>(value));
    }
    return items;
}

}  // namespace

Tag const* findTag(std::string const& nameOrNumber) {
    auto const number = parseInteger(nameOrNumber);
    for (Tag const& tag : tags()) {
        if (tag.name == nameOrNumber || (number && tag.number == *number)) {
            return &tag;
        }
    }
    return nullptr;
}

Tag const* findTag(uint32_t number) {
    auto const tag =
        std::find_if(tags().begin(), tags().end(), [&](Tag const& entry) { return entry.number == number; });
    return tag == tags().end() ? nullptr : &*tag;
}

std::string wordOf(Tag const& tag, int64_t value) {
    bool const hasWord = value >= 0 && value < static_cast<int64_t>(tag.words.size());
    return hasWord ? tag.words[static_cast<size_t>(value)] : std::to_string(value);
}

std::optional<int64_t> valueOfWord(Tag const& tag, std::string const& word) {
    for (size_t value = 0; value < tag.words.size(); ++value) {
        if (tag.words[value] == word) {
            return static_cast<int64_t>(value);
        }
    }
    return std::nullopt;
}

std::optional<NSCam::Metadata::Items> toItems(TagType type, std::vector<int64_t> const& values) {
    switch (type) {
        case TagType::U8: return narrow<uint8_t>(values);
        case TagType::I32: return narrow<int32_t>(values);
        case TagType::I64: return narrow<int64_t>(values);
    }
    return std::nullopt;
}

}  // namespace Replay
