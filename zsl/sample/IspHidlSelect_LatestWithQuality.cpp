// Reprocess burst of the newest frames whose quality holds up. One frame more than the burst needs is taken and
// locked when the burst starts; the older and the newer run of the burst's length among them (the check sets)
// are judged once each by the continuous selection, and the newest that passes serves the burst.
#include <algorithm>
#include <optional>

#include "zsl/sample/ReprocessBurst.h"

namespace NSCam::Sample {

namespace {

using ZslPolicy::kNoFrame;
using CheckSet = SampleSelector::CustomQualityCheckSet;
using CheckSets = std::map<FrameNo, CheckSet>;
using Burst = SampleSelector::IspHidlReqObj_LatestWithQuality;

constexpr BurstLines kLines{/*unknownBurst=*/714, /*notCreated=*/726, /*noMapping=*/955};

constexpr size_t kMaxCheckSets = 2;  // the older and the newer one
constexpr int8_t kNotJudged = 0;
constexpr int8_t kPassed = 1;
constexpr int8_t kFailed = -1;

std::string renderCheckSets(CheckSets const& checkSets) {
    std::string text;
    for (auto const& [firstFrame, checkSet] : checkSets) {
        text += ZslPolicy::format("[index=F%u, check=%d]", firstFrame, checkSet.check);
        for (auto const& [index, frameNo] : checkSet.frames) {
            text += ZslPolicy::format("[%u]%u ", index, frameNo);
        }
    }
    return text;
}

/// Takes the newest frames and forms the check sets. False when the host knows too few frames for the burst.
bool setUp(BurstCall const& call, RequestLog const& log, ISelector::SelectInputParams const& in, Burst& burst) {
    auto const curFrameNumbers = knownFrames(in, [](char const*, FrameNo) { return false; });
    ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: curFrameNumbers={%s}", log.function, log.name(),
                    renderNumbers(curFrameNumbers, " F", "").c_str());
    if (curFrameNumbers.size() < call.size()) {
        ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: curFrameNumbers(%d) < ispHidlFrameCnt(%d), send R%u to pending",
                        log.function, log.name(), static_cast<int>(curFrameNumbers.size()), in.ispHidlFrameCnt,
                        in.requestNo);
        return false;
    }
    size_t const toleranceFrameCnt = call.size() + 1;
    size_t const taken = std::min(toleranceFrameCnt, curFrameNumbers.size());
    burst.needLockFrames.insert(curFrameNumbers.end() - static_cast<ptrdiff_t>(taken), curFrameNumbers.end());
    ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: toleranceFrameCnt=%d, needLockFrames={%s}", log.function, log.name(),
                    static_cast<int>(toleranceFrameCnt), renderNumbers(burst.needLockFrames, "F", " ").c_str());

    auto const& frames = burst.needLockFrames;
    auto first = frames.begin();
    for (size_t made = 0; made < kMaxCheckSets && first != frames.end(); ++made, ++first) {
        CheckSet& checkSet = burst.needCheckSet[*first];
        for (auto frame = first; frame != frames.end() && checkSet.frames.size() < call.size(); ++frame) {
            checkSet.frames.emplace(static_cast<uint32_t>(checkSet.frames.size()), *frame);
        }
    }
    ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: toleranceFrameCnt=%d, needCheckSet={%s}", log.function, log.name(),
                    static_cast<int>(toleranceFrameCnt), renderCheckSets(burst.needCheckSet).c_str());
    return true;
}

void lockForCheck(BurstCall& call, RequestLog const& log, RequestNo requestNo, Burst const& burst) {
    for (FrameNo const frameNo : burst.needLockFrames) {
        auto const* const frame = call.findInHistory(frameNo);
        if (frameNo != kNoFrame && frame != nullptr && !frame->locked) {
            call.addFrameOp(frameNo, ISelector::OpT::Lock);
            ZSL_MEMBER_LOGD(log, "[%s] %s LOCK: (operate at R%u) hF%u for further quality check", log.function,
                            log.name(), requestNo, frameNo);
        }
    }
}

/// The check set's frame that has not reached the history, if any.
std::optional<FrameNo> findMissingFrame(BurstCall const& call, CheckSet const& checkSet) {
    for (auto const& [index, frameNo] : checkSet.frames) {
        if (call.findInHistory(frameNo) == nullptr) {
            return frameNo;
        }
    }
    return std::nullopt;
}

