#include "CallReader.h"

#include <algorithm>
#include <cstdio>

#include "zsl/policy/ISelector.h"

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

std::string frameName(int64_t number) { return number == kNoFrame ? "none" : "F" + std::to_string(number); }

/// Reads the name of a request in front of a line, `[function] [r900,92/1000ms]<word>IspHidl(1/3) `; the length of
/// it, 0 if there is none.
size_t readRequest(std::string const& line, CallStory& call) {
    unsigned requestNo = 0;
    long waitedMs = 0;
    long timeoutMs = 0;
    char word[64] = "";
    int length = 0;
    if (std::sscanf(line.c_str(), "%*[^ ] [r%u,%ld/%ldms]<%63[^>]>%n", &requestNo, &waitedMs, &timeoutMs, word,
                    &length) != 4 ||
        length == 0) {
        return 0;
    }
    call.requestNo = requestNo;
    call.isNamed = true;
    call.waitedMs = waitedMs;
    call.timeoutMs = timeoutMs;
    call.strategy = word;
    int burstLength = 0;
    if (std::sscanf(line.c_str() + length, "IspHidl(%d/%d)%n", &call.burstIdx, &call.burstCnt, &burstLength) == 2) {
        length += burstLength;
    }
    auto const end = static_cast<size_t>(length);
    return end < line.size() && line[end] == ' ' ? end + 1 : end;
}

bool isVerdict(std::string const& line) { return startsWith(line, "[isQualify] "); }

}  // namespace

bool CallStory::isNonZsl() const {
    return isServed && std::find(selected.begin(), selected.end(), kNoFrame) != selected.end();
}

bool isSelectorDebug(std::string const& line) {
    return !startsWith(line, "[operator()]") && (!startsWith(line, "[is") || startsWith(line, "[ispHidl"));
}

bool CallReader::beginsCall(std::string const& line) const {
    if (!mHasLines) {
        return false;
    }
    if (startsWith(line, "[invokeADB]") || startsWith(line, "[select]") ||
        contains(line, "DEBUG: curPreCollects(")) {
        return !mIsOpening;
    }
    if (!startsWith(line, "[is") && mCall.isNamed) {  // without DEBUG lines not every call has an opening line
        CallStory other;
        return readRequest(line, other) != 0 &&
               (other.requestNo != mCall.requestNo || other.waitedMs != mCall.waitedMs);
    }
    return false;
}

void CallReader::take(std::string const& line) {
    if (startsWith(line, "[SampleSelector]") || startsWith(line, "[~SampleSelector]")) {
        return;
    }
    mHasLines = true;
    mIsOpening = startsWith(line, "[invokeADB]") || startsWith(line, "[select] DEBUG: ");
    // A call may write a hundred lines: the function at the head of a line says what to look for.
    if (isVerdict(line)) {
        takeVerdict(line);
    } else if (startsWith(line, "[isAFStable] ") || startsWith(line, "[isMatched] ") ||
               startsWith(line, "[isRequired") || startsWith(line, "[operator()] ")) {
        takeDetail(line);
    } else if (size_t const length = readRequest(line, mCall)) {
        takeOfRequest(line, line.substr(length));
    } else if (startsWith(line, "[Fatal]")) {
        mCall.steps.push_back("error: " + line);
    } else if (!contains(line, "DEBUG: ") && !startsWith(line, "[invokeADB]")) {
        mIsTorn = true;  // every other line names its request
    }
}

void CallReader::takeDetail(std::string const& line) {
    if (auto const detail = detailOf(line)) {
        mDetail = *detail;
    } else if (contains(line, "isRequiredEV fail: ")) {
        auto const had = numberAfter(line, "EV(History)=");
        auto const target = numberAfter(line, "EV(Target)=");
        if (had && target) {
            mCall.ev = static_cast<int>(*target);
            mDetail = {"", std::to_string(*had) + ", not " + std::to_string(*target)};
        }
    } else if (contains(line, "isRequiredEV OK: ")) {
        if (auto const target = numberAfter(line, "EV=")) {
            mCall.ev = static_cast<int>(*target);
        }
    }
}

