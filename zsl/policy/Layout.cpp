// The host is built apart from the plug-in, and finds what it passes by these sizes and offsets. A record that
// changes here changes for every host there is. Held for 64-bit targets and the two standard libraries that hosts
// use.
#include "zsl/policy/ISelector.h"

#if defined(__LP64__) && (defined(_LIBCPP_VERSION) || defined(__GLIBCXX__))

#pragma GCC diagnostic ignored "-Winvalid-offsetof"  // of types with containers: both compilers support it

namespace NSCam::ZslPolicy {
namespace {

#ifdef _LIBCPP_VERSION
constexpr size_t kTree = 24;
constexpr size_t kHash = 40;
#else
constexpr size_t kTree = 48;
constexpr size_t kHash = 56;
#endif
static_assert(sizeof(std::set<StreamId>) == kTree && sizeof(std::map<StreamId, void*>) == kTree);
static_assert(sizeof(std::unordered_map<uint32_t, uint32_t>) == kHash);

/// Whether the member stands there.
#define ZSL_AT(record, member, offset) static_assert(offsetof(record, member) == (offset))

ZSL_AT(StreamSets, halImages, 0);
ZSL_AT(StreamSets, halMetas, kTree);
ZSL_AT(StreamSets, appMetas, 2 * kTree);
static_assert(sizeof(StreamSets) == 3 * kTree);

using HistoryFrame = ISelector::HistoryFrame;
ZSL_AT(HistoryFrame, frameNo, 0);
ZSL_AT(HistoryFrame, requestNo, 4);
ZSL_AT(HistoryFrame, timestamp, 8);
ZSL_AT(HistoryFrame, appMetas, 16);
ZSL_AT(HistoryFrame, halMetas, 16 + kTree);
ZSL_AT(HistoryFrame, streamSets, 16 + 2 * kTree);
ZSL_AT(HistoryFrame, locked, 16 + 5 * kTree);
static_assert(sizeof(HistoryFrame) == 24 + 5 * kTree);

using InflightFrame = ISelector::InflightFrame;
ZSL_AT(InflightFrame, frameNo, 0);
ZSL_AT(InflightFrame, streamSets, 8);
static_assert(sizeof(InflightFrame) == 8 + 3 * kTree);

using PreCollect = ISelector::PreCollectSelectInfo;
ZSL_AT(PreCollect, requestNo, 0);
ZSL_AT(PreCollect, status, 4);
static_assert(sizeof(PreCollect) == 8);

using FrameInfo = ISelector::ZslFrameInfo;
ZSL_AT(FrameInfo, needStreams, 0);
ZSL_AT(FrameInfo, inAppMeta, 3 * kTree);
ZSL_AT(FrameInfo, hostWord0, 3 * kTree + 8);
ZSL_AT(FrameInfo, hostWord1, 3 * kTree + 16);
ZSL_AT(FrameInfo, reqSensorIds, 3 * kTree + 24);
static_assert(sizeof(FrameInfo) == 32 + 3 * kTree);

using Input = ISelector::SelectInputParams;
ZSL_AT(Input, requestNo, 0);
ZSL_AT(Input, elapsedMs, 8);
ZSL_AT(Input, zsdTs, 16);
ZSL_AT(Input, requiredFrames, 24);
ZSL_AT(Input, preCollects, 24 + kTree);
ZSL_AT(Input, sensorModes, 24 + 2 * kTree);
ZSL_AT(Input, targetEv, 24 + 2 * kTree + kHash);
ZSL_AT(Input, ispHidlFrameIdx, 28 + 2 * kTree + kHash);
ZSL_AT(Input, ispHidlFrameCnt, 32 + 2 * kTree + kHash);
ZSL_AT(Input, history, 40 + 2 * kTree + kHash);
ZSL_AT(Input, inflight, 40 + 3 * kTree + kHash);
static_assert(sizeof(Input) == 40 + 4 * kTree + kHash);

using Result = ISelector::ZslFrameResult;
ZSL_AT(Result, frameNo, 0);
ZSL_AT(Result, reserved, 4);
static_assert(sizeof(Result) == 8);

using Output = ISelector::SelectOutputParams;
ZSL_AT(Output, selectedFrames, 0);
ZSL_AT(Output, frameOps, kTree);
ZSL_AT(Output, frameNoSet, 2 * kTree);
static_assert(sizeof(Output) == 3 * kTree);

static_assert(sizeof(ISelector) == sizeof(void*));

}  // namespace
}  // namespace NSCam::ZslPolicy

#endif
