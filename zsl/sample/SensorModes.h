// The sensors of a frame or a request with their modes.
#pragma once

#include <array>
#include <unordered_map>
#include <vector>

#include "zsl/policy/ISelector.h"

namespace NSCam::Sample {

/// Sensor id -> sensor mode, in order of insertion. It is filled for every frame that is judged, so the few
/// sensors a phone combines stand in place and cost no allocation; a host with more spills to the heap.
class SensorModes {
  public:
    struct Entry {
        uint32_t sensorId;
        uint32_t mode;
    };

    SensorModes() = default;

    /// The entries of `modes` whose sensor is in `sensorIds`; none when `sensorIds` is null.
    SensorModes(std::unordered_map<uint32_t, uint32_t> const& modes, std::set<uint32_t> const* sensorIds) {
        if (sensorIds == nullptr) {
            return;
        }
        for (auto const& [sensorId, mode] : modes) {
            if (sensorIds->count(sensorId) != 0) {
                insert(sensorId, mode);
            }
        }
    }

    /// Adds the sensor unless it is there already: the first mode stays.
    void insert(uint32_t sensorId, uint32_t mode) {
        if (find(sensorId) != nullptr) {
            return;
        }
        if (mSize < kInPlace) {
            mInPlace[mSize] = {sensorId, mode};
        } else {
            if (mSpill.empty()) {
                mSpill.assign(mInPlace.begin(), mInPlace.end());
            }
            mSpill.push_back({sensorId, mode});
        }
        ++mSize;
    }

    /// The sensor's mode, or null.
    uint32_t const* find(uint32_t sensorId) const {
        for (Entry const& entry : *this) {
            if (entry.sensorId == sensorId) {
                return &entry.mode;
            }
        }
        return nullptr;
    }

    Entry const* begin() const { return mSpill.empty() ? mInPlace.data() : mSpill.data(); }
    Entry const* end() const { return begin() + mSize; }

    /// For log lines, which show sensors in a hash map's order.
    std::unordered_map<uint32_t, uint32_t> toMap() const {
        std::unordered_map<uint32_t, uint32_t> map;
        for (Entry const& entry : *this) {
            map.emplace(entry.sensorId, entry.mode);
        }
        return map;
    }

  private:
    static constexpr size_t kInPlace = 8;

    std::array<Entry, kInPlace> mInPlace{};
    std::vector<Entry> mSpill;  // all entries, once there are more than kInPlace
    size_t mSize = 0;
};

}  // namespace NSCam::Sample
