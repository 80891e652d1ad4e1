// Reprocess burst of the newest frames: those known when the burst starts, in flight ones included, are
// assigned once, oldest to newest, and must go on qualifying on every call.
#include <algorithm>

#include "zsl/policy/Rendering.h"
#include "zsl/sample/SampleSelector.h"
#include "zsl/sample/include/SampleUtils.h"

namespace NSCam::Sample {

namespace {

using ZslPolicy::kNoFrame;

constexpr BurstLines kLines{
    /*unknownBurst=*/__LINE__,
    /*notCreated=*/__LINE__,
    /*noMapping=*/__LINE__,
};

std::string renderIndexed(std::vector<FrameNo> const& frames) {
    std::string text;
    for (size_t index = 0; index < frames.size(); ++index) {
        text += "[" + std::to_string(index) + "]F" + std::to_string(frames[index]) + " ";
    }
    return text;
}

/// The numbers of the frames that the host knows and did not collect ahead, ascending.
std::vector<FrameNo> candidates(RequestLog const& log, ISelector::SelectInputParams const& in) {
    std::vector<FrameNo> frameNos;
    frameNos.reserve(in.history.size() + in.inflight.size());
    for (auto const& [key, frame] : in.history) {
        if (in.preCollects.count(frame.frameNo) == 0) {
            frameNos.push_back(frame.frameNo);
        } else {
            ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: history get F%u, skip pre-collect frames={%s}", log.function,
                            log.name(), frame.frameNo, ZslPolicy::toString(in.preCollects).c_str());
        }
    }
    for (auto const& [key, frame] : in.inflight) {
        if (in.preCollects.count(frame.frameNo) == 0) {
            frameNos.push_back(frame.frameNo);
        } else {
            ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: inflight get F%u, skip pre-collect frames={%s}", log.function,
                            log.name(), frame.frameNo, ZslPolicy::toString(in.preCollects).c_str());
        }
    }
    makeOrderedSet(frameNos);
    return frameNos;
}

/// Assigns the newest candidates; all requests go non-ZSL when there are too few.
void assignLatest(BurstCall const& call, RequestLog const& log, ISelector::SelectInputParams const& in,
                  BurstRecord& burst) {
    auto const curFrameNumbers = candidates(log, in);
    ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: curFrameNumbers={%s}", log.function, log.name(),
                    renderNumbers(curFrameNumbers, " F", "").c_str());
    if (curFrameNumbers.size() < call.size()) {
        ZSL_MEMBER_LOGD(log,
                        "[%s] %s DEBUG: curFrameNumbers(%d) < ispHidlFrameCnt(%d), send all requests to non-zsl",
                        log.function, log.name(), static_cast<int>(curFrameNumbers.size()), in.ispHidlFrameCnt);
        call.assignNonZsl(burst);
    } else {
        std::vector<FrameNo> const selectLatest(curFrameNumbers.end() - in.ispHidlFrameCnt, curFrameNumbers.end());
        ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: selectLatest={%s}", log.function, log.name(),
                        renderIndexed(selectLatest).c_str());
        for (uint32_t index = 0; index < selectLatest.size(); ++index) {
            call.assign(burst, index, selectLatest[index]);
        }
    }
    call.logMapping(burst);
}

/// Judges the assigned frames again, without their stability. The first that fails turns its request and every
/// later one to non-ZSL, served ones included, and their locked frames are released.
void verify(BurstCall& call, RequestLog const& log, ISelector::SelectInputParams const& in,
            BurstInWork<SampleSelector::IspHidlReqObj_Latest>& burst) {
    auto const& needStreams = in.requiredFrames.begin()->second.needStreams;
    SensorModes const reqSensorModes = requiredSensorModes(in);
    auto const& mapping = burst->mapping;
    auto const failing = std::find_if(mapping.begin(), mapping.end(), [&](auto const& assigned) {
        auto const* const frame = call.findInHistory(assigned.second);
        return frame != nullptr && !isQualify(*frame, needStreams, 0, false, reqSensorModes, in.targetEv);
    });
    if (failing == mapping.end()) {
        return;
    }
    auto& changed = burst.change().mapping;
    for (auto entry = changed.find(failing->first); entry != changed.end(); ++entry) {
        auto const* const frame = call.findInHistory(entry->second);
        if (frame != nullptr && frame->locked) {
            call.addFrameOp(entry->second, ISelector::OpT::Unlock);
        }
        entry->second = kNoFrame;
    }
    ZSL_LOGI("[%s] %s MAPPING: (Verify failed! operate at R%u) %s", log.function, log.name(), in.requestNo,
             renderMapping(mapping).c_str());
}

}  // namespace

ISelector::SelectOutputParams SampleSelector::ispHidlSelect_Latest(SelectInputParams const& in,
                                                                   LogName const& logName) const {
    if (in.requiredFrames.empty()) {
        return {};
    }
    RequestLog const log{"ispHidlSelect_Latest", logName, mLogLevel};
    BurstCall call(log, kLines, in);
    BurstInWork burst(mIspHidlReqs_Latest, call.base());
    if (!call.findOrCreate(burst)) {
        return {};
    }
    if (in.elapsedMs >= mTimeout) {
        call.timeOut(burst.change());
    }
    if (burst->mapping.empty()) {
        assignLatest(call, log, in, burst.change());
    }
    verify(call, log, in, burst);
    call.serveAndLock(*burst);
    return call.end(burst);
}

}  // namespace NSCam::Sample
