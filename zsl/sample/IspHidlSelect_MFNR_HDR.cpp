// A burst of noise-reduction frames (MFLL), served with the newest frames, followed by a burst of HDR frames
// that were collected ahead and carry a hint in their metadata. A request of the other phase waits.
#include <vzrcam/IMetadata.h>

#include "zsl/policy/Rendering.h"
#include "zsl/sample/ReprocessBurst.h"
#include "zsl/sample/include/SampleUtils.h"

namespace NSCam::Sample {

namespace {

using HdrBurst = SampleSelector::IspHidlReqObj_PreCollect;
using HdrRequest = HdrBurst::PreCollectObj;

constexpr BurstLines kLines{/*unknownBurst=*/__LINE__, /*notCreated=*/__LINE__, /*noMapping=*/__LINE__};

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
        text += ZslPolicy::format("R%u={.targetFrameNo=%u .evSetting=%d .status=%d} ", requestNo,
                                  request.targetFrameNo, request.evSetting, request.status);
    }
    return text;
}

void logHdrMapping(RequestLog const& log, HdrBurst const& burst) {
    ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: mapping={%s}", log.function, log.name(),
                    renderHdrMapping(burst.mapping).c_str());
}

/// Counts the frames of an answer towards the phase.
void countSelected(RequestLog const& log, char const* phase, size_t selected) {
    int32_t const before = currentCount_MFHDR;
    currentCount_MFHDR += static_cast<int32_t>(selected);
    ZSL_LOGI("[%s] %s STATE: select %s frames #%zu, current frames #%d->#%d", log.function, log.name(), phase,
             selected, before, currentCount_MFHDR);
}

void changePhase(RequestLog const& log, char const* from, char const* to, bool isHdrNext, int32_t burstCnt) {
    ZSL_LOGI("[%s] %s STATE: get all %s frames #%d, current frames #%d, change status to %s", log.function,
             log.name(), from, burstCnt, currentCount_MFHDR, to);
    currentCount_MFHDR = 0;
    status_MFHDR = isHdrNext;
}

/// The request's entry in the burst, made on its first call. Null when the request has no readable exposure
/// compensation.
HdrRequest* findOrCreateRequest(RequestLog const& log, ISelector::SelectInputParams const& in, HdrBurst& burst,
                                std::map<RequestNo, HdrBurst> const& bursts) {
    if (auto const known = burst.mapping.find(in.requestNo); known != burst.mapping.end()) {
        return &known->second;
    }
    auto const ev = tryGetEVSetting(in.requiredFrames.begin()->second.inAppMeta);
    if (!ev) {
        ZSL_LOGE(
            "[%s] %s INVALID: fail to get VZR_CONTROL_AE_EXPOSURE_COMPENSATION, IspHidlReqObj={%s} (%s){#%d:%s}",
            log.function, log.name(), renderBursts(bursts).c_str(), log.function, __LINE__, kSelectorPath);
        return nullptr;
    }
    auto const [created, isInserted] =
        burst.mapping.insert({in.requestNo, HdrRequest{ZslPolicy::kNoFrame, *ev, kCreated}});
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

/// Gives the request, if it is its turn, the lowest history frame with the hint. Out of turn the walk goes on to
/// the end, for the reports of null metadata.
void scanForHint(RequestLog const& log, ISelector::SelectInputParams const& in, HdrRequest& request) {
    for (auto const& [frameNo, frame] : in.history) {
        if (!hasPreCollectHint(frame) || in.ispHidlFrameIdx != currentCount_MFHDR) {
            continue;
        }
        ZSL_LOGI(
            "[%s] %s DEBUG: F%u get pre-collect hint, ispHidlFrameIdx=%d, currentCount_MFHDR=%d, control EV=%d",
            log.function, log.name(), frameNo, in.ispHidlFrameIdx, currentCount_MFHDR, request.evSetting);
        request.targetFrameNo = frameNo;
        request.status = kFound;
        return;
    }
}

/// Serves an HDR request in its turn, once a frame with the hint is in the history.
ISelector::SelectOutputParams selectHdr(RequestLog const& log, ISelector::SelectInputParams const& in,
                                        std::map<RequestNo, HdrBurst>& bursts) {
    BurstCall const call(log, kLines, in);
    HdrBurst* const burst = call.findOrCreate(bursts);
    if (burst == nullptr) {
        return {};
    }
    HdrRequest* const request = findOrCreateRequest(log, in, *burst, bursts);
    if (request == nullptr) {
        return {};
    }
    ISelector::SelectOutputParams out;
    logHdrMapping(log, *burst);
    scanForHint(log, in, *request);
    logHdrMapping(log, *burst);
    if (currentCount_MFHDR == in.ispHidlFrameIdx && request->status == kFound &&
        call.findInHistory(request->targetFrameNo) != nullptr) {
        ZSL_MEMBER_LOGD(log, "[%s] %s SELECT: R%u [hF%u]", log.function, log.name(), in.requestNo,
                        request->targetFrameNo);
        out.selectedFrames[kHdrKey] = {request->targetFrameNo, 0};
        request->status = kSelected;
        countSelected(log, "HDR", out.selectedFrames.size());
    }
    logHdrMapping(log, *burst);
    if (currentCount_MFHDR >= in.ispHidlFrameCnt) {
        call.erase(bursts);
        changePhase(log, "HDR", "MFLL", false, in.ispHidlFrameCnt);
    }
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
    if (status_MFHDR != isPreCollected) {
        ZSL_MEMBER_LOGD(log, "[%s] %s DEBUG: %s pre-collect, IspHidlReqObj={%s}, send to pending", log.function,
                        log.name(), isPreCollected ? "is" : "not", renderBursts(mIspHidlReqs_PreCollect).c_str());
        return {};
    }
    if (status_MFHDR) {
        return selectHdr(log, in, mIspHidlReqs_PreCollect);
    }
    SelectOutputParams out = ispHidlSelect_Latest(in, logName);
    if (!out.selectedFrames.empty()) {
        countSelected(log, "MFLL", out.selectedFrames.size());
    }
    if (currentCount_MFHDR >= in.ispHidlFrameCnt) {
        changePhase(log, "MFLL", "HDR", true, in.ispHidlFrameCnt);
    }
    return out;
}

}  // namespace NSCam::Sample
