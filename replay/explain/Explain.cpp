#include "Explain.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "zsl/policy/ISelector.h"

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

std::string frameName(uint32_t frameNo) { return "F" + std::to_string(frameNo); }

std::string textOf(Verdict const& verdict) {
    return verdict.isRefused     ? "refused: " + verdict.reason.words
           : verdict.isUnchecked ? "taken after the time-out, quality unchecked"
                                 : "fit to use";
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

std::string strategyName(std::string const& word) {
    static constexpr struct {
        char const* word;
        char const* name;
    } kStrategies[] = {{"multiFrame", "continuous selection"},
                       {"none", "continuous selection"},
                       {"ispHidl", "first in first out"},
                       {"ispHidlSelect_Latest", "latest frames"},
                       {"ispHidlSelect_LatestWithQuality", "latest frames with quality check"},
                       {"ispHidlSelect_MFNR_HDR", "noise reduction, then HDR"}};
    for (auto const& strategy : kStrategies) {
        if (word == strategy.word) {
            return strategy.name;
        }
    }
    return word;
}

std::string calls(size_t count) { return std::to_string(count) + (count == 1 ? " call" : " calls"); }

std::string milliseconds(int64_t ns) {
    char text[32];
    std::snprintf(text, sizeof text, "%.1f", static_cast<double>(ns) / 1e6);
    return text;
}

}  // namespace

std::string Explanation::text() const {
    std::string text = heading + '\n';
    for (std::string const& line : lines) {
        text += "  " + line + '\n';
    }
    return text + closing + '\n';
}

void Explainer::add(CallStory call) {
    for (auto const& [frameNo, timestampNs] : call.timestampNs) {
        (*mTimestamps)[frameNo] = timestampNs;
    }
    mShutterNs = call.shutterNs ? call.shutterNs : mShutterNs;
    mPolicy = call.policy.empty() ? mPolicy : call.policy;
    if (call.isEndKnown && (!call.isServed || call.isNonZsl()) && !call.reason.name.empty()) {
        auto const known = std::find_if(mWaits.begin(), mWaits.end(),
                                        [&](Wait const& wait) { return wait.reason.words == call.reason.words; });
        if (known != mWaits.end()) {
            ++known->calls;
        } else {
            mWaits.push_back({call.reason, 1});
        }
    }
    std::vector<Verdict> const verdicts = newVerdicts(call);
    bool const isChanged = std::any_of(verdicts.begin(), verdicts.end(), [&](Verdict const& verdict) {
        return mVerdicts.count(verdict.frameNo) != 0;
    });
    bool const isAsBefore = mLast.isNamed && !call.isServed && !isChanged && call.steps == mLast.steps &&
                            call.isEndKnown == mLast.isEndKnown && call.shutterFrame == mLast.shutterFrame &&
                            call.reason.words == mLast.reason.words;
    if (isAsBefore) {
        mFold.fromMs = mFold.calls == 0 ? call.waitedMs : mFold.fromMs;
        mFold.toMs = call.waitedMs;
        ++mFold.calls;
        mFold.added.insert(mFold.added.end(), verdicts.begin(), verdicts.end());
    } else {
        writeFold();
        write(call, verdicts);
    }
    for (Verdict const& verdict : verdicts) {
        mVerdicts[verdict.frameNo] = textOf(verdict);
    }
    mLast = std::move(call);
}

/// The verdicts that were not given on the same frame before.
std::vector<Verdict> Explainer::newVerdicts(CallStory const& call) const {
    std::vector<Verdict> verdicts;
    for (Verdict const& verdict : call.verdicts) {
        auto const before = mVerdicts.find(verdict.frameNo);
        bool const isRepeated = std::any_of(verdicts.begin(), verdicts.end(), [&](Verdict const& other) {
            return other.frameNo == verdict.frameNo && textOf(other) == textOf(verdict);
        });
        if ((before == mVerdicts.end() || before->second != textOf(verdict)) && !isRepeated) {
            verdicts.push_back(verdict);
        }
    }
    return verdicts;
}

void Explainer::write(CallStory const& call, std::vector<Verdict> const& verdicts) {
    mLines.push_back("call after " + std::to_string(call.waitedMs) + " ms:");
    auto const write = [&](std::string const& text) { mLines.push_back("  " + text); };
    if (call.shutterFrame) {
        write("the frame at the shutter is " + frameName(*call.shutterFrame) + offset(*call.shutterFrame, true));
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
    } else if (!call.isServed) {
        write(call.reason.name.empty()
                  ? "waits; the log does not say why"
                  : (call.reason.isOfFrames ? "waits: frames were refused, " : "waits: ") + call.reason.words);
    } else {
        std::string frames;
        for (uint32_t const frameNo : call.selected) {
            frames += frames.empty() ? "" : ", ";
            frames += frameNo == kNoFrame ? "a capture without ZSL" : frameName(frameNo) + offset(frameNo, false);
        }
        write("answer: " + (frames.empty() ? "no frame" : frames));
    }
}

