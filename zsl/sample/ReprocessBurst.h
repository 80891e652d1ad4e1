// What all bursts of reprocess requests share, whatever frames they are served with: the record is found or
// created by the burst's base request, requests are served in strict order and one a call, the frames of
// unserved requests are locked, a time-out turns the rest of the burst to non-ZSL, and the record is retired
// with its last request. A strategy adds only how it chooses and re-checks frames.
#pragma once

#include <string>
#include <utility>
#include <vector>

#include "zsl/policy/Format.h"
#include "zsl/sample/Log.h"
#include "zsl/sample/SampleSelector.h"

namespace NSCam::Sample {

/// `before`, the number and `after` for each number of the range.
template <typename Numbers>
std::string renderNumbers(Numbers const& numbers, char const* before, char const* after) {
    std::string text;
    for (uint32_t const number : numbers) {
        text += ZslPolicy::format("%s%u%s", before, number, after);
    }
    return text;
}

/// "100 104 ": the keys of a map, each followed by a blank.
template <typename Map>
std::string renderKeys(Map const& map) {
    std::string text;
    for (auto const& entry : map) {
        text += ZslPolicy::format("%u ", entry.first);
    }
    return text;
}

/// "index=100 104 ", or "index=null " without a burst.
template <typename Record>
std::string renderBursts(std::map<RequestNo, Record> const& bursts) {
    return "index=" + (bursts.empty() ? "null " : renderKeys(bursts));
}

/// "R100[hF87] R101[hF4294967295] "
std::string renderMapping(std::map<RequestNo, FrameNo> const& mapping);

/// Sorts the frame numbers and drops repeated ones.
void makeOrderedSet(std::vector<FrameNo>& frameNos);

/// The numbers of all frames the host knows, ascending: history and in flight. `isSkipped(where, frameNo)`, with
/// where = "history" or "inflight", leaves a frame out; it sees every frame once, in the host's order.
template <typename IsSkipped>
std::vector<FrameNo> knownFrames(ISelector::SelectInputParams const& in, IsSkipped isSkipped) {
    std::vector<FrameNo> frameNos;
    frameNos.reserve(in.history.size() + in.inflight.size());
    auto const collect = [&](auto const& frames, char const* where) {
        for (auto const& entry : frames) {
            FrameNo const frameNo = entry.second.frameNo;
            if (!isSkipped(where, frameNo)) {
                frameNos.push_back(frameNo);
            }
        }
    };
    collect(in.history, "history");
    collect(in.inflight, "inflight");
    makeOrderedSet(frameNos);
    return frameNos;
}

/// The location codes of a strategy's error lines.
struct BurstLines {
    int unknownBurst;
    int notCreated;
    int noMapping;
};

/// One call of a strategy on behalf of one request of a burst. Collects the call's output.
class BurstCall {
  public:
    using SelectInputParams = ISelector::SelectInputParams;
    using HistoryFrame = ISelector::HistoryFrame;

    BurstCall(RequestLog const& log, BurstLines const& lines, SelectInputParams const& in)
        : mLog(log), mLines(lines), mIn(in) {}

    /// The number of the burst's first request; wraps around like request numbers do.
    RequestNo base() const { return mIn.requestNo - static_cast<uint32_t>(mIn.ispHidlFrameIdx); }

    /// The number of requests in the burst, by the calling request's word; at least 1.
    size_t size() const { return static_cast<size_t>(mIn.ispHidlFrameCnt); }

    /// The burst's record; the request with index 0 creates it. Null, with an ERROR line, when another request
    /// finds none: the burst's first request never came, or the burst has been retired.
    template <typename Record>
    Record* findOrCreate(std::map<RequestNo, Record>& bursts) const;

    /// The history frame with this number, or null.
    HistoryFrame const* findInHistory(FrameNo frameNo) const {
        auto const frame = mIn.history.find(frameNo);
        return frame == mIn.history.end() ? nullptr : &frame->second;
    }

    /// Gives the burst's request with this index a frame to wait for.
    void assign(BurstRecord& burst, uint32_t index, FrameNo frameNo) const {
        burst.mapping[base() + index] = frameNo;
        burst.needSelectReqs.insert(base() + index);
    }

    /// Gives every request of the burst a capture without ZSL.
    void assignNonZsl(BurstRecord& burst) const;

    /// Once the calling request has waited `timeoutMs`: turns every unserved request to non-ZSL and releases
    /// the locked frames they were waiting for.
    void applyTimeout(BurstRecord& burst, int64_t timeoutMs);

    /// Answers the calling request if it is the oldest unserved one and its frame is in the history or none,
    /// then asks for locks on the frames of the requests still unserved.
    void serveAndLock(BurstRecord& burst);

    /// Forgets the burst. `bursts` holds it.
    template <typename Record>
    void erase(std::map<RequestNo, Record>& bursts) const;

    /// Asks the host for an operation; the first one for a frame wins.
    void addFrameOp(FrameNo frameNo, ISelector::OpT operation) { mOut.frameOps.emplace(frameNo, operation); }

    /// Reports the burst's mapping; `occasion` says what changed it.
    void logMapping(BurstRecord const& burst, char const* occasion = "") const;

    /// Hands over the output; the call is over.
    ISelector::SelectOutputParams takeOutput() { return std::move(mOut); }

  private:
    void serve(BurstRecord& burst);
    void lockAssignedFrames(BurstRecord const& burst);

    RequestLog const& mLog;
    BurstLines const& mLines;
    SelectInputParams const& mIn;
    ISelector::SelectOutputParams mOut;
};

template <typename Record>
Record* BurstCall::findOrCreate(std::map<RequestNo, Record>& bursts) const {
    if (auto const known = bursts.find(base()); known != bursts.end()) {
        return &known->second;
    }
    if (mIn.ispHidlFrameIdx != 0) {
        ZSL_LOGE(
            "[%s] %s INVALID: fail to find IspHidlReqObj(%u - %d), please check frame count/index of R%u (cnt=%d, "
            "idx=%d) : IspHidlReqObj={%s} (%s){#%d:%s}",
            mLog.function, mLog.name(), mIn.requestNo, mIn.ispHidlFrameIdx, mIn.requestNo, mIn.ispHidlFrameCnt,
            mIn.ispHidlFrameIdx, renderBursts(bursts).c_str(), mLog.function, mLines.unknownBurst, kSelectorPath);
        return nullptr;
    }
    auto const [created, isInserted] = bursts.try_emplace(base());
    if (!isInserted) {
        ZSL_LOGE("[Fatal] [%s] %s INVALID: fail to create a new IspHidlReqObj(%u - %d),  (%s){#%d:%s}",
                 mLog.function, mLog.name(), mIn.requestNo, 0, mLog.function, mLines.notCreated, kSelectorPath);
        fatal(mLog.function, mLines.notCreated);
    }
    ZSL_LOGI("[%s] %s EMPLACE: new IspHidlReqObj(%u - %d), existing IspHidlReqObj={%s}", mLog.function, mLog.name(),
             mIn.requestNo, 0, renderBursts(bursts).c_str());
    return &created->second;
}

template <typename Record>
void BurstCall::erase(std::map<RequestNo, Record>& bursts) const {
    bursts.erase(base());
    ZSL_LOGI("[%s] %s ERASE: (operate at R%u) IspHidlReqObj[index=%u], remaining IspHidlReqObj={%s}", mLog.function,
             mLog.name(), mIn.requestNo, base(), renderBursts(bursts).c_str());
}

}  // namespace NSCam::Sample
