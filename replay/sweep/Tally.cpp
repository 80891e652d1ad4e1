#include "Tally.h"

#include <cmath>

#include "replay/model/TagTable.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

/// The value of the tag in the first stream of the frame that has it.
std::optional<int64_t> valueOf(Frame const& frame, uint32_t tag) {
    for (auto const* const metas : {&frame.appMetas, &frame.halMetas}) {
        for (auto const& entry : *metas) {
            uint8_t byte = 0;
            int32_t number = 0;
            if (NSCam::IMetadata::getEntry(&entry.second, tag, byte, 0)) {
                return byte;
            }
            if (NSCam::IMetadata::getEntry(&entry.second, tag, number, 0)) {
                return number;
            }
        }
    }
    return std::nullopt;
}

void count(Share& share, bool isKnown, bool isStable) {
    share.all += isKnown ? 1 : 0;
    share.stable += isKnown && isStable ? 1 : 0;
}

}  // namespace

void Distribution::add(double ms) {
    ++mCounts[std::llround(ms * 10)];
    ++mSize;
}

void Distribution::add(Distribution const& other) {
    for (auto const& [value, count] : other.mCounts) {
        mCounts[value] += count;
        mSize += count;
    }
}

std::optional<double> Distribution::quantile(double share) const {
    auto const rank = std::max<uint64_t>(1, static_cast<uint64_t>(std::ceil(share * static_cast<double>(mSize))));
    uint64_t seen = 0;
    for (auto const& [value, count] : mCounts) {
        seen += count;
        if (seen >= rank) {
            return static_cast<double>(value) / 10;
        }
    }
    return std::nullopt;
}

std::optional<double> Share::percent() const {
    return all == 0 ? std::nullopt : std::optional(100 * static_cast<double>(stable) / static_cast<double>(all));
}

void Tally::add(Session const& session, SessionResult const& result) {
    std::map<FrameNo, Frame const*> frames;
    for (Frame const& frame : session.frames) {
        frames[frame.frameNo] = &frame;
    }
    for (Outcome const& outcome : result.outcomes) {
        requests.add(outcome.state);
        if (outcome.isAnswered()) {
            waits.add(toMs(outcome.waitedNs));
        }
        for (int64_t const offset : outcome.offsetsNs) {
            distances.add(std::abs(toMs(offset)));
        }
        for (auto const& entry : outcome.chosen) {
            auto const frame = frames.find(entry.second);
            if (frame == frames.end()) {
                continue;
            }
            auto const afState = valueOf(*frame->second, kAfState);
            auto const lens = valueOf(*frame->second, kLensState);
            auto const aeState = valueOf(*frame->second, kAeState);
            auto const soft = valueOf(*frame->second, kSoftAeState);
            bool const isScanning = afState.value_or(0) == 1 || afState.value_or(0) == 3;
            count(focus, afState || lens, !isScanning && lens.value_or(0) != 1);
            count(exposure, aeState.has_value(), aeState.value_or(0) == 2 || aeState.value_or(0) == 3);
            count(softExposure, soft.has_value(), soft.value_or(0) == 1);
        }
    }
}

void Tally::add(Tally const& other) {
    requests.add(RequestState::Pending, other.requests.pending);
    requests.add(RequestState::FromHistory, other.requests.fromHistory);
    requests.add(RequestState::NonZsl, other.requests.nonZsl);
    distances.add(other.distances);
    waits.add(other.waits);
    for (auto const share : {&Tally::focus, &Tally::exposure, &Tally::softExposure}) {
        (this->*share).stable += (other.*share).stable;
        (this->*share).all += (other.*share).all;
    }
}

}  // namespace Replay
