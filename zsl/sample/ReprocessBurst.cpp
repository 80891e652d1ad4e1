#include "zsl/sample/ReprocessBurst.h"

#include <algorithm>

namespace NSCam::Sample {

using ZslPolicy::kNoFrame;

std::string renderMapping(std::map<RequestNo, FrameNo> const& mapping) {
    std::string text;
    for (auto const& [requestNo, frameNo] : mapping) {
        text += ZslPolicy::format("R%u[hF%u] ", requestNo, frameNo);
    }
    return text;
}

void makeOrderedSet(std::vector<FrameNo>& frameNos) {
    std::sort(frameNos.begin(), frameNos.end());
    frameNos.erase(std::unique(frameNos.begin(), frameNos.end()), frameNos.end());
}

void BurstCall::assignNonZsl(BurstRecord& burst) const {
    for (uint32_t index = 0; index < size(); ++index) {
        assign(burst, index, kNoFrame);
    }
}

void BurstCall::applyTimeout(BurstRecord& burst, int64_t timeoutMs) {
    if (mIn.elapsedMs < timeoutMs) {
        return;
    }
    if (burst.mapping.empty()) {
        assignNonZsl(burst);
    } else {
        for (RequestNo const requestNo : burst.needSelectReqs) {
            FrameNo const frameNo = std::exchange(burst.mapping[requestNo], kNoFrame);
            HistoryFrame const* const frame = findInHistory(frameNo);
            if (frame != nullptr && frame->locked) {
                addFrameOp(frameNo, ISelector::OpT::Unlock);
                ZSL_MEMBER_LOGD(mLog, "[%s] %s UNLOCK: (TIMEOUT: operate at R%u) R%u [hF%u]", mLog.function,
                                mLog.name(), mIn.requestNo, requestNo, frameNo);
            }
        }
    }
    logMapping(burst, "TIMEOUT: ");
}

void BurstCall::serveAndLock(BurstRecord& burst) {
    serve(burst);
    lockAssignedFrames(burst);
}

void BurstCall::serve(BurstRecord& burst) {
    RequestNo const requestNo = mIn.requestNo;
    if (!burst.needSelectReqs.empty() && *burst.needSelectReqs.begin() != requestNo) {
        ZSL_MEMBER_LOGD(mLog, "[%s] %s DEBUG: cannot select R%u (FIFO), needSelectReqs={%s}", mLog.function,
                        mLog.name(), requestNo, renderNumbers(burst.needSelectReqs, "R", " ").c_str());
        return;
    }
    auto const assigned = burst.mapping.find(requestNo);
    if (assigned == burst.mapping.end()) {
        ZSL_LOGE("[Fatal] [%s] %s INVALID: R%u fail to get request mapping (%s){#%d:%s}", mLog.function,
                 mLog.name(), requestNo, mLog.function, mLines.noMapping, kSelectorPath);
        fatal(mLog.function, mLines.noMapping);
    }
    FrameNo const frameNo = assigned->second;
    if (frameNo != kNoFrame && findInHistory(frameNo) == nullptr) {
        return;  // the frame is still in flight, or gone: the request waits
    }
    mOut.selectedFrames[0] = {frameNo, 0};
    burst.needSelectReqs.erase(requestNo);
    ZSL_MEMBER_LOGD(mLog, "[%s] %s SELECT: R%u [hF%u]", mLog.function, mLog.name(), requestNo, frameNo);
}

void BurstCall::lockAssignedFrames(BurstRecord const& burst) {
    for (auto const& [requestNo, frameNo] : burst.mapping) {
        if (frameNo == kNoFrame || burst.needSelectReqs.count(requestNo) == 0) {
            continue;
        }
        HistoryFrame const* const frame = findInHistory(frameNo);
        if (frame != nullptr && !frame->locked) {
            addFrameOp(frameNo, ISelector::OpT::Lock);
            ZSL_MEMBER_LOGD(mLog, "[%s] %s LOCK: (operate at R%u) R%u [hF%u]", mLog.function, mLog.name(),
                            mIn.requestNo, requestNo, frameNo);
        }
    }
}

void BurstCall::logMapping(BurstRecord const& burst, char const* occasion) const {
    ZSL_LOGI("[%s] %s MAPPING: (%soperate at R%u) %s", mLog.function, mLog.name(), occasion, mIn.requestNo,
             renderMapping(burst.mapping).c_str());
}

}  // namespace NSCam::Sample
