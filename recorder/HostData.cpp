#include "HostData.h"

#include <vzrcam/IMetadata.h>
#include <vzrcam/Properties.h>

namespace NSCam::Recorder {

namespace Properties = Utils::Properties;

std::array<char const*, kPropertyCount> const kPropertyNames = {
    "vendor.debug.camera.log.zsl.sample",     //
    "vendor.debug.camera.zsl.runtime.adb",    //
    "vendor.debug.camera.zsl.force.policy",   //
    "vendor.debug.camera.zsl.force.timeout",  //
    "vendor.debug.camera.zsl.force.hint",
};

namespace {

template <typename T>
bool putEntry(int64_t*& to, IMetadata const* meta, uint32_t tag) {
    T value = 0;
    if (!IMetadata::getEntry<T>(meta, tag, value, 0)) {
        return false;
    }
    *to++ = value;
    return true;
}

bool putEntry(int64_t*& to, IMetadata const* meta, MetadataTag const& tag) {
    switch (tag.type) {
        case TagType::U8: return putEntry<uint8_t>(to, meta, tag.number);
        case TagType::I32: return putEntry<int32_t>(to, meta, tag.number);
        case TagType::I64: return putEntry<int64_t>(to, meta, tag.number);
    }
    return false;
}

}  // namespace

int64_t* putMetadata(int64_t* to, IMetadata const* meta) {
    int64_t& present = *to++;
    if (meta == nullptr) {
        present = kNullMetadata;
        return to;
    }
    present = 0;
    for (size_t index = 0; index < kTagCount; ++index) {
        bool const isThere = putEntry(to, meta, kMetadataTags[index]);
        present |= static_cast<int64_t>(isThere) << index;
    }
    return to;
}

PropertyValues readProperties() {
    return {Properties::property_get_int32(kPropertyNames[0], 1), readRuntimeSwitch(),
            Properties::property_get_int64(kPropertyNames[2], -1),
            Properties::property_get_int64(kPropertyNames[3], -1),
            Properties::property_get_int64(kPropertyNames[4], -1)};
}

int64_t readRuntimeSwitch() { return Properties::property_get_bool(kPropertyNames[kRuntimeSwitch], 0) != 0; }

}  // namespace NSCam::Recorder
