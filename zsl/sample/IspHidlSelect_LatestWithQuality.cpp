// Reprocess burst of the newest frames whose quality holds up. One frame more than the burst needs is taken and
// locked when the burst starts; the older and the newer run of the burst's length among them (the check sets)
// are judged once each by the continuous selection, and the newest that passes serves the burst.
#include <algorithm>

#include "zsl/sample/SampleSelector.h"

namespace NSCam::Sample {

namespace {

using ZslPolicy::kNoFrame;
using CheckSet = SampleSelector::CustomQualityCheckSet;
using CheckSets = std::map<FrameNo, CheckSet>;
using Burst = SampleSelector::IspHidlReqObj_LatestWithQuality;
using BurstRecordInWork = BurstInWork<Burst>;

constexpr BurstLines kLines{/*unknownBurst=*/714, /*notCreated=*/726, /*noMapping=*/955};

constexpr size_t kMaxCheckSets = 2;  // the older and the newer one
constexpr int8_t kNotJudged = 0;
constexpr int8_t kPassed = 1;
constexpr int8_t kFailed = -1;

std::string renderCheckSets(CheckSets const& checkSets) {
    std::string text;
    for (auto const& [firstFrame, checkSet] : checkSets) {
        ZslPolicy::append(text, "[index=F%u, check=%d]", firstFrame, checkSet.check);
        for (auto const& [index, frameNo] : checkSet.frames) {
            ZslPolicy::append(text, "[%u]%u ", index, frameNo);
        }
    }
    return text;
}

/// The numbers of all frames the host knows, ascending: history and in flight.
std::vector<FrameNo> knownFrames(ISelector::SelectInputParams const& in) {
    std::vector<FrameNo> frameNos;
    frameNos.reserve(in.history.size() + in.inflight.size());
    for (auto const& entry : in.history) {
        frameNos.push_back(entry.second.frameNo);
    }
    for (auto const& entry : in.inflight) {
        frameNos.push_back(entry.second.frameNo);
    }
    makeOrderedSet(frameNos);
    return frameNos;
}

/// Takes the newest frames and forms the check sets. False when the host knows too few frames for the burst.
bool setUp(BurstCall const& call, RequestLog const& log, ISelector::SelectInputParams const& in, Burst& burst) {
    auto const curFrameNumbers = knownFrames(in);
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

/// The check set's first frame that has not reached the history, or the end of its frames.
auto findMissingFrame(BurstCall const& call, CheckSet const& checkSet) {
    return std::find_if(checkSet.frames.begin(), checkSet.frames.end(),
                        [&](auto const& entry) { return call.findInHistory(entry.second) == nullptr; });
}

/// Judges the check sets that have not been judged, by what `selectFrom(history)` selects from a history that holds
/// the check set's frames alone. False when a check set has to wait for a frame; what is judged stays judged.
template <typename SelectFrom>
bool judge(BurstCall const& call, RequestLog const& log, RequestNo requestNo, BurstRecordInWork& burst,
           SelectFrom selectFrom) {
    for (auto const& [firstFrame, checkSet] : burst->needCheckSet) {
        if (checkSet.check != kNotJudged) {
            continue;
        }
        if (auto const missing = findMissingFrame(call, checkSet); missing != checkSet.frames.end()) {
            ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: (operate at R%u) cannot find F%d in history yet, pending...",
                            log.function, log.name(), requestNo, static_cast<int>(missing->second));
            return false;
        }
        std::map<FrameNo, ISelector::HistoryFrame> history;
        for (auto const& [index, frameNo] : checkSet.frames) {
            history.emplace_hint(history.end(), frameNo, *call.findInHistory(frameNo));
        }
        bool const isPassed = selectFrom(history).selectedFrames.size() == call.size();
        burst.change().needCheckSet.at(firstFrame).check = isPassed ? kPassed : kFailed;
    }
    ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: after check quality : needCheckSet={%s}", log.function, log.name(),
                    renderCheckSets(burst->needCheckSet).c_str());
    return true;
}

/// The newest check set that passed; without one the newest among those with the most frames, so that a short one
/// leaves no request without an answer while a longer one stands.
CheckSet const& choose(RequestLog const& log, RequestNo requestNo, CheckSets const& checkSets) {
    auto const passed = std::find_if(checkSets.rbegin(), checkSets.rend(),
                                     [](auto const& entry) { return entry.second.check == kPassed; });
    if (passed != checkSets.rend()) {
        ZSL_LOGI(
            "[%s] %s INFO: (operate at R%u) quality check success! set latest frame with quality check : index=%d",
            log.function, log.name(), requestNo, static_cast<int>(passed->first));
        return passed->second;
    }
    auto const longest = std::max_element(checkSets.rbegin(), checkSets.rend(), [](auto const& a, auto const& b) {
        return a.second.frames.size() < b.second.frames.size();
    });
    ZSL_LOGI(
        "[%s] %s INFO: (operate at R%u) quality check failed! set latest frame anyway : needCheckSet size=%zu, "
        "index=%d",
        log.function, log.name(), requestNo, checkSets.size(), static_cast<int>(longest->first));
    return longest->second;
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
    BurstInWork burst(mIspHidlReqs_LatestWithQuality, call.base());
    if (!call.findOrCreate(burst)) {
        return {};
    }
    if (in.elapsedMs >= mTimeout) {
        call.timeOut(burst.change());
    }
    if (burst->mapping.empty()) {
        if (burst->needLockFrames.empty() && !setUp(call, log, in, burst.change())) {
            return {};
        }
        lockForCheck(call, log, in.requestNo, *burst);
        auto const selectFrom = [&](auto const& history) {
            return multiFrameSelect(in, in.ispHidlFrameCnt, history, logName, policy);
        };
        if (!judge(call, log, in.requestNo, burst, selectFrom)) {
            return call.takeOutput();
        }
        for (auto const& [index, frameNo] : choose(log, in.requestNo, burst->needCheckSet).frames) {
            call.assign(burst.change(), index, frameNo);
        }
        call.logMapping(*burst);
    }
    call.serveAndLock(*burst);
    if (call.isOver(*burst)) {
        unlockTakenFrames(call, log, in.requestNo, *burst);
    }
    return call.end(burst);
}

}  // namespace NSCam::Sample
