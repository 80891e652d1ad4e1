// The text of the camera service's tag monitor, read line by line into what each client did.
#pragma once

#include <map>
#include <string>
#include <string_view>
#include <vector>

#include "replay/model/TagTable.h"

namespace Replay {

/// A value that is told where it changes; the last line for a frame counts.
template <typename T>
class ValueByFrame {
  public:
    void set(int64_t frame, T value) { mChanges[frame] = std::move(value); }

    /// The value in force at the frame, or null before the first change.
    T const* at(int64_t frame) const {
        auto const next = mChanges.upper_bound(frame);
        return next == mChanges.begin() ? nullptr : &std::prev(next)->second;
    }

  private:
    std::map<int64_t, T> mChanges;
};

using TagsByFrame = std::map<uint32_t, ValueByFrame<std::vector<int64_t>>>;

/// What one client of the camera service did with one camera.
struct DumpClient {
    std::string name;
    std::map<int64_t, int64_t> submitNs;  // by frame, from REQ lines
    std::map<int64_t, int64_t> sensorNs;  // by frame, from RES lines
    TagsByFrame requestTags;
    TagsByFrame resultTags;
    ValueByFrame<std::vector<int64_t>> outputs;
};

/// The clients of a dump, and what its lines amounted to.
struct Dump {
    std::vector<DumpClient> clients;
    size_t usable = 0;
    size_t skipped = 0;
};

/// Reads the text; lines that are damaged or of something else are counted as skipped.
Dump readDump(std::string_view text);

}  // namespace Replay
