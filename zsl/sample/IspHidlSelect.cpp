// Reprocess burst, first in first out: the continuous selection chooses the frames of the whole burst at once,
// and each request is handed its own in turn.
#include "zsl/sample/SampleSelector.h"

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
    BurstInWork burst(mIspHidlReqs, call.base());
    if (!call.findOrCreate(burst)) {
        return {};
    }
    if (burst->mapping.empty()) {
        auto const proposed = multiFrameSelect(in, in.ispHidlFrameCnt, in.history, logName, policy).selectedFrames;
        if (proposed.size() < call.size()) {
            ZSL_MEMBER_LOGD(log, "[%s] %s MAPPING(R%u): pending due to Selected(%zu) < ispHidlFrameCnt(%d)",
                            log.function, log.name(), in.requestNo, proposed.size(), in.ispHidlFrameCnt);
            return {};
        }
        for (auto const& [index, result] : proposed) {
            call.assign(burst.change(), static_cast<uint32_t>(index), result.frameNo);
        }
        call.logMapping(*burst);
    }
    call.serveAndLock(*burst);
    return call.end(burst);
}

}  // namespace NSCam::Sample
