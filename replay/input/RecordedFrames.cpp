#include "RecordedFrames.h"

#include <algorithm>

namespace Replay {

namespace {

template <typename Frames>
std::vector<FrameNo> keysOf(Frames const& frames) {
    std::vector<FrameNo> keys;
    keys.reserve(frames.size());
    for (auto const& entry : frames) {
        keys.push_back(entry.first);
    }
    return keys;
}

std::map<StreamId, Metadata> copyOf(std::map<StreamId, NSCam::IMetadata const*> const& metas) {
    std::map<StreamId, Metadata> copies;
    for (auto const& [id, meta] : metas) {
        if (meta != nullptr) {
            copies[id] = *static_cast<Metadata const*>(meta);
        }
    }
    return copies;
}

}  // namespace

void RecordedFrames::take(RecordedInput const& input, int64_t beforeNs, int64_t nowNs, std::string const& place) {
    ISelector::SelectInputParams const& in = input.in;
    mBetween = {beforeNs, nowNs};
    mDepth = std::max(mDepth, in.history.size());
    for (auto const& [key, frame] : in.inflight) {
        Seen& seen = seenAs(key, frame.frameNo);
        seen.frame.images = frame.streamSets.halImages;
        seen.lost = std::nullopt;
    }
    for (auto const& [key, frame] : in.history) {
        Seen& seen = seenAs(key, frame.frameNo);
        bool const isBack = seen.left.has_value();
        bool const isOther = seen.landed && seen.frame.startNs != frame.timestamp;
        if (isBack || isOther) {
            mRestarted.insert(key);
        }
        seen.left = std::nullopt;
        if (!seen.landed) {
            land(seen, frame, place);
        } else if (!isOther && input.toldFrames.count(key) != 0 && !isSame(seen.frame, frame)) {
            mChanged.insert(key);
        }
    }
    for (FrameNo const key : mInFlight) {
        if (in.inflight.count(key) == 0) {
            mFrames[key].lost = mBetween;
        }
    }
    for (FrameNo const key : mInHistory) {
        if (in.history.count(key) == 0) {
            mFrames[key].left = mBetween;
        }
    }
    mInFlight = keysOf(in.inflight);
    mInHistory = keysOf(in.history);
}

RecordedFrames::Seen& RecordedFrames::seenAs(FrameNo key, FrameNo frameNo) {
    auto const [entry, isNew] = mFrames.try_emplace(key);
    if (isNew) {
        entry->second.frame.frameNo = frameNo;
        entry->second.shown = mBetween;
    }
    return entry->second;
}

void RecordedFrames::land(Seen& seen, ISelector::HistoryFrame const& frame, std::string const& place) {
    seen.landed = mBetween;
    Frame& known = seen.frame;
    known.frameNo = frame.frameNo;
    known.requestNo = frame.requestNo;
    known.startNs = frame.timestamp;
    known.images = frame.streamSets.halImages;
    known.appMetas = copyOf(frame.appMetas);
    known.halMetas = copyOf(frame.halMetas);
    mExpansion.add(valuesOf(known), place);
}

bool RecordedFrames::isSame(Frame const& known, ISelector::HistoryFrame const& frame) {
    return known.requestNo == frame.requestNo && known.images == frame.streamSets.halImages &&
           known.appMetas == copyOf(frame.appMetas) && known.halMetas == copyOf(frame.halMetas);
}

std::optional<int64_t> RecordedFrames::shortestLatency() const {
    std::optional<int64_t> shortest;
    for (auto const& entry : mFrames) {
        Seen const& seen = entry.second;
        if (seen.landed) {
            int64_t const latency = seen.landed->byNs - seen.frame.startNs;
            shortest = std::min(shortest.value_or(latency), latency);
        }
    }
    return shortest;
}

std::vector<Frame> RecordedFrames::place(int64_t sensorToCallOffset) {
    placeLandings(sensorToCallOffset);
    placeLeaving();
    std::vector<Frame> frames;
    for (auto& entry : mFrames) {
        Frame& frame = entry.second.frame;
        frame.shownNs = *frame.shownNs - sensorToCallOffset;
        frame.resultNs -= sensorToCallOffset;
        if (frame.leavesNs) {
            *frame.leavesNs -= sensorToCallOffset;
        }
        frames.push_back(std::move(frame));
    }
    std::stable_sort(frames.begin(), frames.end(),
                     [](Frame const& left, Frame const& right) { return left.startNs < right.startNs; });
    return frames;
}

/// When frames are shown first and when they land, on the clock of the calls.
void RecordedFrames::placeLandings(int64_t sensorToCallOffset) {
    int64_t const latency = shortestLatency().value_or(0);
    for (auto& entry : mFrames) {
        Seen const& seen = entry.second;
        Frame& frame = entry.second.frame;
        if (seen.landed) {
            frame.resultNs = seen.landed->at(frame.startNs + latency);
            int64_t const shownNs = seen.shown.at(frame.startNs + std::min(sensorToCallOffset, latency));
            frame.shownNs = std::min(shownNs, frame.resultNs);
        } else {
            frame.isLost = seen.lost.has_value();
            frame.resultNs = frame.isLost ? seen.lost->byNs : mBetween.byNs + 1;
            frame.shownNs = seen.shown.byNs;
            frame.startNs = seen.shown.byNs - sensorToCallOffset;
        }
    }
}

/// Each frame leaves when one lands that the same call shows, as far as there are such.
void RecordedFrames::placeLeaving() {
    std::map<int64_t, std::deque<int64_t>> landings;  // by the call that shows them
    for (auto const& entry : mFrames) {
        if (entry.second.landed) {
            landings[entry.second.landed->byNs].push_back(entry.second.frame.resultNs);
        }
    }
    for (auto& entry : mFrames) {
        Seen& seen = entry.second;
        if (!seen.left) {
            continue;
        }
        auto& landed = landings[seen.left->byNs];
        seen.frame.leavesNs = seen.left->byNs;
        if (!landed.empty()) {
            seen.frame.leavesNs = landed.front();
            landed.pop_front();
        }
    }
}

}  // namespace Replay
