#include "zsl/sample/ReprocessBurst.h"

#include <algorithm>

namespace NSCam::Sample {

using ZslPolicy::kNoFrame;

std::string renderMapping(std::map<RequestNo, FrameNo> const& mapping) {
    std::string text;
    for (auto const& [requestNo, frameNo] : mapping) {
        text += "R" + std::to_string(requestNo) + "[hF" + std::to_string(frameNo) + "] ";
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

void BurstCall::timeOut(BurstRecord& burst) {
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
    ZSL_LOGI("[%s] %s MAPPING: (TIMEOUT: operate at R%u) %s", mLog.function, mLog.name(), mIn.requestNo,
             renderMapping(burst.mapping).c_str());
}

void BurstCall::serveAndLock(BurstRecord const& burst) {
    serve(burst);
    lockAssignedFrames(burst);
}

void BurstCall::serve(BurstRecord const& burst) {
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
    ZSL_MEMBER_LOGD(mLog, "[%s] %s SELECT: R%u [hF%u]", mLog.function, mLog.name(), requestNo, frameNo);
}

void BurstCall::lockAssignedFrames(BurstRecord const& burst) {
    bool const isServed = !mOut.selectedFrames.empty();
    for (auto const& [requestNo, frameNo] : burst.mapping) {
        bool const isWaiting =
            burst.needSelectReqs.count(requestNo) != 0 && !(isServed && requestNo == mIn.requestNo);
        if (frameNo == kNoFrame || !isWaiting) {
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

void BurstCall::logMapping(BurstRecord const& burst) const {
    ZSL_LOGI("[%s] %s MAPPING: (operate at R%u) %s", mLog.function, mLog.name(), mIn.requestNo,
             renderMapping(burst.mapping).c_str());
}

}  // namespace NSCam::Sample
