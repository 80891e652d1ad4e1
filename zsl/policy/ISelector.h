// The contract between the host camera stack and the frame selector: the records that cross the boundary,
// the interface the host calls, and the policy bits. What a host has to keep to is told in docs/host.md.
//
// Ownership: the host owns every record. Pointers inside a record (metadata, sensor-id sets) are borrowed for
// the duration of one select() call; the selector never frees or keeps them.
// Clocks: HistoryFrame::timestamp and SelectInputParams::zsdTs share one clock and unit, which is the host's.
// Defaults: policy AFStable | AESoftStable | ZeroShutterDelay | ContinuousFrame (0x30005), time-out 1000 ms, the
// continuous selection. Policy, time-out and strategy are set by system properties alone, not through this
// interface.
#pragma once

#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <set>
#include <unordered_map>

namespace NSCam {
class IMetadata;
}

namespace NSCam::ZslPolicy {

using FrameNo = uint32_t;
using RequestNo = uint32_t;
using StreamId = int64_t;

/// No frame is given: the frame is to be captured without zero shutter lag. Prints as 4294967295.
constexpr FrameNo kNoFrame = 0xFFFFFFFFU;

/// Bits of the policy bit set; all other bits have no effect.
namespace Policy {
constexpr uint32_t AFStable = 0x1;              ///< auto-focus must be stable
constexpr uint32_t AEStable = 0x2;              ///< auto-exposure must be converged or locked
constexpr uint32_t AESoftStable = 0x4;          ///< the host's soft auto-exposure flag must be set
constexpr uint32_t FrameSync = 0x8;             ///< the sensors of the frame must be synchronised
constexpr uint32_t ZeroShutterDelay = 0x10000;  ///< search from the frame at the shutter moment
constexpr uint32_t ContinuousFrame = 0x20000;   ///< the chosen frames must be consecutive history frames
constexpr uint32_t ForcePending = 0x1000000;    ///< no frame qualifies; the request waits for its time-out
}  // namespace Policy

/// Which streams a frame carries, or which a request needs.
struct StreamSets {
    std::set<StreamId> halImages;  ///< image buffers from the HAL
    std::set<StreamId> halMetas;   ///< HAL (vendor) result metadata
    std::set<StreamId> appMetas;   ///< application result metadata
};

/// The selector as the host sees it. Calls on one selector must not overlap.
class ISelector {
  public:
    /// One captured frame that can still be reused.
    struct HistoryFrame {
        FrameNo frameNo = 0;
        RequestNo requestNo = 0;  ///< the request that produced the frame
        int64_t timestamp = 0;    ///< capture time, on the clock of SelectInputParams::zsdTs
        std::map<StreamId, IMetadata const*> appMetas;
        std::map<StreamId, IMetadata const*> halMetas;
        StreamSets streamSets;  ///< the streams the frame carries
        bool locked = false;    ///< the host holds the frame on the selector's behalf
    };

    /// A frame whose capture has started but whose results have not all arrived.
    struct InflightFrame {
        FrameNo frameNo = 0;
        StreamSets streamSets;  ///< the streams the frame will carry
    };

    enum class PreCollectStatus : uint32_t { Register = 0, Inflight = 1, Ready = 2, Select = 3, Timeout = 4 };

    /// A frame that the host collected ahead of a multi-frame capture.
    struct PreCollectSelectInfo {
        RequestNo requestNo = 0;  ///< the request the frame belongs to
        PreCollectStatus status = PreCollectStatus::Register;
    };

    /// What one of the request's frames requires.
    struct ZslFrameInfo {
        /// Streams a history frame must carry, by its streamSets. The metadata of a needed stream is checked where
        /// the frame's appMetas or halMetas have it: a stream that streamSets alone names is not checked.
        StreamSets needStreams;
        IMetadata const* inAppMeta = nullptr;  ///< the request's application metadata; may be null
        uint64_t hostWord0 = 0;                ///< the host's; never read here
        uint64_t hostWord1 = 0;                ///< the host's; never read here
        /// Sensors whose mode the frame depends on; null counts as the empty set.
        std::set<uint32_t> const* reqSensorIds = nullptr;
    };

    /// One attempt to serve a capture request.
    struct SelectInputParams {
        RequestNo requestNo = 0;
        /// How long the request has waited, ms. From the time-out on the request gets the OLDEST history frames
        /// with the needed streams, sensor modes and exposure compensation, without a check of their quality.
        int64_t elapsedMs = 0;
        int64_t zsdTs = 0;                               ///< the shutter moment
        std::map<int32_t, ZslFrameInfo> requiredFrames;  ///< by frame index; its size is the number to select
        std::map<FrameNo, PreCollectSelectInfo> preCollects;
        std::unordered_map<uint32_t, uint32_t> sensorModes;  ///< sensor id -> mode expected of it
        int32_t targetEv = 0;                                ///< exposure compensation the frames must carry
        int32_t ispHidlFrameIdx = -1;                        ///< place in a reprocess burst; -1: no burst
        int32_t ispHidlFrameCnt = -1;                        ///< requests in that burst; -1: no burst
        /// By frameNo, and the key must equal it: the continuous selection answers with keys, the bursts of newest
        /// frames with frameNo. Timestamps ascend with the key.
        std::map<FrameNo, HistoryFrame> history;
        std::map<FrameNo, InflightFrame> inflight;
    };

    /// The answer for one required frame.
    struct ZslFrameResult {
        FrameNo frameNo = kNoFrame;  ///< a history frame, or kNoFrame for a capture without zero shutter lag
        uint32_t reserved = 0;       ///< always 0
    };

    enum class OpT : uint32_t {
        Lock = 0,   ///< keep the history frame for a later request
        Unlock = 1  ///< the frame may be released
    };

    /// The result of one call. A required frame without an entry in selectedFrames leaves the request pending.
    struct SelectOutputParams {
        std::map<int32_t, ZslFrameResult> selectedFrames;  ///< by frame index
        std::map<FrameNo, OpT> frameOps;                   ///< for history frames; the first operation wins
        std::set<uint32_t> frameNoSet;                     ///< part of the contract; always empty here
    };

    virtual ~ISelector() = default;

    /// The selector's name, in static storage.
    virtual char const* getName() const = 0;

    /// Answers which frames serve the request, which to lock or unlock, or (by a missing entry) that it must
    /// wait and be presented again with a larger elapsedMs. Pending requests may be presented in any order. The
    /// host ends the lock of a frame when it takes the frame for the request it was served to; no Unlock says so.
    /// Throws nothing but std::bad_alloc, after which the selector is as it was before the call. The reasons for an
    /// answer are in the Android log. With empty requiredFrames the answer is empty.
    virtual SelectOutputParams select(SelectInputParams const& in) = 0;
};

}  // namespace NSCam::ZslPolicy

/// The library's only export: replaces `selector` by a new selector. The old one is released.
extern "C" __attribute__((visibility("default"))) void createCustomSelector(
    std::shared_ptr<NSCam::ZslPolicy::ISelector>& selector);
