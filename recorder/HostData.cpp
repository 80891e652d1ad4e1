#include "HostData.h"

#include <vzrcam/IMetadata.h>
#include <vzrcam/Properties.h>

namespace NSCam::Recorder {

namespace Properties = Utils::Properties;

std::array<Tag, kTagCount> const kTags = {{
    {0x10001, "i32"},     // exposure compensation
    {0x10007, "u8"},      // auto-focus mode
    {0x1001F, "u8"},      // auto-exposure state
    {0x10020, "u8"},      // auto-focus state
    {0x80009, "u8"},      // lens state
    {0x800B0022, "i32"},  // pre-collect hint
    {0xC0000005, "i32"},  // sensor
    {0xC0010014, "i32"},  // sensor mode
    {0xC0030023, "i32"},  // soft auto-exposure state
    {0xC0080004, "i64"},  // frame synchronisation
}};

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

}  // namespace

int64_t* putMetadata(int64_t* to, IMetadata const* meta) {
    int64_t& present = *to++;
    if (meta == nullptr) {
        present = kNullMetadata;
        return to;
    }
    present = 0;
    for (size_t index = 0; index < kTagCount; ++index) {
        Tag const& tag = kTags[index];
        bool const isThere = tag.type[0] == 'u'   ? putEntry<uint8_t>(to, meta, tag.number)
                             : tag.type[1] == '3' ? putEntry<int32_t>(to, meta, tag.number)
                                                  : putEntry<int64_t>(to, meta, tag.number);
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
