// The sensors of a frame or a request with their modes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace NSCam::Sample {

/// Each sensor once, in the order in which they became known. Filled for every frame that is judged: the few
/// sensors that a phone combines stand in place and cost no allocation.
// NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): places beyond mSize are not filled, nor read.
class SensorModes {
  public:
    struct Entry {
        uint32_t sensorId;
        uint32_t mode;
    };

    size_t size() const { return mSize; }
    Entry const& operator[](size_t index) const {
        return index < kInPlace ? mInPlace[index] : mMore[index - kInPlace];
    }

    /// Adds the sensor unless it is there already: the first mode stays.
    void add(uint32_t sensorId, uint32_t mode) {
        if (find(sensorId) != nullptr) {
            return;
        }
        if (mSize < kInPlace) {
            mInPlace[mSize] = {sensorId, mode};
        } else {
            mMore.push_back({sensorId, mode});
        }
        ++mSize;
    }

    /// The sensor's mode, or null.
    uint32_t const* find(uint32_t sensorId) const {
        for (size_t index = 0; index < mSize; ++index) {
            if ((*this)[index].sensorId == sensorId) {
                return &(*this)[index].mode;
            }
        }
        return nullptr;
    }

  private:
    static constexpr size_t kInPlace = 4;

    Entry mInPlace[kInPlace];
    std::vector<Entry> mMore;  // from the fifth on
    size_t mSize = 0;
};

}  // namespace NSCam::Sample
