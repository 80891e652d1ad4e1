#include "Explain.h"

#include <fmt/core.h>

#include <algorithm>
#include <set>
#include <tuple>

#include "replay/model/Strategies.h"
#include "replay/model/Units.h"
#include "zsl/policy/ISelector.h"

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

std::string frameName(uint32_t frameNo) { return fmt::format("F{}", frameNo); }

std::string textOf(Verdict const& verdict) {
    if (verdict.isRefused) {
        return "refused: " + verdict.reason.words;
    }
    return verdict.isUnchecked ? "taken after the time-out, quality unchecked" : "fit to use";
}

/// Verdicts in words, with frames that follow one another and fared alike in one: "F84 to F91 refused: ...".
std::string join(std::vector<Verdict> const& verdicts) {
    std::string text;
    for (size_t first = 0; first < verdicts.size();) {
        std::string const words = textOf(verdicts[first]);
        size_t last = first;
        while (last + 1 < verdicts.size() && verdicts[last + 1].frameNo == verdicts[last].frameNo + 1 &&
               textOf(verdicts[last + 1]) == words) {
            ++last;
        }
        text += text.empty() ? "" : "; ";
        text += frameName(verdicts[first].frameNo);
        if (last > first) {
            text += (last == first + 1 ? " and " : " to ") + frameName(verdicts[last].frameNo);
        }
        text += " " + words;
        first = last + 1;
    }
    return text;
}

std::string calls(size_t count) { return fmt::format("{} {}", count, count == 1 ? "call" : "calls"); }

std::string framesUnnamed(size_t count) {
    return fmt::format("{} {} that the log does not name", count, count == 1 ? "frame" : "frames");
}

}  // namespace

std::string Explanation::text() const {
    std::string text = heading + '\n';
    for (std::string const& line : lines) {
        text += "  " + line + '\n';
    }
    return text + closing + '\n';
}

bool Explainer::Said::repeats(Said const& before) const {
    return std::tie(isEndKnown, reason) == std::tie(before.isEndKnown, before.reason) &&
           (steps.empty() || steps == before.steps) && (!shutterFrame || shutterFrame == before.shutterFrame);
}

void Explainer::add(CallStory call) {
    for (auto const& [frameNo, timestampNs] : call.timestampNs) {
        (*mTimestamps)[frameNo] = timestampNs;
    }
    mShutterNs = call.shutterNs ? call.shutterNs : mShutterNs;
    mPolicy = call.policy.empty() ? mPolicy : call.policy;
    countWait(call);
    std::vector<Verdict> const verdicts = newVerdicts(call);
    bool const isChanged = std::any_of(verdicts.begin(), verdicts.end(), [&](Verdict const& verdict) {
        return mVerdicts.count(verdict.frameNo) != 0;
    });
    Said said{call.steps, call.shutterFrame, call.isEndKnown, call.reason};
    if (mSaid && !call.isServed && !isChanged && said.repeats(*mSaid)) {
        mFold.fromMs = mFold.calls == 0 ? call.waitedMs : mFold.fromMs;
        mFold.toMs = call.waitedMs;
        ++mFold.calls;
        mFold.added.insert(mFold.added.end(), verdicts.begin(), verdicts.end());
    } else {
        writeFold();
        write(call, verdicts);
        mSaid = std::move(said);
    }
    for (Verdict const& verdict : verdicts) {
        mVerdicts[verdict.frameNo] = textOf(verdict);
    }
    mLast = std::move(call);
}

/// Why calls left the request pending, or did without ZSL.
void Explainer::countWait(CallStory const& call) {
    if (!call.isEndKnown || (call.isServed && !call.isNonZsl())) {
        return;
    }
    if (!call.reason) {
        mUnsaid += call.isServed ? 0 : 1;
        return;
    }
    auto const known =
        std::find_if(mWaits.begin(), mWaits.end(), [&](Wait const& wait) { return wait.reason == call.reason; });
    if (known != mWaits.end()) {
        ++known->calls;
    } else {
        mWaits.push_back({call.reason, 1});
    }
}

/// The verdicts that were not given on the same frame before.
std::vector<Verdict> Explainer::newVerdicts(CallStory const& call) const {
    std::vector<Verdict> verdicts;
    std::set<std::pair<uint32_t, std::string>> told;
    for (Verdict const& verdict : call.verdicts) {
        auto const before = mVerdicts.find(verdict.frameNo);
        std::string const text = textOf(verdict);
        if ((before == mVerdicts.end() || before->second != text) && told.emplace(verdict.frameNo, text).second) {
            verdicts.push_back(verdict);
        }
    }
    return verdicts;
}

void Explainer::write(CallStory const& call, std::vector<Verdict> const& verdicts) {
    mLines.push_back(fmt::format("call after {} ms:", call.waitedMs));
    auto const write = [&](std::string const& text) { mLines.push_back("  " + text); };
    if (call.shutterFrame) {
        auto const offset = offsetNs(*call.shutterFrame);
        std::string const after =
            offset ? fmt::format(", {:.1f} ms {} it", std::abs(toMs(*offset)), *offset < 0 ? "before" : "after")
                   : "";
        write("the frame at the shutter is " + frameName(*call.shutterFrame) + after);
    }
    auto const firstAfter = call.steps.begin() + static_cast<ptrdiff_t>(call.stepsBefore);
    std::for_each(call.steps.begin(), firstAfter, write);
    if (!verdicts.empty()) {
        write(join(verdicts));
    } else if (!call.verdicts.empty()) {
        write("the frames are judged as before");
    }
    std::for_each(firstAfter, call.steps.end(), write);
    if (!call.isEndKnown) {
        write("the log does not say what it answers");
    } else if (call.isServed) {
        std::string const frames = framesOf(call);
        write("answer: " + (frames.empty() ? "no frame" : frames));
    } else if (call.reason) {
        write((call.reason.isOfFrames() ? "waits: frames were refused, " : "waits: ") + call.reason.words);
    } else {
        write("waits; the log does not say why");
    }
}

