// What each line of a strategy says of its call.
#include <fmt/core.h>

#include <algorithm>

#include "CallReader.h"
#include "zsl/policy/ISelector.h"

namespace Replay {

using NSCam::ZslPolicy::kNoFrame;

namespace {

std::string frameName(uint32_t number) { return number == kNoFrame ? "none" : fmt::format("F{}", number); }

std::string frameAfter(std::string_view rest, std::string_view label) {
    auto const number = numberAfter<uint32_t>(rest, label);
    return number ? frameName(*number) : "a frame";
}

}  // namespace

void CallReader::addStep(std::string step) {
    if (mNow.call.steps.empty() || mNow.call.steps.back() != step) {
        mNow.call.steps.push_back(std::move(step));
    }
}

/// The answer of `passed` frames of `needed`. Which they are, the last verdicts say, if none of them is missing.
void CallReader::count(std::string_view rest, std::string_view passedLabel, std::string_view neededLabel) {
    auto const passed = numberAfter<uint32_t>(rest, passedLabel);
    auto const needed = numberAfter<uint32_t>(rest, neededLabel);
    CallStory& call = mNow.call;
    if (!passed || !needed) {
        mNow.isTorn = true;
        return;
    }
    std::vector<uint32_t> fit;
    for (Verdict const& verdict : call.verdicts) {
        if (!verdict.isRefused) {
            fit.push_back(verdict.frameNo);
        }
    }
    // The frames that were judged last are the answer; those before belong to runs that broke off.
    bool isNamed = fit.size() >= *passed;
    if (mSource != LogSource::Host) {
        bool const isRun = call.policy.empty() || contains(call.policy, "ContinuousFrame");
        isNamed = isRun ? mNow.fit == *passed : fit.size() == *passed && !mNow.lacksVerdicts;
    }
    call.selected.clear();
    if (isNamed) {
        call.selected.assign(fit.end() - static_cast<ptrdiff_t>(*passed), fit.end());
    }
    call.unnamed = isNamed ? 0 : *passed;
}

void CallReader::takePolicy(std::string_view rest) { mNow.call.policy = rest.substr(rest.find("policy=") + 7); }

void CallReader::takeError(std::string_view rest) { addStep("error: " + std::string(rest)); }

void CallReader::takeBegin(std::string_view /*rest*/) { addStep("the burst begins"); }

void CallReader::takeOver(std::string_view /*rest*/) { addStep("the burst is over"); }

void CallReader::takeShutter(std::string_view rest) {
    mNow.call.shutterNs = numberAfter<int64_t>(rest, "zsdTs(");
    mNow.call.shutterFrame = numberAfter<uint32_t>(rest, "hf[F");
    if (contains(rest, "hf[null]")) {
        mNow.other = reasonOf(ReasonKind::ShutterInFlight);
        if (mNow.call.isOwnSelection()) {
            end(false);
        }
    }
}

void CallReader::takeSearch(std::string_view rest) {
    addStep("the search for a run of frames begins at " + frameAfter(rest, "hf[F"));
}

void CallReader::takeNoRun(std::string_view /*rest*/) {
    addStep("no run of frames is long enough");
    mNow.endsByCount = mNow.call.isOwnSelection();
}

void CallReader::takeSelected(std::string_view rest) {
    if (!mNow.call.isOwnSelection()) {
        return;
    }
    count(rest, "#", "/");
    auto const passed = numberAfter<uint32_t>(rest, "#");
    auto const needed = numberAfter<uint32_t>(rest, "/");
    if (passed && needed && *passed >= *needed) {
        end(true);
    }
}

void CallReader::takePending(std::string_view /*rest*/) {
    if (mNow.call.isOwnSelection()) {
        mNow.endsByCount = true;
        end(false);
    }
}

void CallReader::takeTimeOut(std::string_view rest) {
    constexpr uint32_t kMost = 1024;
    mNow.call.hasTimedOut = true;
    mNow.endsByCount = true;
    if (!mNow.call.isOwnSelection()) {
        return;
    }
    count(rest, "sel(#", "zf(#");
    auto const passed = numberAfter<uint32_t>(rest, "sel(#").value_or(0);
    auto const needed = numberAfter<uint32_t>(rest, "zf(#").value_or(0);
    mNow.call.selected.insert(mNow.call.selected.end(), std::min(kMost, needed > passed ? needed - passed : 0),
                              kNoFrame);
    end(true);
}

void CallReader::takeTooFewPassed(std::string_view /*rest*/) {
    mNow.endsByCount = true;
    end(false);
}

void CallReader::takeMapping(std::string_view rest) {
    std::string mapping;
    size_t const first = rest.find(") R");
    Cursor cursor{rest.substr(first == std::string_view::npos ? rest.size() : first + 1)};
    uint32_t request = 0;
    uint32_t frame = 0;
    while (cursor.skip(" R") && cursor.number(request) && cursor.skip("[hF") && cursor.number(frame) &&
           cursor.skip("]")) {
        mapping += fmt::format("{}R{} {}", mapping.empty() ? "" : ", ", request, frameName(frame));
        mMapped[request] = frame;
    }
    if (!mapping.empty()) {
        addStep("the burst's frames: " + mapping);
    }
}

void CallReader::takeMappingTimeOut(std::string_view rest) {
    mNow.call.hasTimedOut = true;
    takeMapping(rest);
}

void CallReader::takeVerifyFailed(std::string_view rest) {
    Reason const& refusal = mNow.refusal;
    mNow.other = refusal ? reasonOf(ReasonKind::VerificationFailed, ": " + refusal.name, " (" + refusal.words + ")")
                         : reasonOf(ReasonKind::VerificationFailed);
    takeMapping(rest);
}

void CallReader::takeServed(std::string_view rest) {
    if (auto const frame = numberAfter<uint32_t>(rest, "[hF")) {
        mNow.call.selected = {*frame};
        end(true);
    }
}

void CallReader::takeLock(std::string_view rest) {
    auto const request = numberAfter<uint32_t>(rest, ") R");
    addStep((rest[0] == 'L' ? "lock " : "unlock ") + frameAfter(rest, "hF") +
            (request ? fmt::format(" of R{}", *request) : ""));
}

void CallReader::takeState(std::string_view rest) {
    size_t const status = rest.find("change status to ");
    if (status != std::string_view::npos) {
        addStep(fmt::format("the phase changes to {} for the whole process", rest.substr(status + 17)));
    }
}

void CallReader::takeTooFewKnown(std::string_view rest) {
    mNow.other = reasonOf(ReasonKind::TooFewFrames);
    if (contains(rest, "to pending")) {
        end(false);
    }
}

void CallReader::takeSkipped(std::string_view rest) {
    addStep(frameAfter(rest, "get F") + " was collected ahead and is no candidate");
}

void CallReader::takeQuality(std::string_view rest) {
    std::string const set = frameAfter(rest, "index=");
    if (contains(rest, "quality check success!")) {
        addStep("the set that begins with " + set + " passes the quality check");
    } else if (contains(rest, "quality check failed!")) {
        addStep("no set passes the quality check; the one that begins with " + set + " is taken anyway");
    }
}

/// Written before the look for the hint, after it, and after the answer.
void CallReader::takeHdrMapping(std::string_view rest) {
    constexpr int kLines = 3;
    mNow.other = reasonOf(ReasonKind::NoHintedFrame);
    size_t const place = rest.find(fmt::format("R{}={{", mNow.call.requestNo));
    bool const isOpen = place != std::string_view::npos && numberAfter<int>(rest.substr(place), ".status=") == 0;
    if (++mNow.hdrLines == kLines && isOpen && mNow.phase != Phase::Ended) {
        end(false);
    }
}

void CallReader::takeHinted(std::string_view rest) {
    addStep(frameAfter(rest, "DEBUG: F") + " has the pre-collect hint");
}

}  // namespace Replay