void CallReader::takeVerdict(std::string const& line) {
    auto const frameNo = numberAfter(line, "hf[F");
    Verdict verdict;
    verdict.frameNo = static_cast<uint32_t>(frameNo.value_or(0));
    Phrase const* const phrase = verdictPhrase(line);
    if (phrase != nullptr) {
        verdict.isRefused = true;
        bool const hasName = phrase->hasDetail && !mDetail.name.empty();
        bool const hasWords = phrase->hasDetail && !mDetail.words.empty();
        verdict.reason = {phrase->name + (hasName ? " " + mDetail.name : ""),
                          phrase->words + (hasWords ? " " + mDetail.words : "")};
        mRefusal = verdict.reason;
        mRefusal.isOfFrames = true;
    } else if (contains(line, "TIMEOUT: take hf")) {
        verdict.isUnchecked = true;
        mCall.hasTimedOut = true;
    } else if (!contains(line, "] OK")) {
        mIsTorn = true;
        return;
    }
    mDetail = {};
    if (frameNo) {
        mCall.stepsBefore = mCall.verdicts.empty() ? mCall.steps.size() : mCall.stepsBefore;
        mCall.verdicts.push_back(std::move(verdict));
    }
}

void CallReader::takeOfRequest(std::string const& line, std::string const& rest) {
    if (isTorn(rest)) {
        mIsTorn = true;
        return;
    }
    if (startsWith(rest, "zsdTs(")) {
        mCall.shutterNs = numberAfter(rest, "zsdTs(");
    } else if (startsWith(rest, "INFO: hint=")) {
        size_t const policy = rest.find("policy=");
        mCall.policy = policy == std::string::npos ? "" : rest.substr(policy + 7);
    }
    takeFrame(rest);
    takeStep(rest);
    bool const isOwnSelection = mCall.strategy == "multiFrame" || mCall.strategy == "none";
    if (startsWith(rest, "SELECT: ")) {
        mCall.isServed = true;
        if (auto const frame = numberAfter(rest, "[hF")) {
            mCall.selected = {static_cast<uint32_t>(*frame)};
        }
    } else if (startsWith(rest, "MAPPING: ")) {
        takeMapping(rest);
    } else if (startsWith(rest, "select #") && isOwnSelection) {
        takeSelection(rest);
    } else if (contains(rest, "change to non-Zsl")) {
        mCall.hasTimedOut = true;
        mCall.isServed = isOwnSelection;
        auto const missing = numberAfter(rest, "zf(#").value_or(0) - static_cast<int64_t>(mCall.selected.size());
        mCall.selected.insert(mCall.selected.end(), static_cast<size_t>(std::clamp<int64_t>(missing, 0, 64)),
                              kNoFrame);
    } else if (contains(rest, "(TIMEOUT: ")) {
        mCall.hasTimedOut = true;
    } else if (Phrase const* const other = waitPhrase(line)) {
        mOther = {other->name, other->words};
    }
}

/// A frame with its timestamp, "hf[F26 R26 ts:832500000 ...]".
void CallReader::takeFrame(std::string const& rest) {
    size_t const shape = rest.find("hf[F");
    auto const frame = numberAfter(rest, "hf[F");
    if (shape == std::string::npos || !frame) {
        return;
    }
    if (auto const timestamp = numberAfter(rest, " ts:", shape)) {
        mCall.timestampNs[static_cast<uint32_t>(*frame)] = *timestamp;
    }
    if (startsWith(rest, "zsdTs(")) {
        mCall.shutterFrame = static_cast<uint32_t>(*frame);
    }
}

