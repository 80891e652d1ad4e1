// Reprocess burst of the newest frames: those known when the burst starts, in flight ones included, are
// assigned once, oldest to newest, and must go on qualifying on every call.
#include "zsl/policy/Rendering.h"
#include "zsl/sample/ReprocessBurst.h"
#include "zsl/sample/include/SampleUtils.h"

namespace NSCam::Sample {

namespace {

using ZslPolicy::kNoFrame;

constexpr BurstLines kLines{/*unknownBurst=*/__LINE__, /*notCreated=*/__LINE__, /*noMapping=*/__LINE__};

std::string renderIndexed(std::vector<FrameNo> const& frames) {
    std::string text;
    for (size_t index = 0; index < frames.size(); ++index) {
        text += ZslPolicy::format("[%zu]F%u ", index, frames[index]);
    }
    return text;
}

/// Assigns the newest frames that were not collected ahead; all requests go non-ZSL when there are too few.
void assignLatest(BurstCall const& call, RequestLog const& log, ISelector::SelectInputParams const& in,
                  BurstRecord& burst) {
    auto const curFrameNumbers = knownFrames(in, [&](char const* where, FrameNo frameNo) {
        bool const isPreCollected = in.preCollects.count(frameNo) != 0;
        if (isPreCollected) {
            ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: %s get F%u, skip pre-collect frames={%s}", log.function,
                            log.name(), where, frameNo, ZslPolicy::toString(in.preCollects).c_str());
        }
        return isPreCollected;
    });
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
void verify(BurstCall& call, ISelector::SelectInputParams const& in, BurstRecord& burst) {
    auto const& need = in.requiredFrames.begin()->second;
    SensorModes const reqSensorModes(in.sensorModes, need.reqSensorIds);
    bool failed = false;
    for (auto& [requestNo, frameNo] : burst.mapping) {
        auto const* const frame = call.findInHistory(frameNo);
        if (frame == nullptr) {
            frameNo = failed ? kNoFrame : frameNo;
            continue;
        }
        failed = failed || !isQualify(*frame, need.needStreams, 0, false, reqSensorModes, in.targetEv);
        if (failed) {
            if (frame->locked) {
                call.addFrameOp(frameNo, ISelector::OpT::Unlock);
            }
            frameNo = kNoFrame;
        }
    }
    if (failed) {
        call.logMapping(burst, "Verify failed! ");
    }
}

}  // namespace

ISelector::SelectOutputParams SampleSelector::ispHidlSelect_Latest(SelectInputParams const& in,
                                                                   LogName const& logName) const {
    if (in.requiredFrames.empty()) {
        return {};
    }
    RequestLog const log{"ispHidlSelect_Latest", logName, mLogLevel};
    BurstCall call(log, kLines, in);
    IspHidlReqObj_Latest* const burst = call.findOrCreate(mIspHidlReqs_Latest);
    if (burst == nullptr) {
        return {};
    }
    call.applyTimeout(*burst, mTimeout);
    if (burst->mapping.empty()) {
        assignLatest(call, log, in, *burst);
    }
    verify(call, in, *burst);
    call.serveAndLock(*burst);
    if (burst->needSelectReqs.empty()) {
        call.erase(mIspHidlReqs_Latest);
    }
    return call.takeOutput();
}

}  // namespace NSCam::Sample