/// Judges the check sets that have not been judged, by what `selectFrom(history)` selects from a history that holds
/// the check set's frames alone. False when a check set has to wait for a frame; what is judged stays judged.
template <typename SelectFrom>
bool judge(BurstCall const& call, RequestLog const& log, RequestNo requestNo, CheckSets& checkSets,
           SelectFrom selectFrom) {
    for (auto& [firstFrame, checkSet] : checkSets) {
        if (checkSet.check != kNotJudged) {
            continue;
        }
        if (auto const missing = findMissingFrame(call, checkSet)) {
            ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: (operate at R%u) cannot find F%d in history yet, pending...",
                            log.function, log.name(), requestNo, static_cast<int>(*missing));
            return false;
        }
        std::map<FrameNo, ISelector::HistoryFrame> history;
        for (auto const& [index, frameNo] : checkSet.frames) {
            history.emplace_hint(history.end(), frameNo, *call.findInHistory(frameNo));
        }
        checkSet.check = selectFrom(history).selectedFrames.size() == call.size() ? kPassed : kFailed;
    }
    ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: after check quality : needCheckSet={%s}", log.function, log.name(),
                    renderCheckSets(checkSets).c_str());
    return true;
}

/// The newest check set that passed; without one the newest that has a frame for every request of the burst.
/// Null when none has: then a request would be left without an answer.
CheckSet const* choose(BurstCall const& call, RequestLog const& log, RequestNo requestNo,
                       CheckSets const& checkSets) {
    auto const passed = std::find_if(checkSets.rbegin(), checkSets.rend(),
                                     [](auto const& entry) { return entry.second.check == kPassed; });
    if (passed != checkSets.rend()) {
        ZSL_LOGI(
            "[%s] %s INFO: (operate at R%u) quality check success! set latest frame with quality check : index=%d",
            log.function, log.name(), requestNo, static_cast<int>(passed->first));
        return &passed->second;
    }
    auto const whole = std::find_if(checkSets.rbegin(), checkSets.rend(),
                                    [&](auto const& entry) { return entry.second.frames.size() >= call.size(); });
    if (whole == checkSets.rend()) {
        return nullptr;
    }
    ZSL_LOGI(
        "[%s] %s INFO: (operate at R%u) quality check failed! set latest frame anyway : needCheckSet size=%zu, "
        "index=%d",
        log.function, log.name(), requestNo, checkSets.size(), static_cast<int>(whole->first));
    return &whole->second;
}

/// Releases what is still locked of the burst, but for the frame that the calling request is about to use.
void unlockTakenFrames(BurstCall& call, RequestLog const& log, RequestNo requestNo, Burst const& burst) {
    auto const served = burst.mapping.find(requestNo);
    for (FrameNo const frameNo : burst.needLockFrames) {
        auto const* const frame = call.findInHistory(frameNo);
        bool const isServed = served != burst.mapping.end() && served->second == frameNo;
        if (frame != nullptr && frame->locked && !isServed) {
            call.addFrameOp(frameNo, ISelector::OpT::Unlock);
            ZSL_MEMBER_LOGD(log, "[%s] %s UNLOCK: (operate at R%u) hF%u", log.function, log.name(), requestNo,
                            frameNo);
        }
    }
}

}  // namespace

ISelector::SelectOutputParams SampleSelector::ispHidlSelect_LatestWithQuality(SelectInputParams const& in,
                                                                              LogName const& logName,
                                                                              uint32_t policy) const {
    if (in.requiredFrames.empty()) {
        return {};
    }
    RequestLog const log{"ispHidlSelect_LatestWithQuality", logName, mLogLevel};
    BurstCall call(log, kLines, in);
    Burst* const burst = call.findOrCreate(mIspHidlReqs_LatestWithQuality);
    if (burst == nullptr) {
        return {};
    }
    call.applyTimeout(*burst, mTimeout);
    if (burst->mapping.empty()) {
        if (burst->needLockFrames.empty() && !setUp(call, log, in, *burst)) {
            return {};
        }
        lockForCheck(call, log, in.requestNo, *burst);
        auto const selectFrom = [&](auto const& history) {
            return multiFrameSelect(in, RequiredKeys(in.requiredFrames, in.ispHidlFrameCnt), history, logName,
                                    policy);
        };
        if (!judge(call, log, in.requestNo, burst->needCheckSet, selectFrom)) {
            return call.takeOutput();
        }
        CheckSet const* const chosen = choose(call, log, in.requestNo, burst->needCheckSet);
        if (chosen == nullptr) {
            return call.takeOutput();
        }
        for (auto const& [index, frameNo] : chosen->frames) {
            call.assign(*burst, index, frameNo);
        }
        call.logMapping(*burst);
    }
    call.serveAndLock(*burst);
    if (burst->needSelectReqs.empty()) {
        unlockTakenFrames(call, log, in.requestNo, *burst);
        call.erase(mIspHidlReqs_LatestWithQuality);
    }
    return call.takeOutput();
}

}  // namespace NSCam::Sample
