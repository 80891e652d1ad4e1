#include "CallReader.h"

#include <algorithm>

#include "zsl/policy/ISelector.h"

namespace Replay {

using NSCam::ZslPolicy::kNoFrame;

bool CallStory::isOwnSelection() const { return strategy == "multiFrame" || strategy == "none"; }

bool CallStory::isNonZsl() const {
    return isServed && std::find(selected.begin(), selected.end(), kNoFrame) != selected.end();
}

/// What stands in front of a line about a request: "[function] [r900,92/1000ms]<word>IspHidl(1/3) ".
struct CallReader::Heading {
    bool isThere = false;
    uint32_t requestNo = 0;
    int64_t waitedMs = 0;
    int64_t timeoutMs = 0;
    std::string_view word;
    int burstIdx = -1;
    int burstCnt = -1;
    std::string_view rest;

    explicit Heading(std::string_view line) {
        size_t const place = line.find(' ');
        Cursor cursor{line.substr(std::min(place, line.size()))};
        if (!cursor.skip(" [r") || !cursor.number(requestNo) || !cursor.skip(",") || !cursor.number(waitedMs) ||
            !cursor.skip("/") || !cursor.number(timeoutMs) || !cursor.skip("ms]<")) {
            return;
        }
        size_t const close = cursor.rest.find('>');
        if (close == std::string_view::npos) {
            return;
        }
        word = cursor.rest.substr(0, close);
        cursor.rest.remove_prefix(close + 1);
        if (cursor.skip("IspHidl(") &&
            (!cursor.number(burstIdx) || !cursor.skip("/") || !cursor.number(burstCnt) || !cursor.skip(")"))) {
            return;
        }
        cursor.skip(" ");
        rest = cursor.rest;
        isThere = true;
    }
};

/// A line about a request, by how it begins behind the request's name.
struct CallReader::RequestLine {
    std::string_view beginning;
    std::string_view whole;  ///< a line without this was cut before it said what it has to say
    Phase phase;
    void (CallReader::*take)(std::string_view rest) = nullptr;
    ReasonKind wait = ReasonKind::None;  ///< the line ends the call, which waits for this reason
    bool mayFollowEnd = false;
};

CallReader::RequestLine const* CallReader::find(std::string_view rest) {
    using Reader = CallReader;
    static constexpr RequestLine kLines[] = {
        {"INFO: hint=", ", policy=", Phase::Opening, &Reader::takePolicy},
        {"INVALID: ispHidl request", "", Phase::Opening, &Reader::takeError},
        {"INVALID: no selector", "", Phase::Opening, &Reader::takeError},
        {"INVALID: fail to find IspHidlReqObj", "", Phase::Preparing, &Reader::takeError, ReasonKind::UnknownBurst},
        {"INVALID: fail to get VZR_CONTROL_AE_EXPOSURE_COMPENSATION", "", Phase::Preparing, &Reader::takeError,
         ReasonKind::RequestWithoutEv},
        {"EMPLACE: ", "", Phase::Preparing, &Reader::takeBegin},
        {"ERASE: ", "", Phase::Any, &Reader::takeOver, ReasonKind::None, true},
        {"zsdTs(", "=> hf[", Phase::Preparing, &Reader::takeShutter},
        {"search continuous from hf", "", Phase::Preparing, &Reader::takeSearch},
        {"cannot get continuous", "", Phase::Counting, &Reader::takeNoRun},
        {"select #", " hfs", Phase::Counting, &Reader::takeSelected},
        {"PENDING: sel(#", "zf(#", Phase::Counting, &Reader::takePending},
        {"TIMEOUT: sel(#", "to non-Zsl", Phase::Counting, &Reader::takeTimeOut},
        {"MAPPING(R", "pending due", Phase::Ended, &Reader::takeTooFewPassed},
        {"MAPPING: (operate at ", "", Phase::Any, &Reader::takeMapping},
        {"MAPPING: (TIMEOUT: ", "", Phase::Preparing, &Reader::takeMappingTimeOut},
        {"MAPPING: (Verify failed!", "", Phase::Any, &Reader::takeVerifyFailed},
        {"SELECT: R", "]", Phase::Ended, &Reader::takeServed},
        {"LOCK: ", "hF", Phase::Any, &Reader::takeLock, ReasonKind::None, true},
        {"UNLOCK: ", "hF", Phase::Any, &Reader::takeLock, ReasonKind::None, true},
        {"STATE: ", "", Phase::Any, &Reader::takeState, ReasonKind::None, true},
        {"DEBUG: curFrameNumbers={", "", Phase::Preparing},
        {"DEBUG: curFrameNumbers(", "send ", Phase::Preparing, &Reader::takeTooFewKnown},
        {"DEBUG: history get F", "", Phase::Preparing, &Reader::takeSkipped},
        {"DEBUG: inflight get F", "", Phase::Preparing, &Reader::takeSkipped},
        {"DEBUG: selectLatest={", "", Phase::Preparing},
        {"DEBUG: toleranceFrameCnt=", "", Phase::Preparing},
        {"DEBUG: after check quality", "", Phase::Any},
        {"INFO: (operate at ", "", Phase::Any, &Reader::takeQuality},
        {"DEBUG: (operate at ", "in history yet", Phase::Ended, nullptr, ReasonKind::FrameInFlight},
        {"DEBUG: cannot select R", "(FIFO)", Phase::Ended, nullptr, ReasonKind::NotItsTurn},
        {"DEBUG: not pre-collect", "", Phase::Preparing, nullptr, ReasonKind::OtherPhase},
        {"DEBUG: is pre-collect", "", Phase::Preparing, nullptr, ReasonKind::OtherPhase},
        {"DEBUG: mapping={", "", Phase::Any, &Reader::takeHdrMapping, ReasonKind::None, true},
        {"DEBUG: F", "get pre-collect hint", Phase::Any, &Reader::takeHinted}};
    auto const* const line = std::find_if(std::begin(kLines), std::end(kLines), [&](RequestLine const& candidate) {
        return startsWith(rest, candidate.beginning);
    });
    return line != std::end(kLines) && contains(rest, line->whole) ? line : nullptr;
}

/// The lines that stand before the strategy's own, in their order; 0: not one of them.
int CallReader::openingRank(std::string_view line) {
    if (startsWith(line, "[invokeADB]")) {
        return 1;
    }
    if (startsWith(line, "[select] DEBUG: ")) {
        return 2;
    }
    bool const isOpening = startsWith(line, "[select] ") || contains(line, "] DEBUG: curPreCollects(");
    return isOpening ? 3 : 0;
}

/// The quality check counts after each of its sets, and goes on judging.
CallReader::Phase CallReader::phaseOf(RequestLine const& line, Heading const& heading) {
    bool const isCounted = line.phase == Phase::Counting && heading.word == "ispHidlSelect_LatestWithQuality";
    return isCounted ? Phase::Judging : line.phase;
}

/// Whether the heading is not the present call's.
bool CallReader::isAnother(Heading const& heading) const {
    return heading.isThere && mNow.call.isNamed &&
           (heading.requestNo != mNow.call.requestNo || heading.waitedMs != mNow.call.waitedMs);
}

bool CallReader::beginsCall(std::string_view line, Heading const& heading, RequestLine const* known) const {
    if (mSource == LogSource::Host || mNow.phase == Phase::Empty) {
        return false;
    }
    if (int const rank = openingRank(line)) {
        return mNow.phase > Phase::Opening || rank < mNow.openingRank || (rank > 1 && rank == mNow.openingRank);
    }
    if (isAnother(heading)) {
        return true;
    }
    if (known != nullptr) {
        Phase const phase = phaseOf(*known, heading);
        bool const isSecondShutter = mNow.call.shutterNs && startsWith(known->beginning, "zsdTs(");
        return isSecondShutter || (mNow.phase == Phase::Ended ? !known->mayFollowEnd : phase < mNow.phase);
    }
    if (!startsWith(line, "[isQualify] ")) {
        return mNow.phase > Phase::Judging && stageOf(line) != 0;
    }
    // A strategy judges a frame once, in ascending order; the sets of the quality check overlap.
    auto const& verdicts = mNow.call.verdicts;
    auto const frameNo = numberAfter<uint32_t>(line, "hf[F");
    bool const isRepeated = frameNo && verdicts.size() > mNow.round && !isQualityCheck() &&
                            static_cast<int32_t>(*frameNo - verdicts.back().frameNo) <= 0;
    return mNow.phase > Phase::Judging || isRepeated;
}

std::optional<CallStory> CallReader::take(std::string_view line) {
    if (startsWith(line, "[SampleSelector]") || startsWith(line, "[~SampleSelector]")) {
        return std::nullopt;
    }
    Heading const heading(line);
    RequestLine const* const known = heading.isThere ? find(heading.rest) : nullptr;
    std::optional<CallStory> before;
    int const rank = openingRank(line);
    if (beginsCall(line, heading, known)) {
        if (rank == 0 && isAnother(heading)) {
            mNow.call.verdicts.resize(mNow.attributed);  // the other call's first lines are missing
        }
        before = endCall();
    }
    mNow.phase = std::max(mNow.phase, Phase::Opening);
    mNow.openingRank = std::max(mNow.openingRank, rank);
    // A call may write a hundred lines: the function at the head of a line says what to look for.
    if (startsWith(line, "[isQualify] ")) {
        takeVerdict(line);
    } else if (stageOf(line) != 0) {
        takeJudging(line);
    } else if (heading.isThere) {
        takeOfRequest(heading.rest, heading, known);
    } else if (startsWith(line, "[Fatal]")) {
        addStep("error: " + std::string(line));
    } else if (!contains(line, "DEBUG: ") && rank == 0 && !startsWith(line, "[tryGet")) {
        mNow.isTorn = true;  // every other line names its request
    }
    return before;
}

void CallReader::takeGap(std::string const& words) {
    if (mNow.phase != Phase::Empty) {
        mNow.isTorn = true;
        loseVerdict();
    }
    mNow.phase = std::max(mNow.phase, Phase::Opening);
    addStep(words);
}

void CallReader::takeOfRequest(std::string_view rest, Heading const& heading, RequestLine const* known) {
    CallStory& call = mNow.call;
    if (!call.isNamed && mSource == LogSource::Logcat && mNow.openingRank == 0) {
        call.verdicts.clear();  // which may be of the call before
        loseVerdict();
    }
    if (!call.isNamed) {
        auto const mapped = mMapped.find(heading.requestNo);
        mNow.wentNonZslBefore = mapped != mMapped.end() && mapped->second == kNoFrame;
    }
    call.requestNo = heading.requestNo;
    call.isNamed = true;
    call.waitedMs = heading.waitedMs;
    call.timeoutMs = heading.timeoutMs;
    call.strategy = heading.word;
    call.burstIdx = heading.burstIdx;
    call.burstCnt = heading.burstCnt;
    if (known == nullptr) {
        mNow.isTorn = true;
        return;
    }
    if (mNow.stage != 0) {
        loseVerdict();
    }
    mNow.attributed = call.verdicts.size();
    if (known->phase != Phase::Any) {
        mNow.phase = std::max(mNow.phase, phaseOf(*known, heading));
    }
    mNow.round = known->phase == Phase::Counting ? call.verdicts.size() : mNow.round;
    takeFrame(rest);
    if (known->take != nullptr) {
        (this->*known->take)(rest);
    }
    if (known->wait != ReasonKind::None) {
        mNow.other = reasonOf(known->wait);
        end(false);
    }
}

// ---- Frames that are judged

/// A frame's verdict is missing: neither its details nor what was told before may stand for what follows.
void CallReader::loseVerdict() {
    if (mSource == LogSource::Host) {
        return;
    }
    mNow.detail = {};
    mNow.refusal = {};
    mNow.stage = 0;
    mNow.fit = 0;
    mNow.lacksVerdicts = true;
}

void CallReader::takeJudging(std::string_view line) {
    int const stage = stageOf(line);
    bool const stepsBack = stage < mNow.stage || (stage == mNow.stage && !isRepeatable(stage));
    bool const isOfNext = mNow.detail.of != ReasonKind::None && stage != 5 && stage != 7;
    if (mNow.stage != 0 && (stepsBack || isOfNext)) {
        loseVerdict();
    }
    mNow.phase = std::max(mNow.phase, Phase::Judging);
    mNow.stage = stage;
    Detail detail = detailOf(line);
    if (detail.of != ReasonKind::None || stage == 6) {  // a stream whose exposure passes takes back the one before
        mNow.detail = std::move(detail);
    }
    auto const target =
        numberAfter<int>(line, contains(line, "isRequiredEV OK: ") ? "isRequiredEV OK: EV=" : "EV(Target)=");
    mNow.call.ev = target ? target : mNow.call.ev;
}

void CallReader::takeVerdict(std::string_view line) {
    auto const frameNo = numberAfter<uint32_t>(line, "hf[F");
    VerdictLine const said = verdictOf(line);
    if (said.kind == VerdictKind::Torn || !frameNo) {
        mNow.isTorn = true;
        loseVerdict();
        return;
    }
    if (mNow.detail.of != ReasonKind::None && mNow.detail.of != said.reason) {
        loseVerdict();  // the detail was of another frame
    }
    mNow.phase = std::max(mNow.phase, Phase::Judging);
    Verdict verdict;
    verdict.frameNo = *frameNo;
    verdict.isRefused = said.kind == VerdictKind::Refused;
    verdict.isUnchecked = said.kind == VerdictKind::Unchecked;
    if (verdict.isRefused) {
        Detail const detail = said.hasDetail ? mNow.detail : Detail();
        verdict.reason = reasonOf(said.reason, detail.name, detail.words);
        mNow.refusal = verdict.reason;
    }
    mNow.call.hasTimedOut = mNow.call.hasTimedOut || verdict.isUnchecked;
    mNow.fit = verdict.isRefused ? 0 : mNow.fit + 1;
    mNow.detail = {};
    mNow.stage = 0;
    CallStory& call = mNow.call;
    call.stepsBefore = call.verdicts.empty() ? call.steps.size() : call.stepsBefore;
    call.verdicts.push_back(std::move(verdict));
}

/// A frame with its timestamp, "hf[F26 R26 ts:832500000 ...]".
void CallReader::takeFrame(std::string_view rest) {
    size_t const shape = rest.find("hf[F");
    if (shape == std::string_view::npos) {
        return;
    }
    auto const frame = numberAfter<uint32_t>(rest, "hf[F");
    auto const timestamp = numberAfter<int64_t>(rest.substr(shape), " ts:");
    if (frame && timestamp && contains(rest.substr(shape), " ss(")) {  // else the number may be cut
        mNow.call.timestampNs[*frame] = *timestamp;
    }
}

void CallReader::end(bool isServed) {
    mNow.call.isEndKnown = true;
    mNow.call.isServed = isServed;
    mNow.phase = Phase::Ended;
}

CallStory CallReader::endCall() {
    if (mNow.stage != 0) {
        loseVerdict();
    }
    CallStory call = std::move(mNow.call);
    bool const isWhole = mSource == LogSource::Host && !mNow.isTorn;
    bool const isOther = mNow.other && (mSource == LogSource::Host || call.isEndKnown);
    // Of a logcat, that a frame was refused need not be why.
    bool const isRefusal =
        mSource == LogSource::Host || (mNow.endsByCount && (call.isEndKnown || call.isOwnSelection()));
    if (isOther || isRefusal) {
        call.reason = isOther ? mNow.other : mNow.refusal;
    }
    call.isEndKnown = call.isEndKnown || isWhole;
    if (!call.reason && call.hasTimedOut && (call.isServed || isWhole)) {
        call.reason = reasonOf(ReasonKind::TimedOut);
    } else if (!call.reason && call.isServed && (isWhole || mNow.wentNonZslBefore)) {
        call.reason = reasonOf(ReasonKind::WentNonZslBefore);
    } else if (!call.reason && isWhole) {
        call.reason = reasonOf(ReasonKind::OwnFrameInFlight);
    }
    if (call.isServed) {
        mMapped.erase(call.requestNo);
    }
    mNow = {};
    return call;
}

}  // namespace Replay
