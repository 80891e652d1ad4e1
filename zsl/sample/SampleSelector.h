// The selector object: entry point, dispatch and the five strategies, one source file a strategy.
#pragma once

#include "zsl/policy/ISelector.h"
#include "zsl/sample/LogName.h"
#include "zsl/sample/ReprocessBurst.h"

namespace NSCam::Sample {

/// Calls of select() on one selector must not overlap; calls that reach ispHidlSelect_MFNR_HDR must not overlap
/// across all selectors of the process.
class SampleSelector final : public ISelector {
  public:
    struct IspHidlReqObj : BurstRecord {};
    struct IspHidlReqObj_Latest : BurstRecord {};

    /// A run of consecutive candidate frames and the verdict of its quality check.
    struct CustomQualityCheckSet {
        std::map<uint32_t, FrameNo> frames;  ///< by index; index 0 is the lowest frame
        int8_t check = 0;                    ///< 0 not judged yet, 1 passed, -1 failed
    };

    struct IspHidlReqObj_LatestWithQuality : BurstRecord {
        std::map<FrameNo, CustomQualityCheckSet> needCheckSet;  ///< by first frame; at most two
        std::set<FrameNo> needLockFrames;  ///< the newest frames known at set-up, one more than the burst needs
    };

    struct IspHidlReqObj_PreCollect {
        struct PreCollectObj {
            FrameNo targetFrameNo = ZslPolicy::kNoFrame;
            int32_t evSetting = 0;  ///< the request's exposure compensation; only logged
            int32_t status = 0;     ///< 0 no frame yet, 1 a frame with the hint was found, 2 it was selected
        };
        std::map<RequestNo, PreCollectObj> mapping;  ///< the burst's requests seen so far
    };

    /// Reads the log level from "vendor.debug.camera.log.zsl.sample", once.
    SampleSelector();
    ~SampleSelector() override;
    SampleSelector(SampleSelector const&) = delete;
    SampleSelector& operator=(SampleSelector const&) = delete;

    char const* getName() const override;
    SelectOutputParams select(SelectInputParams const& in) override;

  private:
    /// Around the shutter: one qualified history frame for each required frame.
    SelectOutputParams multiFrameSelect(SelectInputParams const& in, LogName const& logName, uint32_t policy) const;
    /// The same for a whole burst, whose requests have the indices up to `burstCnt` - 1, from a history that need
    /// not be the request's own. `in.requiredFrames` has at least one entry.
    SelectOutputParams multiFrameSelect(SelectInputParams const& in, int32_t burstCnt,
                                        std::map<FrameNo, HistoryFrame> const& history, LogName const& logName,
                                        uint32_t policy) const;

    /// Burst: the continuous selection's frames, first in first out.
    SelectOutputParams ispHidlSelect(SelectInputParams const& in, LogName const& logName, uint32_t policy) const;
    /// Burst: the newest frames.
    SelectOutputParams ispHidlSelect_Latest(SelectInputParams const& in, LogName const& logName) const;
    /// Burst: the newest frames whose quality holds up.
    SelectOutputParams ispHidlSelect_LatestWithQuality(SelectInputParams const& in, LogName const& logName,
                                                       uint32_t policy) const;
    /// A burst of the newest frames, then a burst of frames that were collected ahead.
    SelectOutputParams ispHidlSelect_MFNR_HDR(SelectInputParams const& in, LogName const& logName) const;

    /// Takes over policy and time-out from the debug properties, for good; answers this call's hint.
    int32_t invokeADB();
    void dumpBursts(RequestNo requestNo) const;

    int64_t mTimeout;  // milliseconds
    int32_t mLogLevel;
    uint32_t mPolicy;
    mutable std::map<RequestNo, IspHidlReqObj> mIspHidlReqs;
    mutable std::map<RequestNo, IspHidlReqObj_Latest> mIspHidlReqs_Latest;
    mutable std::map<RequestNo, IspHidlReqObj_LatestWithQuality> mIspHidlReqs_LatestWithQuality;
    mutable std::map<RequestNo, IspHidlReqObj_PreCollect> mIspHidlReqs_PreCollect;
};

}  // namespace NSCam::Sample
