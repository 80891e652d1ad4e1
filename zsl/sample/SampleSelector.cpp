#include "zsl/sample/SampleSelector.h"

#include <vzrcam/Properties.h>

#include "zsl/policy/Rendering.h"
#include "zsl/sample/Log.h"
#include "zsl/sample/ReprocessBurst.h"

namespace NSCam::Sample {

namespace Properties = Utils::Properties;
namespace Policy = ZslPolicy::Policy;

namespace {

constexpr int64_t kDefaultTimeoutMs = 1000;
constexpr uint32_t kDefaultPolicy =
    Policy::AFStable | Policy::AESoftStable | Policy::ZeroShutterDelay | Policy::ContinuousFrame;
// The check sets of the quality check are runs of frames already, wherever the shutter was.
constexpr uint32_t kQualityCheckPolicy = Policy::AFStable | Policy::AESoftStable | Policy::ContinuousFrame;

constexpr int kInvalidBurstLine = 146;
constexpr int kNoSelectorLine = 190;

enum Hint : int32_t { kMultiFrame = 0, kFifo = 1, kLatest = 2, kLatestWithQuality = 3, kMfnrHdr = 4 };

template <typename Record>
std::string dumpKeys(std::map<RequestNo, Record> const& bursts) {
    return bursts.empty() ? "null" : renderKeys(bursts);
}

}  // namespace

SampleSelector::SampleSelector()
    : mTimeout(kDefaultTimeoutMs),
      mLogLevel(Properties::property_get_int32("vendor.debug.camera.log.zsl.sample", 1)),
      mPolicy(kDefaultPolicy) {
    ZSL_LOGD("[%s] SampleSelector ctor(%p), mLogLevel(%d)", "SampleSelector", static_cast<void*>(this), mLogLevel);
}

SampleSelector::~SampleSelector() {
    ZSL_LOGD("[%s] SampleSelector dtor(%p)", "~SampleSelector", static_cast<void*>(this));
}

char const* SampleSelector::getName() const { return kLogTag; }

int32_t SampleSelector::invokeADB() {
    static bool const isRuntimeSwitchOn =
        Properties::property_get_bool("vendor.debug.camera.zsl.runtime.adb", 0) != 0;
    static constexpr char const* kModeLabel = "runtime";
    if (!isRuntimeSwitchOn) {
        return kMultiFrame;
    }
    int64_t const policy = Properties::property_get_int64("vendor.debug.camera.zsl.force.policy", -1);
    int64_t const timeoutMs = Properties::property_get_int64("vendor.debug.camera.zsl.force.timeout", -1);
    int64_t const forcedHint = Properties::property_get_int64("vendor.debug.camera.zsl.force.hint", -1);
    if (policy >= 0) {
        mPolicy = static_cast<uint32_t>(policy);
        ZSL_LOGI("[%s] %s adb set policy(%u)=%s", "invokeADB", kModeLabel, mPolicy, toString(mPolicy).c_str());
    }
    if (timeoutMs >= 0) {
        mTimeout = timeoutMs;
        ZSL_LOGI("[%s] %s adb set timeout=%ldms", "invokeADB", kModeLabel, mTimeout);
    }
    if (forcedHint < 0) {
        return kMultiFrame;
    }
    int32_t const hint = static_cast<int32_t>(static_cast<uint32_t>(forcedHint));
    ZSL_LOGI("[%s] %s adb set hint=%d", "invokeADB", kModeLabel, hint);
    return hint;
}

void SampleSelector::dumpBursts(RequestNo requestNo) const {
    bool const anyBurst = !mIspHidlReqs.empty() || !mIspHidlReqs_Latest.empty() ||
                          !mIspHidlReqs_LatestWithQuality.empty() || !mIspHidlReqs_PreCollect.empty();
    if (anyBurst && mLogLevel >= 1) {
        ZSL_LOGD(
            "[%s] DEBUG: R%u dump mIspHidlReqs={%s}, mIspHidlReqs_Latest={%s}, "
            "mIspHidlReqs_LatestWithQuality={%s}, mIspHidlReqs_PreCollect={%s}",
            "select", requestNo, dumpKeys(mIspHidlReqs).c_str(), dumpKeys(mIspHidlReqs_Latest).c_str(),
            dumpKeys(mIspHidlReqs_LatestWithQuality).c_str(), dumpKeys(mIspHidlReqs_PreCollect).c_str());
    }
}

ISelector::SelectOutputParams SampleSelector::select(SelectInputParams const& in) {
    int32_t const hint = invokeADB();
    dumpBursts(in.requestNo);

    if (hint == kMultiFrame) {
        LogName const logName("multiFrame", in, mTimeout);
        ZSL_LOGI("[%s] %s INFO: hint=%d, policy=%s", "select", logName.c_str(), hint, toString(mPolicy).c_str());
        return multiFrameSelect(in, logName, mPolicy);
    }
    if (in.ispHidlFrameIdx < 0 || in.ispHidlFrameCnt < 1) {
        LogName const logName("none", in, mTimeout);
        ZSL_LOGE(
            "[%s] %s INVALID: ispHidl request (idx=%d, cnt=%d), use multiFrameSelect with policy=%s instead. "
            "(%s){#%d:%s}",
            "select", logName.c_str(), in.ispHidlFrameIdx, in.ispHidlFrameCnt, toString(mPolicy).c_str(), "select",
            kInvalidBurstLine, kSelectorPath);
        return multiFrameSelect(in, logName, mPolicy);
    }
    switch (hint) {
        case kFifo: {
            LogName const logName("ispHidl", in, mTimeout);
            ZSL_LOGI("[%s] %s INFO: hint=%d, policy=%s", "select", logName.c_str(), hint,
                     toString(mPolicy).c_str());
            return ispHidlSelect(in, logName, mPolicy);
        }
        case kLatest: {
            LogName const logName("ispHidlSelect_Latest", in, mTimeout);
            ZSL_LOGI("[%s] %s INFO: hint=%d, policy=None", "select", logName.c_str(), hint);
            return ispHidlSelect_Latest(in, logName);
        }
        case kLatestWithQuality: {
            LogName const logName("ispHidlSelect_LatestWithQuality", in, mTimeout);
            ZSL_LOGI("[%s] %s INFO: hint=%d, policy=%s", "select", logName.c_str(), hint,
                     toString(kQualityCheckPolicy).c_str());
            return ispHidlSelect_LatestWithQuality(in, logName, kQualityCheckPolicy);
        }
        case kMfnrHdr: return ispHidlSelect_MFNR_HDR(in, LogName("ispHidlSelect_MFNR_HDR", in, mTimeout));
        default: {
            LogName const logName("none", in, mTimeout);
            ZSL_LOGE(
                "[%s] %s INVALID: no selector has been chosen, use multiFrameSelect with policy=%s instead "
                "(%s){#%d:%s}",
                "select", logName.c_str(), toString(mPolicy).c_str(), "select", kNoSelectorLine, kSelectorPath);
            return multiFrameSelect(in, logName, mPolicy);
        }
    }
}

}  // namespace NSCam::Sample

extern "C" void createCustomSelector(std::shared_ptr<NSCam::ZslPolicy::ISelector>& selector) {
    selector = std::make_shared<NSCam::Sample::SampleSelector>();
}
