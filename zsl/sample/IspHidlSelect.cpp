// Reprocess burst, first in first out: the continuous selection chooses the frames of the whole burst at once,
// and each request is handed its own in turn.
#include "zsl/sample/ReprocessBurst.h"

namespace NSCam::Sample {

namespace {

constexpr BurstLines kLines{/*unknownBurst=*/333, /*notCreated=*/344, /*noMapping=*/405};

}  // namespace

ISelector::SelectOutputParams SampleSelector::ispHidlSelect(SelectInputParams const& in, LogName const& logName,
                                                            uint32_t policy) const {
    if (in.requiredFrames.empty()) {
        return {};
    }
    RequestLog const log{"ispHidlSelect", logName, mLogLevel};
    BurstCall call(log, kLines, in);
    IspHidlReqObj* const burst = call.findOrCreate(mIspHidlReqs);
    if (burst == nullptr) {
        return {};
    }
    if (burst->mapping.empty()) {
        RequiredKeys const burstKeys(in.requiredFrames, in.ispHidlFrameCnt);
        auto const proposed = multiFrameSelect(in, burstKeys, in.history, logName, policy).selectedFrames;
        if (proposed.size() < call.size()) {
            ZSL_MEMBER_LOGD(log, "[%s] %s MAPPING(R%u): pending due to Selected(%zu) < ispHidlFrameCnt(%d)",
                            log.function, log.name(), in.requestNo, proposed.size(), in.ispHidlFrameCnt);
            return {};
        }
        for (auto const& [index, result] : proposed) {
            call.assign(*burst, static_cast<uint32_t>(index), result.frameNo);
        }
        call.logMapping(*burst);
    }
    call.serveAndLock(*burst);
    if (burst->needSelectReqs.empty()) {
        call.erase(mIspHidlReqs);
    }
    return call.takeOutput();
}

}  // namespace NSCam::Sample
