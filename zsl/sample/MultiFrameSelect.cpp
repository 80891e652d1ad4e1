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

/// The first frame taken at `zsdTs` or later. Timestamps ascend with the key. The shutter mostly is a few frames
/// back, so the search steps back from the newest frame before it halves what is left.
History::const_iterator findShutterFrame(History const& history, int64_t zsdTs) {
    constexpr size_t kSteps = 8;
    auto last = history.end();
    size_t count = history.size();
    for (size_t step = 0; step < kSteps && count > 0; ++step, --count) {
        auto const frame = std::prev(last);
        if (frame->second.timestamp < zsdTs) {
            return last;
        }
        last = frame;
    }
    // The frame is `last`, or among the `count` before it.
    while (count > 0) {
        size_t const half = (count + 1) / 2;
        auto const middle = std::prev(last, static_cast<ptrdiff_t>(half));
        if (middle->second.timestamp < zsdTs) {
            count = half - 1;
        } else {
            last = middle;
            count -= half;
        }
    }
    return last;
}

using RequiredFrames = std::map<int32_t, ISelector::ZslFrameInfo>;

/// How many frames are to be selected: one for each key of `frames` and each index from 1 to `burstCnt` - 1.
size_t countKeys(RequiredFrames const& frames, int32_t burstCnt) {
    if (burstCnt == 1) {
        return frames.size();
    }
    auto const inBoth = std::distance(frames.lower_bound(1), frames.lower_bound(burstCnt));
    return frames.size() + static_cast<size_t>(burstCnt - 1) - static_cast<size_t>(inBoth);
}

/// Visits these keys in ascending order until `visit(key)` is false.
template <typename Visit>
void eachKey(RequiredFrames const& frames, int32_t burstCnt, Visit visit) {
    int64_t index = 1;
    for (auto const& entry : frames) {
        for (; index < burstCnt && index < entry.first; ++index) {
            if (!visit(static_cast<int32_t>(index))) {
                return;
            }
        }
        if (!visit(entry.first)) {
            return;
        }
        if (index == entry.first) {
            ++index;
        }
    }
    while (index < burstCnt && visit(static_cast<int32_t>(index))) {
        ++index;
    }
}

/// Answers `key` unless it is answered already. Keys come in ascending order.
void answer(SelectOutputParams& out, int32_t key, FrameNo frameNo) {
    out.selectedFrames.emplace_hint(out.selectedFrames.end(), key, ISelector::ZslFrameResult{frameNo, 0});
}

/// Each key in turn gets the next qualified frame; a frame that failed is never tried again.
template <typename Qualifies>
void selectIndependent(History const& history, History::const_iterator cursor, RequiredFrames const& frames,
                       int32_t burstCnt, Qualifies qualifies, SelectOutputParams& out) {
    eachKey(frames, burstCnt, [&](int32_t key) {
        cursor = std::find_if(cursor, history.end(), qualifies);
        if (cursor == history.end()) {
            return false;
        }
        answer(out, key, cursor->first);
        ++cursor;
        return true;
    });
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

/// Tells how many frames were selected; after the time-out what is unanswered goes without ZSL.
void summarize(RequestLog const& log, RequiredFrames const& frames, int32_t burstCnt, size_t keyCount,
               bool isTimeout, SelectOutputParams& out) {
    size_t const selected = out.selectedFrames.size();
    ZSL_MEMBER_LOGD(log, "[%s] %s select #%zu/%zu hfs", log.function, log.name(), selected, keyCount);
    if (selected == keyCount) {
        return;
    }
    if (!isTimeout) {
        ZSL_MEMBER_LOGD(log, "[%s] %s PENDING: sel(#%zu) < zf(#%zu)", log.function, log.name(), selected, keyCount);
        return;
    }
    ZSL_LOGW("[%s] %s TIMEOUT: sel(#%zu) < zf(#%zu), change to non-Zsl", log.function, log.name(), selected,
             keyCount);
    eachKey(frames, burstCnt, [&](int32_t key) {
        answer(out, key, ZslPolicy::kNoFrame);
        return true;
    });
}

}  // namespace

SelectOutputParams SampleSelector::multiFrameSelect(SelectInputParams const& in, LogName const& logName,
                                                    uint32_t policy) const {
    if (in.requiredFrames.empty()) {
        return {};
    }
    return multiFrameSelect(in, 1, in.history, logName, policy);
}

SelectOutputParams SampleSelector::multiFrameSelect(SelectInputParams const& in, int32_t burstCnt,
                                                    History const& history, LogName const& logName,
                                                    uint32_t policy) const {
    RequestLog const log{"multiFrameSelect", logName, mLogLevel};
    StreamSets const& needStreams = in.requiredFrames.begin()->second.needStreams;
    SensorModes const reqSensorModes = requiredSensorModes(in);
    bool const isTimeout = in.elapsedMs >= mTimeout;
    size_t const keyCount = countKeys(in.requiredFrames, burstCnt);

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
        return isQualify(frame.second, needStreams, policy, isTimeout, reqSensorModes, in.targetEv);
    };
    if ((policy & ZslPolicy::Policy::ContinuousFrame) == 0) {
        selectIndependent(history, cursor, in.requiredFrames, burstCnt, qualifies, out);
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
            eachKey(in.requiredFrames, burstCnt, [&](int32_t key) {
                answer(out, key, frame->first);
                ++frame;
                return true;
            });
        }
    }

    summarize(log, in.requiredFrames, burstCnt, keyCount, isTimeout, out);
    return out;
}

}  // namespace NSCam::Sample
