#include "LogWords.h"

#include <algorithm>
#include <cstdio>

namespace Replay {

namespace {

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

}  // namespace

bool contains(std::string const& line, std::string_view part) { return line.find(part) != std::string::npos; }

bool startsWith(std::string const& line, std::string_view start) {
    return line.compare(0, start.size(), start) == 0;
}

std::optional<int64_t> numberAfter(std::string const& line, std::string_view label, size_t from) {
    size_t const place = line.find(label, from);
    long number = 0;
    if (place == std::string::npos || std::sscanf(line.c_str() + place + label.size(), "%ld", &number) != 1) {
        return std::nullopt;
    }
    return number;
}

Phrase const* verdictPhrase(std::string const& line) { return findPhrase(kVerdicts, line); }

Phrase const* waitPhrase(std::string const& line) { return findPhrase(kOthers, line); }

std::optional<Reason> detailOf(std::string const& line) {
    if (contains(line, "AF fail: ")) {
        return focusDetail(line);
    }
    if (contains(line, "[isAEStable] tag(") && contains(line, " val=")) {
        return exposureDetail(line);
    }
    if (contains(line, "not found!")) {
        return absentDetail(line);
    }
    return std::nullopt;
}

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

}  // namespace Replay
