#include "zsl/sample/include/SampleUtils.h"

#include <vzrcam/IMetadata.h>

#include <algorithm>
#include <initializer_list>
#include <string>

#include "zsl/policy/Rendering.h"
#include "zsl/sample/Log.h"
#include "zsl/sample/MetadataTags.h"

namespace NSCam::Sample {

namespace {

using ZslPolicy::StreamId;
namespace Policy = ZslPolicy::Policy;

using MetadataByStream = std::map<StreamId, IMetadata const*>;

constexpr int kTagNotFoundLine = 159;
constexpr int kAfModeNotFoundLine = 168;
constexpr int kAfStateNotFoundLine = 173;
constexpr int kLensStateNotFoundLine = 178;
constexpr int kSensorIdNotFoundLine = 256;
constexpr int kSensorModeNotFoundLine = 264;

template <typename T>
std::optional<T> read(IMetadata const* meta, uint32_t tag) {
    T value = 0;
    return IMetadata::getEntry<T>(meta, tag, value, 0) ? std::optional<T>(value) : std::nullopt;
}

/// The first needed stream, in ascending order, for which `stop(streamId, metadata)` holds; end() if none.
template <typename Stop>
MetadataByStream::const_iterator findNeeded(MetadataByStream const& metas, std::set<StreamId> const& needed,
                                            Stop stop) {
    // Counting spares the step to end(), which climbs the whole tree.
    auto stream = metas.begin();
    for (size_t left = metas.size(); left > 0; --left) {
        if (needed.count(stream->first) != 0 && stop(stream->first, stream->second)) {
            return stream;
        }
        if (left > 1) {
            ++stream;
        }
    }
    return metas.end();
}

template <typename T>
std::string joinValues(std::initializer_list<T> values) {
    std::string text;
    for (T const value : values) {
        text += (text.empty() ? "" : ",") + std::to_string(value);
    }
    return text;
}

/// Whether the tag's value is one of `accepted`; `bc` is the verdict for an absent tag.
template <typename T>
bool isMatched(IMetadata const* meta, uint32_t tag, std::initializer_list<T> accepted, char const* caller,
               bool bc) {
    T value = 0;
    if (!IMetadata::getEntry<T>(meta, tag, value, 0)) {
        if (!bc) {
            ZSL_LOGE("[%s] [%s] tag(%#x) not found! (%s){#%d:%s}", "isMatched", caller, tag, "isMatched",
                     kTagNotFoundLine, kUtilsPath);
        }
        return bc;
    }
    ZSL_LOGD("[%s] [%s] tag(%#x) val=%ld target=%s bc=%d", "isMatched", caller, tag, static_cast<long>(value),
             joinValues(accepted).c_str(), bc ? 1 : 0);
    return std::find(accepted.begin(), accepted.end(), value) != accepted.end();
}

/// Whether a tag is missing without which the focus cannot be judged; reports it.
bool isAfTagMissing(IMetadata const* meta, uint32_t tag, uint8_t& value, int notFoundLine) {
    if (IMetadata::getEntry<uint8_t>(meta, tag, value, 0)) {
        return false;
    }
    ZSL_LOGE("[%s] tag(%#x) not found! (%s){#%d:%s}", "isAFStable", tag, "isAFStable", notFoundLine, kUtilsPath);
    return true;
}

/// A focusing lens is at rest unless it moves or scans; a focus that never started counts only while the lens
/// is known to stand still. Fixed-focus modes always are at rest.
bool isFocusAtRest(uint8_t afMode, uint8_t afState, uint8_t lensState) {
    if (afMode < kAfModeAuto || afMode > kAfModeContinuousPicture) {
        return true;
    }
    if (lensState == kLensMoving) {
        return false;
    }
    switch (afState) {
        case kAfStateInactive: return lensState == kLensStationary;
        case kAfStatePassiveScan:
        case kAfStateActiveScan: return false;
        default: return true;
    }
}

bool isStreamAFStable(IMetadata const* meta) {
    uint8_t afMode = 0;
    uint8_t afState = 0;
    uint8_t lensState = 0;
    if (isAfTagMissing(meta, Tag::kControlAfMode, afMode, kAfModeNotFoundLine) ||
        isAfTagMissing(meta, Tag::kControlAfState, afState, kAfStateNotFoundLine) ||
        isAfTagMissing(meta, Tag::kLensState, lensState, kLensStateNotFoundLine)) {
        return false;
    }
    if (!isFocusAtRest(afMode, afState, lensState)) {
        ZSL_LOGW("[%s] AF fail: afMode=%d afState=%d lensState=%d", "isAFStable", afMode, afState, lensState);
        return false;
    }
    ZSL_LOGD("[%s] AF ok: afMode=%d afState=%d lensState=%d", "isAFStable", afMode, afState, lensState);
    return true;
}

/// Log lines show sensors in a hash map's order.
std::unordered_map<unsigned, unsigned> hashed(SensorModes const& modes) {
    std::unordered_map<unsigned, unsigned> map;
    for (size_t index = 0; index < modes.size(); ++index) {
        map.emplace(modes[index].sensorId, modes[index].mode);
    }
    return map;
}

std::string render(SensorModes const& modes) { return ZslPolicy::toString(hashed(modes)); }

/// Collects the sensors of the frame's needed HAL streams with their modes; of a sensor's streams the first counts.
/// False when a stream does not name them.
bool readSensorModes(ISelector::HistoryFrame const& hf, StreamSets const& needStreams, SensorModes& modes) {
    auto const unnamed = findNeeded(hf.halMetas, needStreams.halMetas, [&](StreamId id, IMetadata const* meta) {
        int32_t sensorId = 0;
        int32_t mode = 0;
        if (!IMetadata::getEntry<int32_t>(meta, Tag::kHalRequestSensorId, sensorId, 0)) {
            ZSL_LOGE("[%s] streamId(%#lx): VZR_HAL_REQUEST_SENSOR_ID(%#x) not found! (%s){#%d:%s}",
                     "isRequiredSensorMode", static_cast<unsigned long>(id), Tag::kHalRequestSensorId,
                     "isRequiredSensorMode", kSensorIdNotFoundLine, kUtilsPath);
            return true;
        }
        if (!IMetadata::getEntry<int32_t>(meta, Tag::kP1NodeSensorMode, mode, 0)) {
            ZSL_LOGE("[%s] streamId(%#lx): VZR_P1NODE_SENSOR_MODE(%#x) not found! (%s){#%d:%s}",
                     "isRequiredSensorMode", static_cast<unsigned long>(id), Tag::kP1NodeSensorMode,
                     "isRequiredSensorMode", kSensorModeNotFoundLine, kUtilsPath);
            return true;
        }
        modes.add(static_cast<uint32_t>(sensorId), static_cast<uint32_t>(mode));
        return false;
    });
    return unnamed == hf.halMetas.end();
}

/// Names the first required sensor, in the order of the line, that the frame lacks or was not taken in the mode of.
void logMismatch(SensorModes const& frameModes, SensorModes const& reqSensorModes) {
    for (auto const& [sensorId, mode] : hashed(reqSensorModes)) {
        uint32_t const* const frameMode = frameModes.find(sensorId);
        if (frameMode == nullptr) {
            __android_log_print(4, kLogTag, "[%s] check sensorId(%d) fail: sensorModes={history={%s} request={%s}",
                                "isRequiredSensorMode", static_cast<int32_t>(sensorId), render(frameModes).c_str(),
                                render(reqSensorModes).c_str());
            return;
        }
        if (*frameMode != mode) {
            __android_log_print(4, kLogTag,
                                "[%s] check sensorMode(%d) fail: sensorModes={history={%s} request={%s}",
                                "isRequiredSensorMode", static_cast<int32_t>(mode), render(frameModes).c_str(),
                                render(reqSensorModes).c_str());
            return;
        }
    }
}

bool isRequiredSensorMode(ISelector::HistoryFrame const& hf, StreamSets const& needStreams,
                          SensorModes const& reqSensorModes) {
    SensorModes frameModes;
    if (!readSensorModes(hf, needStreams, frameModes)) {
        return false;
    }
    bool isMatch = true;
    for (size_t index = 0; index < reqSensorModes.size() && isMatch; ++index) {
        uint32_t const* const frameMode = frameModes.find(reqSensorModes[index].sensorId);
        isMatch = frameMode != nullptr && *frameMode == reqSensorModes[index].mode;
    }
    if (!isMatch) {
        if (isLogged('I')) {
            logMismatch(frameModes, reqSensorModes);
        }
        return false;
    }
    ZSL_LOGD("[%s] isRequiredSensorMode OK: sensorModes={history={%s} request={%s}", "isRequiredSensorMode",
             render(frameModes).c_str(), render(reqSensorModes).c_str());
    return true;
}

int32_t readFrameEv(ISelector::HistoryFrame const& hf, StreamSets const& needStreams) {
    int32_t ev = 0;
    auto const source = findNeeded(hf.appMetas, needStreams.appMetas, [&](StreamId, IMetadata const* meta) {
        return IMetadata::getEntry<int32_t>(meta, Tag::kControlAeExposureCompensation, ev, 0);
    });
    if (source == hf.appMetas.end()) {
        ZSL_LOGW("[%s] cannot get EV setting, set default EV=%d", "operator()", ev);
    } else {
        ZSL_LOGD("[%s] streamId(%#lx): get EV setting=%d", "operator()", static_cast<unsigned long>(source->first),
                 ev);
    }
    return ev;
}

bool isRequiredEV(ISelector::HistoryFrame const& hf, StreamSets const& needStreams, int32_t targetEv) {
    int32_t const ev = readFrameEv(hf, needStreams);
    if (ev != targetEv) {
        ZSL_LOGI("[%s] isRequiredEV fail: EV(History)=%d, EV(Target)=%d", "isRequiredEV", ev, targetEv);
        return false;
    }
    ZSL_LOGD("[%s] isRequiredEV OK: EV=%d", "isRequiredEV", targetEv);
    return true;
}

bool includesAll(std::set<StreamId> const& carried, std::set<StreamId> const& needed) {
    // Both are walked by count: the step to end() would climb the whole tree.
    size_t left = carried.size();
    auto have = carried.begin();
    size_t wanted = needed.size();
    for (auto want = needed.begin(); wanted > 0; --left) {
        if (left < wanted) {
            return false;
        }
        if (*have == *want && --wanted > 0) {
            ++want;
        }
        if (left > 1) {
            ++have;
        }
    }
    return true;
}

bool includesAll(StreamSets const& carried, StreamSets const& needed) {
    return includesAll(carried.halImages, needed.halImages) && includesAll(carried.halMetas, needed.halMetas) &&
           includesAll(carried.appMetas, needed.appMetas);
}

}  // namespace

SensorModes requiredSensorModes(ISelector::SelectInputParams const& in) {
    SensorModes modes;
    std::set<uint32_t> const* const sensorIds = in.requiredFrames.begin()->second.reqSensorIds;
    if (sensorIds != nullptr) {
        for (auto const& [sensorId, mode] : in.sensorModes) {
            if (sensorIds->count(sensorId) != 0) {
                modes.add(sensorId, mode);
            }
        }
    }
    // cppcheck-suppress uninitvar ; places beyond its size are not filled, nor read
    return modes;
}

bool isAFStable(ISelector::HistoryFrame const& hf, StreamSets const& needStreams) {
    auto const failing = findNeeded(hf.appMetas, needStreams.appMetas,
                                    [](StreamId, IMetadata const* meta) { return !isStreamAFStable(meta); });
    if (failing == hf.appMetas.end()) {
        return true;
    }
    ZSL_LOGW("[%s] (%#lx): AF X", "operator()", static_cast<unsigned long>(failing->first));
    return false;
}

bool isAEStable(ISelector::HistoryFrame const& hf, StreamSets const& needStreams) {
    auto const failing = findNeeded(hf.appMetas, needStreams.appMetas, [](StreamId, IMetadata const* meta) {
        return !isMatched<uint8_t>(meta, Tag::kControlAeState, {kAeStateConverged, kAeStateLocked}, "isAEStable",
                                   false);
    });
    if (failing == hf.appMetas.end()) {
        return true;
    }
    ZSL_LOGW("[%s] (%#lx): AE X", "operator()", static_cast<unsigned long>(failing->first));
    return false;
}

bool isAESoftStable(ISelector::HistoryFrame const& hf, StreamSets const& needStreams) {
    auto const failing = findNeeded(hf.halMetas, needStreams.halMetas, [](StreamId, IMetadata const* meta) {
        return !isMatched<int32_t>(meta, Tag::kSoftAeState, {1}, "isAESoftStable", true);
    });
    if (failing == hf.halMetas.end()) {
        return true;
    }
    ZSL_LOGW("[%s] (%#lx): (soft) AE X", "operator()", static_cast<unsigned long>(failing->first));
    return false;
}

bool isFrameSync(ISelector::HistoryFrame const& hf, StreamSets const& needStreams) {
    auto const synced = findNeeded(hf.halMetas, needStreams.halMetas, [](StreamId id, IMetadata const* meta) {
        if (isMatched<int64_t>(meta, Tag::kFrameSyncResult, {0}, "isFrameSync", true)) {
            return true;
        }
        ZSL_LOGW("[%s] (%#lx): FrameSync X", "operator()", static_cast<unsigned long>(id));
        return false;
    });
    return synced != hf.halMetas.end();
}

bool isQualify(ISelector::HistoryFrame const& hf, StreamSets const& needStreams, uint32_t policy, bool isTimeout,
               SensorModes const& reqSensorModes, int32_t targetEv) {
    if ((policy & Policy::ForcePending) != 0) {
        ZSL_LOGW("[%s] DEBUG: hf[F%u] force pending...", "isQualify", hf.frameNo);
        return false;
    }
    if (!includesAll(hf.streamSets, needStreams)) {
        ZSL_LOGW("[%s] hf[F%u]{%s} does not include all needStreams{%s}", "isQualify", hf.frameNo,
                 ZslPolicy::toString(hf.streamSets, false).c_str(),
                 ZslPolicy::toString(needStreams, false).c_str());
        return false;
    }
    if (!isRequiredSensorMode(hf, needStreams, reqSensorModes)) {
        ZSL_LOGW("[%s] hf[F%u] does not include all reqSensorModes", "isQualify", hf.frameNo);
        return false;
    }
    if (!isRequiredEV(hf, needStreams, targetEv)) {
        ZSL_LOGW("[%s] hf[F%u] does not include tareget EV=%d", "isQualify", hf.frameNo, targetEv);
        return false;
    }
    if (isTimeout) {
        ZSL_LOGI("[%s] TIMEOUT: take hf[F%u] without checking quality", "isQualify", hf.frameNo);
        return true;
    }
    if ((policy & Policy::AFStable) != 0 && !isAFStable(hf, needStreams)) {
        ZSL_LOGW("[%s] hf[F%u] AF X", "isQualify", hf.frameNo);
        return false;
    }
    if ((policy & Policy::AEStable) != 0 && !isAEStable(hf, needStreams)) {
        ZSL_LOGW("[%s] hf[F%u] AE X", "isQualify", hf.frameNo);
        return false;
    }
    if ((policy & Policy::AESoftStable) != 0 && !isAESoftStable(hf, needStreams)) {
        ZSL_LOGW("[%s] hf[F%u] (soft) AE X", "isQualify", hf.frameNo);
        return false;
    }
    if ((policy & Policy::FrameSync) != 0 && !isFrameSync(hf, needStreams)) {
        ZSL_LOGW("[%s] hf[F%u] FrameSync X", "isQualify", hf.frameNo);
        return false;
    }
    ZSL_LOGD("[%s] hf[F%u] OK", "isQualify", hf.frameNo);
    return true;
}

bool tryGetPreCollectHint(IMetadata const* appMeta) {
    if (appMeta == nullptr) {
        ZSL_LOGE("[%s] cannot find input app meta (%s){#%d:%s}", "tryGetPreCollectHint", "tryGetPreCollectHint",
                 __LINE__, kUtilsPath);
        return false;
    }
    return read<int32_t>(appMeta, Tag::kPreCollectHint).value_or(0) > 0;
}

std::optional<int32_t> tryGetEVSetting(IMetadata const* appMeta) {
    if (appMeta == nullptr) {
        ZSL_LOGE("[%s] cannot find input app meta (%s){#%d:%s}", "tryGetEVSetting", "tryGetEVSetting", __LINE__,
                 kUtilsPath);
        return std::nullopt;
    }
    return read<int32_t>(appMeta, Tag::kControlAeExposureCompensation);
}

}  // namespace NSCam::Sample
