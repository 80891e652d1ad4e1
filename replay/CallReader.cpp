#include "CallReader.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

#include "zsl/policy/ISelector.h"

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

bool contains(std::string const& line, std::string_view part) { return line.find(part) != std::string::npos; }

bool startsWith(std::string const& line, std::string_view start) {
    return line.compare(0, start.size(), start) == 0;
}

/// The number behind `label`, at or after `from`; nothing if there is none.
std::optional<int64_t> numberAfter(std::string const& line, std::string_view label, size_t from = 0) {
    size_t const place = line.find(label, from);
    long number = 0;
    if (place == std::string::npos || std::sscanf(line.c_str() + place + label.size(), "%ld", &number) != 1) {
        return std::nullopt;
    }
    return number;
}

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

Reason focusDetail(std::string const& line) {
    auto const afState = numberAfter(line, "afState=");
    bool const isScanning = afState.value_or(0) == 1 || afState.value_or(0) == 3;
    bool const isMoving = numberAfter(line, "lensState=") == 1;
    return {isScanning ? "scanning"
            : isMoving ? "lens moving"
                       : "inactive",
            isScanning ? isMoving ? "scanning, lens moving" : "scanning"
            : isMoving ? "at rest, lens moving"
                       : "inactive"};
}

Reason exposureDetail(std::string const& line) {
    static constexpr char const* kWords[] = {"inactive", "searching",   "converged",
                                             "locked",   "needs flash", "precapture"};
    auto const value = numberAfter(line, "val=");
    return value && *value >= 0 && *value < 6 ? Reason{kWords[*value], kWords[*value]} : Reason{};
}

Reason absentDetail(std::string const& line) {
    static constexpr struct {
        std::string_view tag;
        char const* detail;
    } kTags[] = {{"tag(0x10007)", "afMode absent"},
                 {"tag(0x10020)", "afState absent"},
                 {"tag(0x80009)", "lens.state absent"},
                 {"tag(0x1001f)", "aeState absent"},
                 {"VZR_HAL_REQUEST_SENSOR_ID(", "sensor id absent"},
                 {"VZR_P1NODE_SENSOR_MODE(", "absent"}};
    for (auto const& entry : kTags) {
        if (contains(line, entry.tag)) {
            return {entry.detail, entry.detail};
        }
    }
    return {};
}

struct Phrase {
    std::string_view part;
    char const* name;
    char const* words;
    bool hasDetail = false;  // the lines before say more
};

// The verdict on a frame.
constexpr Phrase kVerdicts[] = {
    {"] AF X", "AF", "auto-focus", true},
    {"] AE X", "AE", "auto-exposure", true},
    {"] (soft) AE X", "soft AE unstable", "soft auto-exposure unstable"},
    {"] FrameSync X", "sensors not in sync", "sensors not in sync"},
    {"does not include tareget EV", "EV", "exposure compensation", true},
    {"does not include all reqSensorModes", "sensor mode", "sensor mode", true},
    {"does not include all needStreams", "streams", "a needed stream is missing"},
    {"force pending...", "forced pending", "the policy ForcePending refuses every frame"}};

// What a call says beside its verdicts; these stand for the whole call.
constexpr Phrase kOthers[] = {
    {"hf[null], do pending directly", "frame at the shutter in flight",
     "the frame at the shutter had not arrived yet"},
    {"(FIFO), needSelectReqs", "not its turn", "an earlier request of the burst was still to be served"},
    {"pre-collect, IspHidlReqObj", "other phase",
     "the selector was in its other phase (noise reduction, then HDR)"},
    {"INVALID: fail to find IspHidlReqObj", "unknown burst", "the first request of its burst had not come"},
    {"fail to get VZR_CONTROL_AE_EXPOSURE_COMPENSATION", "request without EV",
     "the request names no exposure compensation"},
    {"in history yet, pending...", "frame in flight", "a frame of the burst had not arrived yet"},
    {"DEBUG: mapping={", "no frame with the pre-collect hint", "no frame with the pre-collect hint had arrived"},
    {"send all requests to non-zsl", "too few frames", "there were too few frames for the burst"},
    {" to pending", "too few frames", "there were too few frames for the burst"}};

template <size_t N>
Phrase const* findPhrase(Phrase const (&phrases)[N], std::string const& line) {
    auto const* const found =
        std::find_if(phrases, phrases + N, [&](Phrase const& phrase) { return contains(line, phrase.part); });
    return found == phrases + N ? nullptr : found;
}

/// Whether a line that says how a call ends was cut before it says so.
bool isTorn(std::string const& rest) {
    static constexpr struct {
        std::string_view start;
        std::string_view part;
    } kWhole[] = {
        {"zsdTs(", "=> hf"}, {"select #", " hfs"}, {"SELECT: ", "]"}, {"INFO: ", "="}, {"TIMEOUT: ", "to non-Zsl"}};
    return rest.size() < 6 || std::any_of(std::begin(kWhole), std::end(kWhole), [&](auto const& whole) {
               return startsWith(rest, whole.start) && !contains(rest, whole.part);
           });
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
    if (contains(line, "AF fail: ")) {
        mDetail = focusDetail(line);
    } else if (contains(line, "[isAEStable] tag(") && contains(line, " val=")) {
        mDetail = exposureDetail(line);
    } else if (contains(line, "not found!")) {
        mDetail = absentDetail(line);
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
    Phrase const* const phrase = findPhrase(kVerdicts, line);
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
    } else if (Phrase const* const other = findPhrase(kOthers, line)) {
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
