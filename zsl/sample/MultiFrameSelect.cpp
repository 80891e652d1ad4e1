// The continuous multi-frame selection: the default strategy, and the one the burst strategies choose and judge
// whole bursts with.
#include <algorithm>
#include <iterator>

#include "zsl/policy/Rendering.h"
#include "zsl/sample/Log.h"
#include "zsl/sample/SampleSelector.h"
#include "zsl/sample/include/SampleUtils.h"

namespace NSCam::Sample {

namespace {

using History = std::map<FrameNo, ISelector::HistoryFrame>;
using SelectOutputParams = ISelector::SelectOutputParams;

/// The first frame taken at `zsdTs` or later. Timestamps ascend with the key, so each step halves the rest.
History::const_iterator findShutterFrame(History const& history, int64_t zsdTs) {
    if (history.empty()) {
        return history.end();
    }
    // A map's iterator walks frame by frame; but while no frame is missing, its number tells a frame's place and
    // the map finds it at once. Below a few frames walking is faster.
    constexpr size_t kNear = 6;
    bool const hasNoGap = history.rbegin()->first - history.begin()->first == history.size() - 1;
    auto const skip = [&](History::const_iterator frame, size_t count) {
        return hasNoGap && count > kNear ? history.find(frame->first + static_cast<FrameNo>(count))
                                         : std::next(frame, static_cast<ptrdiff_t>(count));
    };
    auto first = history.begin();
    for (size_t count = history.size(); count > 0;) {
        size_t const half = count / 2;
        auto const middle = skip(first, half);
        if (middle->second.timestamp < zsdTs) {
            first = std::next(middle);
            count -= half + 1;
        } else {
            count = half;
        }
    }
    return first;
}

/// Answers `key` unless it is answered already. Keys come in ascending order.
void answer(SelectOutputParams& out, int32_t key, FrameNo frameNo) {
    out.selectedFrames.emplace_hint(out.selectedFrames.end(), key, ISelector::ZslFrameResult{frameNo, 0});
}

/// Each key in turn gets the next qualified frame; a frame that failed is never tried again.
template <typename Qualifies>
void selectIndependent(History const& history, History::const_iterator cursor, RequiredKeys const& keys,
                       Qualifies qualifies, SelectOutputParams& out) {
    for (int32_t const key : keys) {
        cursor = std::find_if(cursor, history.end(), qualifies);
        if (cursor == history.end()) {
            return;
        }
        answer(out, key, cursor->first);
        ++cursor;
    }
}

/// The first of `length` frames in a row that all qualify, or end(). No frame is judged twice: after a failure
/// the next run can only begin behind the failing frame.
template <typename Qualifies>
History::const_iterator findRun(History const& history, History::const_iterator cursor, size_t length,
                                Qualifies qualifies) {
    auto runStart = cursor;
    size_t runLength = 0;
    while (cursor != history.end()) {
        bool const isUsable = qualifies(*cursor);
        ++cursor;
        if (!isUsable) {
            runStart = cursor;
            runLength = 0;
        } else if (++runLength == length) {
            return runStart;
        }
    }
    return history.end();
}

}  // namespace

SelectOutputParams SampleSelector::multiFrameSelect(SelectInputParams const& in, LogName const& logName,
                                                    uint32_t policy) const {
    if (in.requiredFrames.empty()) {
        return {};
    }
    return multiFrameSelect(in, RequiredKeys(in.requiredFrames), in.history, logName, policy);
}

SelectOutputParams SampleSelector::multiFrameSelect(SelectInputParams const& in, RequiredKeys const& keys,
                                                    History const& history, LogName const& logName,
                                                    uint32_t policy) const {
    RequestLog const log{"multiFrameSelect", logName, mLogLevel};
    ZslFrameInfo const& need = in.requiredFrames.begin()->second;
    SensorModes const reqSensorModes(in.sensorModes, need.reqSensorIds);
    bool const isTimeout = in.elapsedMs >= mTimeout;
    size_t const keyCount = keys.size();

    SelectOutputParams out;
    auto cursor = history.begin();
    if ((policy & ZslPolicy::Policy::ZeroShutterDelay) != 0 && !isTimeout) {
        cursor = findShutterFrame(history, in.zsdTs);
        if (cursor == history.end()) {
            ZSL_LOGI("[%s] %s zsdTs(%ld) => hf[null], do pending directly", log.function, log.name(), in.zsdTs);
            return out;
        }
        ZSL_LOGI("[%s] %s zsdTs(%ld) => hf%s", log.function, log.name(), in.zsdTs,
                 ZslPolicy::toString(cursor->second).c_str());
    }

    auto const qualifies = [&](History::value_type const& frame) {
        return isQualify(frame.second, need.needStreams, policy, isTimeout, reqSensorModes, in.targetEv);
    };
    if ((policy & ZslPolicy::Policy::ContinuousFrame) == 0) {
        selectIndependent(history, cursor, keys, qualifies, out);
    } else {
        if (cursor != history.begin()) {
            // The first run tried ends at the shutter frame.
            for (size_t step = 1; step < keyCount && cursor != history.begin(); ++step) {
                --cursor;
            }
            ZSL_LOGI("[%s] %s search continuous from hf%s", log.function, log.name(),
                     ZslPolicy::toString(cursor->second).c_str());
        }
        auto frame = findRun(history, cursor, keyCount, qualifies);
        if (frame == history.end()) {
            ZSL_LOGW("[%s] %s cannot get continuous hfs", log.function, log.name());
        } else {
            for (int32_t const key : keys) {
                answer(out, key, frame->first);
                ++frame;
            }
        }
    }

    size_t const selected = out.selectedFrames.size();
    ZSL_MEMBER_LOGD(log, "[%s] %s select #%zu/%zu hfs", log.function, log.name(), selected, keyCount);
    if (selected < keyCount) {
        if (!isTimeout) {
            ZSL_MEMBER_LOGD(log, "[%s] %s PENDING: sel(#%zu) < zf(#%zu)", log.function, log.name(), selected,
                            keyCount);
        } else {
            ZSL_LOGW("[%s] %s TIMEOUT: sel(#%zu) < zf(#%zu), change to non-Zsl", log.function, log.name(), selected,
                     keyCount);
            for (int32_t const key : keys) {
                answer(out, key, ZslPolicy::kNoFrame);
            }
        }
    }
    return out;
}

}  // namespace NSCam::Sample