void Explainer::writeFold() {
    if (mFold.calls > 0) {
        std::string const when = mFold.fromMs == mFold.toMs
                                     ? fmt::format("after {}", mFold.fromMs)
                                     : fmt::format("from {} to {}", mFold.fromMs, mFold.toMs);
        std::string const line = fmt::format("{} {} ms: as before", calls(mFold.calls), when);
        std::sort(mFold.added.begin(), mFold.added.end(), [](Verdict const& left, Verdict const& right) {
            return static_cast<int32_t>(left.frameNo - right.frameNo) < 0;  // numbers may wrap
        });
        mLines.push_back(mFold.added.empty() ? line : line + "; " + join(mFold.added));
    }
    mFold = {};
}

/// From the shutter to the frame; nothing where one of their times is not known.
std::optional<int64_t> Explainer::offsetNs(uint32_t frameNo) const {
    auto const timestamp = mTimestamps->find(frameNo);
    int64_t offset = 0;
    if (timestamp == mTimestamps->end() || !mShutterNs ||
        __builtin_sub_overflow(timestamp->second, *mShutterNs, &offset)) {
        return std::nullopt;
    }
    return offset;
}

Explanation Explainer::explain(std::string const& where) {
    writeFold();
    Explanation explanation;
    explanation.heading = fmt::format("R{}", mLast.requestNo);
    if (mLast.burstIdx >= 0) {
        explanation.heading += fmt::format(" ({}/{})", mLast.burstIdx, mLast.burstCnt);
    }
    Strategy const* const strategy = strategyOfWord(mLast.strategy);
    explanation.heading +=
        fmt::format("{}: {}{}, time-out {} ms", where, strategy != nullptr ? strategy->inSentences : mLast.strategy,
                    mPolicy.empty() ? "" : ", policy " + mPolicy, mLast.timeoutMs);
    explanation.lines = mLines;
    explanation.closing = closing();
    return explanation;
}

std::string Explainer::because() const {
    std::string text;
    for (Wait const& wait : mWaits) {
        text += text.empty() ? " because " : ", then because ";
        text += wait.reason.isOfFrames() ? "frames were refused: " + wait.reason.words : wait.reason.words;
        text += " (" + calls(wait.calls) + ")";
    }
    if (mUnsaid > 0) {
        text += mWaits.empty() ? ", the log does not say why (" : ", and for reasons that the log does not say (";
        text += calls(mUnsaid) + ")";
    }
    return text;
}

/// The frames of the answer with their offsets, and the captures without ZSL; empty without any.
std::string Explainer::framesOf(CallStory const& call) const {
    std::string frames;
    auto const add = [&](std::string const& frame) { frames += (frames.empty() ? "" : ", ") + frame; };
    if (call.unnamed > 0) {
        add(framesUnnamed(call.unnamed));
    }
    for (uint32_t const frameNo : call.selected) {
        auto const offset = offsetNs(frameNo);
        add(frameNo == kNoFrame ? "a capture without ZSL"
                                : frameName(frameNo) +
                                      (offset ? fmt::format(" ({:+.1f} ms from the shutter)", toMs(*offset)) : ""));
    }
    return frames;
}

std::string Explainer::answer() const {
    CallStory taken = mLast;
    auto const lost = std::remove(taken.selected.begin(), taken.selected.end(), kNoFrame);
    auto const withoutZsl = std::distance(lost, taken.selected.end());
    taken.selected.erase(lost, taken.selected.end());
    std::string const frames = framesOf(taken);
    std::string text;
    if (!frames.empty()) {
        text = "took " + frames;
        bool const isUnchecked =
            std::any_of(taken.verdicts.begin(), taken.verdicts.end(), [&](Verdict const& verdict) {
                return verdict.isUnchecked &&
                       std::count(taken.selected.begin(), taken.selected.end(), verdict.frameNo) != 0;
            });
        if (isUnchecked) {
            text +=
                " without checking quality: of the history, oldest first, the first with the needed streams and "
                "sensor modes";
            text += taken.ev ? fmt::format(" and EV {}", *taken.ev) : "";
        }
    }
    if (withoutZsl > 0) {
        text += text.empty() ? "is captured without ZSL"
                             : fmt::format("; {} more are captured without ZSL", withoutZsl);
    }
    return text.empty() ? "got an answer without a frame" : text;
}

std::string Explainer::closing() const {
    std::string const name = fmt::format("R{}", mLast.requestNo);
    std::string const waited = fmt::format("{} ms", mLast.waitedMs);
    if (!mLast.isEndKnown) {
        return name + " was presented for " + waited + because() +
               "; what its last call answered is not in this log.";
    }
    if (!mLast.isServed) {
        return name + " still waited after " + waited + because() + ".";
    }
    if (mWaits.empty() && mUnsaid == 0) {
        return name + " " + answer() + (mLast.waitedMs == 0 ? ", at once." : ", after " + waited + ".");
    }
    std::string const timedOut =
        mLast.hasTimedOut ? fmt::format(", past the time-out of {} ms,", mLast.timeoutMs) : "";
    return name + " waited " + waited + timedOut + because() + "; then it " + answer() + ".";
}

}  // namespace Replay
