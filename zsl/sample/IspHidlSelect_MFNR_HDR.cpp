// A burst of noise-reduction frames (MFLL), served with the newest frames, followed by a burst of HDR frames
// that were collected ahead and carry a hint in their metadata. A request of the other phase waits.
#include <vzrcam/IMetadata.h>

#include <optional>

#include "zsl/policy/Rendering.h"
#include "zsl/sample/SampleSelector.h"
#include "zsl/sample/include/SampleUtils.h"

namespace NSCam::Sample {

namespace {

using HdrBurst = SampleSelector::IspHidlReqObj_PreCollect;
using HdrRequest = HdrBurst::PreCollectObj;

constexpr BurstLines kLines{
    /*unknownBurst=*/__LINE__,
    /*notCreated=*/__LINE__,
    /*noMapping=*/__LINE__,
};
constexpr int kNoEvLine = __LINE__;

constexpr int32_t kHdrKey = 1;  // HDR answers stand under this frame index, MFLL ones under 0

constexpr int32_t kCreated = 0;
constexpr int32_t kFound = 1;
constexpr int32_t kSelected = 2;

// The phase of the process, shared by all its selectors; calls are serialised by the host.
bool status_MFHDR = false;       // false: MFLL, true: HDR
int32_t currentCount_MFHDR = 0;  // frames selected so far in this phase

std::string renderHdrMapping(std::map<RequestNo, HdrRequest> const& mapping) {
    std::string text;
    for (auto const& [requestNo, request] : mapping) {
        ZslPolicy::append(text, "R%u={.targetFrameNo=%u .evSetting=%d .status=%d} ", requestNo,
                          request.targetFrameNo, request.evSetting, request.status);
    }
    return text;
}

void logHdrMapping(RequestLog const& log, HdrBurst const& burst) {
    ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: mapping={%s}", log.function, log.name(),
                    renderHdrMapping(burst.mapping).c_str());
}

/// The request's entry in the burst, made on its first call. Null when the request has no readable exposure
/// compensation.
HdrRequest const* findOrCreateRequest(RequestLog const& log, ISelector::SelectInputParams const& in,
                                      BurstInWork<HdrBurst>& burst) {
    if (auto const known = burst->mapping.find(in.requestNo); known != burst->mapping.end()) {
        return &known->second;
    }
    auto const ev = tryGetEVSetting(in.requiredFrames.begin()->second.inAppMeta);
    if (!ev) {
        ZSL_LOGE(
            "[%s] %s INVALID: fail to get VZR_CONTROL_AE_EXPOSURE_COMPENSATION, IspHidlReqObj={%s} (%s){#%d:%s}",
            log.function, log.name(), renderBursts(burst.all()).c_str(), log.function, kNoEvLine, kSelectorPath);
        return nullptr;
    }
    auto const [created, isInserted] =
        burst.change().mapping.insert({in.requestNo, HdrRequest{ZslPolicy::kNoFrame, *ev, kCreated}});
    if (!isInserted) {
        ZSL_LOGE("[Fatal] [%s] %s INVALID: fail to create a new mapping (%s){#%d:%s}", log.function, log.name(),
                 log.function, kLines.noMapping, kSelectorPath);
        fatal(log.function, kLines.noMapping);
    }
    return &created->second;
}

/// Whether one of the frame's application streams carries the hint. Null metadata is reported and passed over.
bool hasPreCollectHint(ISelector::HistoryFrame const& frame) {
    for (auto const& [streamId, meta] : frame.appMetas) {
        if (tryGetPreCollectHint(meta)) {
            return true;
        }
    }
    return false;
}

/// The lowest history frame with the hint, if it is the request's turn. Out of turn the walk goes on to the end,
/// for the reports of null metadata.
std::optional<FrameNo> scanForHint(RequestLog const& log, ISelector::SelectInputParams const& in,
                                   int32_t evSetting) {
    for (auto const& [frameNo, frame] : in.history) {
        if (hasPreCollectHint(frame) && in.ispHidlFrameIdx == currentCount_MFHDR) {
            ZSL_LOGI(
                "[%s] %s DEBUG: F%u get pre-collect hint, ispHidlFrameIdx=%d, currentCount_MFHDR=%d, control EV=%d",
                log.function, log.name(), frameNo, in.ispHidlFrameIdx, currentCount_MFHDR, evSetting);
            return frameNo;
        }
    }
    return std::nullopt;
}

/// Serves an HDR request in its turn, once a frame with the hint is in the history.
ISelector::SelectOutputParams selectHdr(RequestLog const& log, ISelector::SelectInputParams const& in,
                                        std::map<RequestNo, HdrBurst>& bursts) {
    BurstCall const call(log, kLines, in);
    BurstInWork burst(bursts, call.base());
    HdrRequest const* const request = call.findOrCreate(burst) ? findOrCreateRequest(log, in, burst) : nullptr;
    if (request == nullptr) {
        return {};
    }
    ISelector::SelectOutputParams out;
    int32_t count = currentCount_MFHDR;
    logHdrMapping(log, *burst);
    if (auto const found = scanForHint(log, in, request->evSetting)) {
        burst.change().mapping[in.requestNo] = {*found, request->evSetting, kFound};
    }
    logHdrMapping(log, *burst);
    if (count == in.ispHidlFrameIdx && request->status == kFound &&
        call.findInHistory(request->targetFrameNo) != nullptr) {
        ZSL_MEMBER_LOGD(log, "[%s] %s SELECT: R%u [hF%u]", log.function, log.name(), in.requestNo,
                        request->targetFrameNo);
        out.selectedFrames[kHdrKey] = {request->targetFrameNo, 0};
        burst.change().mapping[in.requestNo].status = kSelected;
        ++count;
        ZSL_LOGI("[%s] %s STATE: select HDR frames #%zu, current frames #%d->#%d", log.function, log.name(),
                 out.selectedFrames.size(), currentCount_MFHDR, count);
    }
    logHdrMapping(log, *burst);
    if (count >= in.ispHidlFrameCnt) {
        call.logErase(burst);
        ZSL_LOGI("[%s] %s STATE: get all HDR frames #%d, current frames #%d, change status to MFLL", log.function,
                 log.name(), in.ispHidlFrameCnt, count);
        burst.erase();
        status_MFHDR = false;
        count = 0;
    }
    currentCount_MFHDR = count;
    return out;
}

}  // namespace

