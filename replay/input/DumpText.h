// The text of the camera service's tag monitor, read line by line into what each client did.
#pragma once

#include <map>
#include <string>
#include <vector>

#include "replay/model/TagTable.h"

namespace Replay {

/// The changes of one value over the frames; the last line for a frame counts.
template <typename T>
class Timeline {
  public:
    void set(int64_t frame, T value) { mChanges[frame] = std::move(value); }

    /// The value in force at the frame, or null before the first change.
    T const* at(int64_t frame) const {
        auto const next = mChanges.upper_bound(frame);
        return next == mChanges.begin() ? nullptr : &std::prev(next)->second;
    }

    std::map<int64_t, T> const& changes() const { return mChanges; }

  private:
    std::map<int64_t, T> mChanges;
};

using TagTimelines = std::map<uint32_t, Timeline<std::vector<int64_t>>>;

/// What one client of the camera service did with one camera.
struct DumpClient {
    std::string name;
    std::map<int64_t, int64_t> submitNs;  // by frame, from REQ lines
    std::map<int64_t, int64_t> sensorNs;  // by frame, from RES lines
    TagTimelines requestTags;
    TagTimelines resultTags;
    Timeline<std::vector<int64_t>> outputs;
};

/// The clients of a dump, and what its lines amounted to.
struct Dump {
    std::vector<DumpClient> clients;
    size_t usable = 0;
    size_t skipped = 0;

    /// The client of a line: one of those below the present "Client:" heading.
    DumpClient& client(std::string const& name) {
        for (size_t index = mSectionStart; index < clients.size(); ++index) {
            if (clients[index].name == name) {
                return clients[index];
            }
        }
        clients.push_back(DumpClient{name, {}, {}, {}, {}, {}});
        return clients.back();
    }

    void startSection() { mSectionStart = clients.size(); }

  private:
    size_t mSectionStart = 0;
};

/// Reads the text; lines that are damaged or of something else are counted as skipped.
Dump readDump(std::string const& text);

}  // namespace Replay
