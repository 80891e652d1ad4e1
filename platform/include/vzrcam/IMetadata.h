// The host's metadata container, as far as its readers see it.
#pragma once

#include <cstddef>
#include <cstdint>

namespace NSCam {

class IMetadata {
  public:
    /// Stores item `index` of `tag` in `value` and returns true; returns false and leaves `value` alone when the
    /// metadata has no such tag, no such item, or items of another type. A null `metadata` holds nothing.
    /// The library that provides the container instantiates it for uint8_t, int32_t and int64_t.
    template <typename T>
    static bool getEntry(IMetadata const* metadata, uint32_t tag, T& value, size_t index);

  protected:
    IMetadata() = default;
    ~IMetadata() = default;
};

extern template bool IMetadata::getEntry<uint8_t>(IMetadata const*, uint32_t, uint8_t&, size_t);
extern template bool IMetadata::getEntry<int32_t>(IMetadata const*, uint32_t, int32_t&, size_t);
extern template bool IMetadata::getEntry<int64_t>(IMetadata const*, uint32_t, int64_t&, size_t);

}  // namespace NSCam
