#include "Reasons.h"

#include <algorithm>
#include <cstdio>
#include <string_view>

namespace Replay {

namespace {

bool contains(std::string const& line, std::string_view part) { return line.find(part) != std::string::npos; }

bool startsWith(std::string const& line, std::string_view start) {
    return line.compare(0, start.size(), start) == 0;
}

bool endsWith(std::string const& line, std::string_view end) {
    return line.size() >= end.size() && line.compare(line.size() - end.size(), end.size(), end) == 0;
}

/// The number behind `label`, or -1.
int numberAfter(std::string const& line, char const* label) {
    size_t const place = line.find(label);
    int number = -1;
    return place != std::string::npos &&
                   std::sscanf(line.c_str() + place + std::string(label).size(), "%d", &number) == 1
               ? number
               : -1;
}

std::string focusDetail(std::string const& line) {
    int const afState = numberAfter(line, "afState=");
    bool const isScanning = afState == 1 || afState == 3;
    return isScanning ? "scanning" : numberAfter(line, "lensState=") == 1 ? "lens moving" : "inactive";
}

std::string exposureDetail(std::string const& line) {
    static constexpr char const* kWords[] = {"inactive", "searching",   "converged",
                                             "locked",   "needs flash", "precapture"};
    int const value = numberAfter(line, "val=");
    return value >= 0 && value < 6 ? kWords[value] : "";
}

std::string absentDetail(std::string const& line) {
    static constexpr struct {
        char const* tag;
        char const* detail;
    } kTags[] = {{"tag(0x10007)", "afMode absent"},
                 {"tag(0x10020)", "afState absent"},
                 {"tag(0x80009)", "lens.state absent"},
                 {"tag(0x1001f)", "aeState absent"},
                 {"VZR_HAL_REQUEST_SENSOR_ID(", "sensor id absent"},
                 {"VZR_P1NODE_SENSOR_MODE(", "absent"}};
    for (auto const& entry : kTags) {
        if (contains(line, entry.tag)) {
            return entry.detail;
        }
    }
    return "";
}

struct Phrase {
    std::string_view part;
    char const* reason;
    bool hasDetail = false;  // the lines before say more
};

template <size_t N>
Phrase const* findPhrase(Phrase const (&phrases)[N], std::string const& line) {
    auto const* const found =
        std::find_if(phrases, phrases + N, [&](Phrase const& phrase) { return contains(line, phrase.part); });
    return found == phrases + N ? nullptr : found;
}

// The verdict on a frame.
constexpr Phrase kVerdicts[] = {{"] AF X", "AF", true},
                                {"] AE X", "AE", true},
                                {"] (soft) AE X", "soft AE unstable"},
                                {"] FrameSync X", "sensors not in sync"},
                                {"does not include tareget EV", "EV"},
                                {"does not include all reqSensorModes", "sensor mode", true},
                                {"does not include all needStreams", "streams"},
                                {"force pending...", "forced pending"}};

// What a call says beside its verdicts; these stand for the whole call.
constexpr Phrase kOthers[] = {{"hf[null], do pending directly", "frame at the shutter in flight"},
                              {"(FIFO), needSelectReqs", "not its turn"},
                              {"pre-collect, IspHidlReqObj", "other phase"},
                              {"INVALID: fail to find IspHidlReqObj", "unknown burst"},
                              {"fail to get VZR_CONTROL_AE_EXPOSURE_COMPENSATION", "request without EV"},
                              {"in history yet, pending...", "frame in flight"},
                              {"DEBUG: mapping={", "no frame with the pre-collect hint"},
                              {"send all requests to non-zsl", "too few frames"},
                              {" to pending", "too few frames"}};

}  // namespace

void Reasons::take(std::string const& line) {
    // A call may write a hundred lines: the function at the head of a line says what to look for.
    if (startsWith(line, "[isQualify] ")) {
        takeVerdict(line);
    } else if (startsWith(line, "[isAFStable] ") || startsWith(line, "[isMatched] ") ||
               startsWith(line, "[isRequiredSensorMode] ")) {
        if (contains(line, "AF fail: ")) {
            mDetail = focusDetail(line);
        } else if (contains(line, "[isAEStable] tag(") && contains(line, " val=")) {
            mDetail = exposureDetail(line);
        } else if (contains(line, "not found!")) {
            mDetail = absentDetail(line);
        }
    } else if (contains(line, "Verify failed!")) {
        mOther = "verification failed" + (mRefusal.empty() ? "" : ": " + mRefusal);
    } else if (contains(line, "change to non-Zsl") || contains(line, "(TIMEOUT: ")) {
        mHasTimedOut = true;
    } else if (Phrase const* const other = findPhrase(kOthers, line)) {
        mOther = other->reason;
    }
}

void Reasons::takeVerdict(std::string const& line) {
    if (endsWith(line, "] OK")) {
        mDetail.clear();
    } else if (contains(line, "TIMEOUT: take hf")) {
        mHasTimedOut = true;
    } else if (Phrase const* const verdict = findPhrase(kVerdicts, line)) {
        mRefusal = verdict->reason;
        if (verdict->hasDetail && !mDetail.empty()) {
            mRefusal += " " + mDetail;
        }
        mDetail.clear();
    }
}

CallReason Reasons::endCall() {
    CallReason reason{!mOther.empty() ? mOther : mRefusal, mHasTimedOut};
    *this = {};
    return reason;
}

}  // namespace Replay
