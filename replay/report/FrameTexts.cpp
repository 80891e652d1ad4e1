#include "FrameTexts.h"

#include <fmt/core.h>

#include "Numbers.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

std::string wordsOf(Verdict const& verdict) {
    if (verdict.isRefused) {
        return "refused it: " + verdict.reason.words;
    }
    return verdict.isUnchecked ? "took it after the time-out, unchecked" : "found it fit to use";
}

}  // namespace

FrameTexts::FrameTexts(PlayedSession const& played) : mPlayed(played), mStartNs(startOf(*played.session)) {
    for (Outcome const& outcome : played.result.outcomes) {
        for (auto const& entry : outcome.chosen) {
            mTakers.emplace(entry.second, outcome.request->requestNo);
        }
    }
}

std::string FrameTexts::operator[](size_t index) const {
    Frame const& frame = mPlayed.session->frames[index];
    FrameLife const& life = mPlayed.result.frames[index];
    auto const ms = [this](int64_t ns) { return shortText(toMs(ns - mStartNs)); };
    std::string text = fmt::format("F{}: exposed at {} ms, {} {} ms", frame.frameNo, ms(frame.startNs),
                                   frame.isLost ? "lost at" : "in flight until", ms(frame.resultNs));
    if (life.leftNs >= 0) {
        text += fmt::format(", left the history at {} ms", ms(life.leftNs));
    }
    for (auto const& [requestNo, verdict] : life.verdicts) {
        text += fmt::format("; R{} {}", requestNo, wordsOf(verdict));
    }
    if (life.verdicts.empty()) {
        text += "; no request had it judged";
    }
    for (auto const& [from, to] : life.lockedNs) {
        text += fmt::format("; locked from {} to {} ms", ms(from), ms(to));
    }
    auto const takers = mTakers.equal_range(frame.frameNo);
    for (auto taker = takers.first; taker != takers.second; ++taker) {
        text += fmt::format("; taken by R{}", taker->second);
    }
    return text + ".";
}

}  // namespace Replay