void CallReader::takeStep(std::string const& rest) {
    auto const frameAfter = [&](std::string_view label) {
        auto const number = numberAfter(rest, label);
        return number ? frameName(*number) : "a frame";
    };
    std::string step;
    if (startsWith(rest, "search continuous from")) {
        step = "the search for a run of frames begins at " + frameAfter("hf[F");
    } else if (startsWith(rest, "cannot get continuous")) {
        step = "no run of frames is long enough";
    } else if (startsWith(rest, "EMPLACE: ")) {
        step = "the burst begins";
    } else if (startsWith(rest, "ERASE: ")) {
        step = "the burst is over";
    } else if (startsWith(rest, "LOCK: ") || startsWith(rest, "UNLOCK: ")) {
        auto const request = numberAfter(rest, ") R");
        step = (rest[0] == 'L' ? "lock " : "unlock ") + frameAfter("hF");
        step += request ? " of R" + std::to_string(*request) : "";
    } else if (contains(rest, "quality check success!")) {
        step = "the set that begins with " + frameAfter("index=") + " passes the quality check";
    } else if (contains(rest, "quality check failed!")) {
        step = "no set passes the quality check; the one that begins with " + frameAfter("index=") +
               " is taken anyway";
    } else if (size_t const status = rest.find("change status to "); status != std::string::npos) {
        step = "the phase changes to " + rest.substr(status + 17) + " for the whole process";
    } else if (contains(rest, "get pre-collect hint")) {
        step = frameAfter("DEBUG: F") + " has the pre-collect hint";
    } else if (contains(rest, "skip pre-collect frames")) {
        step = frameAfter("get F") + " was collected ahead and is no candidate";
    } else if (contains(rest, "INVALID: ")) {
        step = "error: " + rest;
    }
    if (!step.empty()) {
        mCall.steps.push_back(step);
    }
}

void CallReader::takeSelection(std::string const& rest) {
    auto const count = static_cast<size_t>(numberAfter(rest, "#").value_or(0));
    auto const needed = static_cast<size_t>(numberAfter(rest, "/").value_or(0));
    std::vector<uint32_t> passed;
    for (Verdict const& verdict : mCall.verdicts) {
        if (!verdict.isRefused) {
            passed.push_back(verdict.frameNo);
        }
    }
    // The frames that were judged last are the answer; those before belong to runs that broke off.
    mCall.selected.assign(passed.end() - static_cast<ptrdiff_t>(std::min(count, passed.size())), passed.end());
    mCall.isServed = count >= needed;
    mCall.isEndKnown = true;
}

void CallReader::takeMapping(std::string const& rest) {
    if (contains(rest, "(TIMEOUT: ")) {
        mCall.hasTimedOut = true;
    }
    if (contains(rest, "Verify failed!")) {
        mOther.name = "verification failed" + (mRefusal.name.empty() ? "" : ": " + mRefusal.name);
        mOther.words = "a frame meant for the burst failed its check" +
                       (mRefusal.words.empty() ? "" : " (" + mRefusal.words + ")");
    }
    std::string mapping;
    for (size_t place = rest.find(") R"); place != std::string::npos; place = rest.find(" R", place + 1)) {
        place += rest[place] == ')' ? 1 : 0;
        unsigned request = 0;
        unsigned frame = 0;
        if (std::sscanf(rest.c_str() + place, " R%u[hF%u]", &request, &frame) == 2) {
            mapping += (mapping.empty() ? "" : ", ") + ("R" + std::to_string(request)) + " " + frameName(frame);
        }
    }
    mCall.steps.push_back("the burst's frames: " + mapping);
}

CallStory CallReader::endCall() {
    CallStory call = std::move(mCall);
    call.reason = !mOther.name.empty() ? mOther : mRefusal;
    bool const isWhole = mHasDebug && !mIsTorn;
    call.isEndKnown = call.isEndKnown || isWhole || call.isServed || !mOther.name.empty();
    if (call.reason.name.empty() && isWhole) {
        call.reason = call.hasTimedOut ? Reason{"timed out", "no frame had come by the time-out"}
                      : call.isServed ? Reason{"the burst went non-ZSL before", "its burst went without ZSL before"}
                                      : Reason{"its frame in flight", "its frame had not arrived yet"};
    }
    *this = CallReader(mHasDebug);
    return call;
}

}  // namespace Replay