ISelector::SelectOutputParams SampleSelector::ispHidlSelect_MFNR_HDR(SelectInputParams const& in,
                                                                     LogName const& logName) const {
    if (in.requiredFrames.empty()) {
        return {};
    }
    RequestLog const log{"ispHidlSelect_MFNR_HDR", logName, mLogLevel};
    ZSL_MEMBER_LOGD(log, "[%s] DEBUG: curPreCollects(#%zu)={%s}", log.function, in.preCollects.size(),
                    ZslPolicy::toString(in.preCollects).c_str());
    bool const isPreCollected = tryGetPreCollectHint(in.requiredFrames.begin()->second.inAppMeta);
    if (status_MFHDR && isPreCollected) {
        return selectHdr(log, in, mIspHidlReqs_PreCollect);
    }
    if (status_MFHDR) {
        ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: not pre-collect, IspHidlReqObj={%s}, send to pending", log.function,
                        log.name(), renderBursts(mIspHidlReqs_PreCollect).c_str());
        return {};
    }
    if (isPreCollected) {
        ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: is pre-collect, IspHidlReqObj={%s}, send to pending", log.function,
                        log.name(), renderBursts(mIspHidlReqs_PreCollect).c_str());
        return {};
    }
    SelectOutputParams out = ispHidlSelect_Latest(in, logName);
    if (size_t const selected = out.selectedFrames.size(); selected > 0) {
        int32_t const before = currentCount_MFHDR;
        currentCount_MFHDR += static_cast<int32_t>(selected);
        ZSL_LOGI("[%s] %s STATE: select MFLL frames #%zu, current frames #%d->#%d", log.function, log.name(),
                 selected, before, currentCount_MFHDR);
    }
    if (currentCount_MFHDR >= in.ispHidlFrameCnt) {
        ZSL_LOGI("[%s] %s STATE: get all MFLL frames #%d, current frames #%d, change status to HDR", log.function,
                 log.name(), in.ispHidlFrameCnt, currentCount_MFHDR);
        currentCount_MFHDR = 0;
        status_MFHDR = true;
    }
    return out;
}

}  // namespace NSCam::Sample
