#include "Floor.h"

#include <vzrcam/IMetadata.h>

#include <algorithm>

namespace ZslBench {

namespace {

using NSCam::IMetadata;
using NSCam::ZslPolicy::StreamSets;

bool includes(StreamSets const& carried, StreamSets const& needed) {
    auto const all = [](auto const& have, auto const& want) {
        return std::includes(have.begin(), have.end(), want.begin(), want.end());
    };
    return all(carried.halImages, needed.halImages) && all(carried.halMetas, needed.halMetas) &&
           all(carried.appMetas, needed.appMetas);
}

template <typename T>
bool read(IMetadata const* meta, uint32_t tag, T& value) {
    return IMetadata::getEntry<T>(meta, tag, value, 0);
}

/// Streams, sensor modes and EV.
bool fits(ISelector::HistoryFrame const& frame, ISelector::SelectInputParams const& in,
          ISelector::ZslFrameInfo const& need) {
    if (!includes(frame.streamSets, need.needStreams)) {
        return false;
    }
    size_t matched = 0;
    for (auto const& [id, meta] : frame.halMetas) {
        int32_t sensor = 0;
        int32_t mode = 0;
        if (need.needStreams.halMetas.count(id) == 0) {
            continue;
        }
        if (!read(meta, 0xC0000005, sensor) || !read(meta, 0xC0010014, mode)) {
            return false;
        }
        auto const wanted = in.sensorModes.find(static_cast<uint32_t>(sensor));
        matched += wanted != in.sensorModes.end() && wanted->second == static_cast<uint32_t>(mode) ? 1 : 0;
    }
    if (matched < in.sensorModes.size()) {
        return false;
    }
    int32_t ev = 0;
    for (auto const& [id, meta] : frame.appMetas) {
        if (need.needStreams.appMetas.count(id) != 0 && read(meta, 0x10001, ev)) {
            break;
        }
    }
    return ev == in.targetEv;
}

/// Auto-focus and soft auto-exposure.
bool isStable(ISelector::HistoryFrame const& frame, ISelector::ZslFrameInfo const& need) {
    for (auto const& [id, meta] : frame.appMetas) {
        uint8_t mode = 0;
        uint8_t state = 0;
        uint8_t lens = 0;
        if (need.needStreams.appMetas.count(id) == 0) {
            continue;
        }
        if (!read(meta, 0x10007, mode) || !read(meta, 0x10020, state) || !read(meta, 0x80009, lens)) {
            return false;
        }
        bool const isMoving = lens == 1 || state == 1 || state == 3 || (state == 0 && lens != 0);
        if (mode >= 1 && mode <= 4 && isMoving) {
            return false;
        }
    }
    for (auto const& [id, meta] : frame.halMetas) {
        int32_t softAe = 1;
        if (need.needStreams.halMetas.count(id) != 0 && read(meta, 0xC0030023, softAe) && softAe != 1) {
            return false;
        }
    }
    return true;
}

/// The first frame at or after the shutter, looked for from the newest one: the shutter mostly is a few frames
/// back.
std::map<FrameNo, ISelector::HistoryFrame>::const_iterator shutterFrame(ISelector::SelectInputParams const& in) {
    auto frame = in.history.end();
    while (frame != in.history.begin() && std::prev(frame)->second.timestamp >= in.zsdTs) {
        --frame;
    }
    return frame;
}

}  // namespace

ISelector::SelectOutputParams floorContinuous(ISelector::SelectInputParams const& in) {
    ISelector::SelectOutputParams out;
    auto const& need = in.requiredFrames.begin()->second;
    size_t const count = in.requiredFrames.size();
    auto frame = shutterFrame(in);
    if (frame == in.history.end()) {
        return out;
    }
    for (size_t step = 1; step < count && frame != in.history.begin(); ++step) {
        --frame;
    }
    auto start = frame;
    size_t run = 0;
    while (frame != in.history.end()) {
        bool const isUsable = fits(frame->second, in, need) && isStable(frame->second, need);
        ++frame;
        if (!isUsable) {
            start = frame;
            run = 0;
        } else if (++run == count) {
            for (auto const& required : in.requiredFrames) {
                out.selectedFrames.emplace_hint(out.selectedFrames.end(), required.first,
                                                ISelector::ZslFrameResult{start->first, 0});
                ++start;
            }
            break;
        }
    }
    return out;
}

ISelector::SelectOutputParams floorBurst(ISelector::SelectInputParams const& in,
                                         std::vector<std::pair<RequestNo, FrameNo>> const& waiting, bool isTurn,
                                         bool isVerified) {
    ISelector::SelectOutputParams out;
    auto const& need = in.requiredFrames.begin()->second;
    for (auto const& [request, frameNo] : waiting) {
        auto const frame = in.history.find(frameNo);
        if (frame == in.history.end() || (isVerified && !fits(frame->second, in, need))) {
            continue;
        }
        if (isTurn && request == in.requestNo) {
            out.selectedFrames[0] = {frameNo, 0};
        } else if (!frame->second.locked) {
            out.frameOps.emplace(frameNo, ISelector::OpT::Lock);
        }
    }
    return out;
}

}  // namespace ZslBench
