#include "LogWords.h"

#include <algorithm>
#include <cctype>

#include "replay/model/TagTable.h"

namespace Replay {

namespace {

Detail focusDetail(std::string_view line) {
    int const afState = numberAfter<int>(line, "afState=").value_or(-1);
    bool const isScanning = afState == 1 || afState == 3;
    bool const isMoving = numberAfter<int>(line, "lensState=") == 1;
    if (isScanning) {
        return {ReasonKind::Focus, " scanning", isMoving ? " scanning, lens moving" : " scanning"};
    }
    if (isMoving) {
        return {ReasonKind::Focus, " lens moving", " at rest, lens moving"};
    }
    return {ReasonKind::Focus, " inactive", " inactive"};
}

/// The value of a stream's auto-exposure state, unless it is one of those that pass: "val=1 target=2,3 bc=0".
Detail exposureDetail(std::string_view line) {
    auto const value = numberAfter<int64_t>(line, "val=");
    size_t const target = line.find("target=");
    Tag const* const tag = findTag(kAeState);
    if (!value || target == std::string_view::npos || tag == nullptr) {
        return {};
    }
    Cursor cursor{line.substr(target + 7)};
    int64_t accepted = 0;
    do {
        if (!cursor.number(accepted) || accepted == *value) {
            return {};
        }
    } while (cursor.skip(","));
    std::string word = " " + wordOf(*tag, *value);
    std::transform(word.begin(), word.end(), word.begin(), [](unsigned char letter) {
        return letter == '_' ? ' ' : static_cast<char>(std::tolower(letter));
    });
    return {ReasonKind::Exposure, word, word};
}

/// The tag's number stands in parentheses before " not found!".
Detail absentDetail(std::string_view line) {
    static constexpr struct {
        uint32_t tag;
        ReasonKind of;
        char const* words;
    } kTags[] = {{kAfMode, ReasonKind::Focus, " afMode absent"},
                 {kAfState, ReasonKind::Focus, " afState absent"},
                 {kLensState, ReasonKind::Focus, " lens.state absent"},
                 {kAeState, ReasonKind::Exposure, " aeState absent"},
                 {kHalRequestSensorId, ReasonKind::SensorMode, " sensor id absent"},
                 {kP1NodeSensorMode, ReasonKind::SensorMode, " absent"}};
    std::string_view const before = line.substr(0, line.find(" not found!"));
    size_t const place = before.rfind("(0x");
    uint32_t number = 0;
    if (place == std::string_view::npos ||
        std::from_chars(before.data() + place + 3, before.data() + before.size(), number, 16).ec != std::errc()) {
        return {};
    }
    for (auto const& entry : kTags) {
        if (entry.tag == number) {
            return {entry.of, entry.words, entry.words};
        }
    }
    return {};
}

Detail evDetail(std::string_view line) {
    auto const had = numberAfter<int>(line, "EV(History)=");
    auto const target = numberAfter<int>(line, "EV(Target)=");
    if (!had || !target) {
        return {};
    }
    return {ReasonKind::Ev, "", " " + std::to_string(*had) + ", not " + std::to_string(*target)};
}

}  // namespace

Detail detailOf(std::string_view line) {
    static constexpr struct {
        std::string_view part;
        Detail (*read)(std::string_view);
    } kReaders[] = {
        {"] AF fail: ", focusDetail}, {"[isAEStable] tag(", exposureDetail}, {"isRequiredEV fail: ", evDetail}};
    if (contains(line, " not found!")) {
        return absentDetail(line);
    }
    for (auto const& reader : kReaders) {
        if (contains(line, reader.part)) {
            return reader.read(line);
        }
    }
    return {};
}

VerdictLine verdictOf(std::string_view line) {
    static constexpr struct {
        std::string_view part;
        VerdictLine verdict;
    } kVerdicts[] = {{"] OK", {VerdictKind::Fit}},
                     {"TIMEOUT: take hf", {VerdictKind::Unchecked}},
                     {"] AF X", {VerdictKind::Refused, ReasonKind::Focus, true}},
                     {"] AE X", {VerdictKind::Refused, ReasonKind::Exposure, true}},
                     {"] (soft) AE X", {VerdictKind::Refused, ReasonKind::SoftExposure}},
                     {"] FrameSync X", {VerdictKind::Refused, ReasonKind::FrameSync}},
                     {"does not include tareget EV", {VerdictKind::Refused, ReasonKind::Ev, true}},
                     {"does not include all reqSensorModes", {VerdictKind::Refused, ReasonKind::SensorMode, true}},
                     {"does not include all needStreams", {VerdictKind::Refused, ReasonKind::Streams}},
                     {"force pending...", {VerdictKind::Refused, ReasonKind::ForcedPending}}};
    for (auto const& entry : kVerdicts) {
        if (contains(line, entry.part)) {
            return entry.verdict;
        }
    }
    return {};
}

int stageOf(std::string_view line) {
    static constexpr struct {
        std::string_view start;
        std::string_view part;
        int stage;
    } kStages[] = {{"[isRequiredSensorMode] ", "", 1},
                   {"[operator()] ", "EV setting", 2},
                   {"[isRequiredEV] ", "", 3},
                   {"[isAFStable] ", "", 4},
                   {"[operator()] ", "): AF X", 5},
                   {"[isMatched] [isAEStable] ", "", 6},
                   {"[operator()] ", "): AE X", 7},
                   {"[isMatched] [isAESoftStable] ", "", 8},
                   {"[operator()] ", "): (soft) AE X", 9},
                   {"[isMatched] ", "", 10},
                   {"[operator()] ", "", 10}};
    for (auto const& entry : kStages) {
        if (startsWith(line, entry.start) && contains(line, entry.part)) {
            return entry.stage;
        }
    }
    return 0;
}

bool isRepeatable(int stage) { return stage == 4 || stage == 6 || stage == 8 || stage == 10; }

bool isSelectorDebug(std::string_view line) {
    return !startsWith(line, "[operator()]") && (!startsWith(line, "[is") || startsWith(line, "[ispHidl"));
}

}  // namespace Replay