void Explainer::writeFold() {
    if (mFold.calls > 0) {
        std::string line = calls(mFold.calls);
        line += mFold.calls == 1 ? " after " + std::to_string(mFold.fromMs)
                                 : " from " + std::to_string(mFold.fromMs) + " to " + std::to_string(mFold.toMs);
        line += " ms: as before";
        std::sort(mFold.added.begin(), mFold.added.end(), [](Verdict const& left, Verdict const& right) {
            return static_cast<int32_t>(left.frameNo - right.frameNo) < 0;  // numbers may wrap
        });
        mLines.push_back(mFold.added.empty() ? line : line + "; " + join(mFold.added));
    }
    mFold = {};
}

std::string Explainer::offset(uint32_t frameNo, bool inWords) const {
    auto const timestamp = mTimestamps->find(frameNo);
    if (timestamp == mTimestamps->end() || !mShutterNs) {
        return "";
    }
    int64_t const ns = timestamp->second - *mShutterNs;
    return inWords ? ", " + milliseconds(std::abs(ns)) + (ns < 0 ? " ms before it" : " ms after it")
                   : std::string(" (") + (ns < 0 ? "" : "+") + milliseconds(ns) + " ms from the shutter)";
}

Explanation Explainer::explain() {
    writeFold();
    Explanation explanation;
    explanation.heading = "R" + std::to_string(mLast.requestNo);
    if (mLast.burstIdx >= 0) {
        explanation.heading += " (" + std::to_string(mLast.burstIdx) + "/" + std::to_string(mLast.burstCnt) + ")";
    }
    explanation.heading += ": " + strategyName(mLast.strategy) + (mPolicy.empty() ? "" : ", policy " + mPolicy) +
                           ", time-out " + std::to_string(mLast.timeoutMs) + " ms";
    explanation.lines = mLines;
    explanation.closing = closing();
    return explanation;
}

std::string Explainer::because() const {
    std::string text;
    for (Wait const& wait : mWaits) {
        text += text.empty() ? " because " : ", then because ";
        text += wait.reason.isOfFrames ? "frames were refused: " + wait.reason.words : wait.reason.words;
        text += " (" + calls(wait.calls) + ")";
    }
    return text;
}

std::string Explainer::answer() const {
    std::string frames;
    size_t withoutZsl = 0;
    bool isUnchecked = false;
    for (uint32_t const frameNo : mLast.selected) {
        if (frameNo == kNoFrame) {
            ++withoutZsl;
            continue;
        }
        frames += (frames.empty() ? "" : ", ") + frameName(frameNo) + offset(frameNo, false);
        isUnchecked =
            isUnchecked || std::any_of(mLast.verdicts.begin(), mLast.verdicts.end(), [&](auto const& verdict) {
                return verdict.frameNo == frameNo && verdict.isUnchecked;
            });
    }
    std::string text;
    if (!frames.empty()) {
        text = "took " + frames;
        if (isUnchecked) {
            text +=
                " without checking quality: of the history, oldest first, the first with the needed streams and "
                "sensor modes";
            text += mLast.ev ? " and EV " + std::to_string(*mLast.ev) : "";
        }
    }
    if (withoutZsl > 0) {
        text += text.empty() ? "is captured without ZSL"
                             : "; " + std::to_string(withoutZsl) + " more are captured without ZSL";
    }
    return text.empty() ? "got an answer without a frame" : text;
}

std::string Explainer::closing() const {
    std::string const name = "R" + std::to_string(mLast.requestNo);
    std::string const waited = std::to_string(mLast.waitedMs) + " ms";
    if (!mLast.isEndKnown) {
        return name + " was presented for " + waited + because() +
               "; what its last call answered is not in this log.";
    }
    if (!mLast.isServed) {
        return name + " still waited after " + waited + because() + ".";
    }
    std::string text = name;
    if (mWaits.empty()) {
        return text + " " + answer() + (mLast.waitedMs == 0 ? ", at its first call." : ", after " + waited + ".");
    }
    text += " waited " + waited;
    text += mLast.hasTimedOut ? ", past the time-out of " + std::to_string(mLast.timeoutMs) + " ms," : "";
    return text + because() + "; then it " + answer() + ".";
}

}  // namespace Replay
