// What all bursts of reprocess requests share, whatever frames they are served with: the record is found or
// created by the burst's base request, requests are served in strict order and one a call, the frames of
// unserved requests are locked, and the record is retired with its last request. Two of the three strategies also
// turn the rest of a burst to non-ZSL after the time-out; first in, first out has none of its own. A strategy adds
// how it chooses and re-checks frames.
//
// A call that an allocation ends early leaves the selector as it was before the call: see BurstInWork.
#pragma once

#include <exception>
#include <optional>
#include <string>
#include <tuple>
#include <utility>
#include <vector>

#include "zsl/policy/Format.h"
#include "zsl/sample/Log.h"

namespace NSCam::Sample {

using ZslPolicy::FrameNo;
using ZslPolicy::ISelector;
using ZslPolicy::RequestNo;

/// What the selector remembers of a burst between calls, for the strategies that assign one history frame to
/// each request. Records are keyed by the burst's base request, the number of its first request. A request
/// leaves `needSelectReqs` only when it is served, and every request in it has an entry in `mapping`.
struct BurstRecord {
    std::set<RequestNo> needSelectReqs;    ///< the burst's requests that have not been served
    std::map<RequestNo, FrameNo> mapping;  ///< the frame of each request; kNoFrame: a capture without ZSL
};

/// `before`, the number and `after` for each number of the range.
template <typename Numbers>
std::string renderNumbers(Numbers const& numbers, char const* before, char const* after) {
    std::string text;
    for (uint32_t const number : numbers) {
        text += before + std::to_string(number) + after;
    }
    return text;
}

/// "100 104 ": the keys of a map, each followed by a blank.
template <typename Map>
std::string renderKeys(Map const& map) {
    std::string text;
    for (auto const& entry : map) {
        text += std::to_string(entry.first) + " ";
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

/// The location codes of a strategy's error lines.
struct BurstLines {
    int unknownBurst;
    int notCreated;
    int noMapping;
};

/// A burst's record while one call works on it. If the call ends in an exception (memory is exhausted: nothing
/// else throws), the record is as it was before: what the call created is gone, what it changed is undone.
template <typename Record>
class BurstInWork {
  public:
    using Bursts = std::map<RequestNo, Record>;

    BurstInWork(Bursts& bursts, RequestNo base) : mBursts(bursts), mBase(base), mPlace(bursts.find(base)) {}
    BurstInWork(BurstInWork const&) = delete;
    BurstInWork& operator=(BurstInWork const&) = delete;

    ~BurstInWork() {
        if (std::uncaught_exceptions() == mExceptions) {
            return;
        }
        if (mIsNew) {
            mBursts.erase(mPlace);
        } else if (mBefore) {
            mPlace->second = std::move(*mBefore);
        }
    }

    bool exists() const { return mPlace != mBursts.end(); }

    /// False when there is such a record already.
    bool create() {
        std::tie(mPlace, mIsNew) = mBursts.try_emplace(mBase);
        return mIsNew;
    }

    Record const& operator*() const { return mPlace->second; }
    Record const* operator->() const { return &mPlace->second; }

    /// The record, to be changed. The first use keeps a copy of what it was.
    Record& change() {
        if (!mIsNew && !mBefore) {
            mBefore = mPlace->second;
        }
        return mPlace->second;
    }

    /// The last thing a call does, so nothing has to be kept: strikes a served request off.
    void strikeOff(RequestNo requestNo) { mPlace->second.needSelectReqs.erase(requestNo); }
    /// Likewise: forgets the burst.
    void erase() { mBursts.erase(mPlace); }

    RequestNo base() const { return mBase; }
    Bursts const& all() const { return mBursts; }

    /// "index=104 ", or "index=null ": the bursts there are but for this one.
    std::string renderOthers() const {
        std::string text;
        for (auto const& entry : mBursts) {
            text += entry.first == mBase ? "" : std::to_string(entry.first) + " ";
        }
        return "index=" + (text.empty() ? "null " : text);
    }

  private:
    Bursts& mBursts;
    RequestNo mBase;
    typename Bursts::iterator mPlace;
    bool mIsNew = false;
    std::optional<Record> mBefore;
    int mExceptions = std::uncaught_exceptions();
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

    /// Sees to it that the burst has a record; the request with index 0 creates it. False, with an ERROR line, when
    /// another request finds none: the burst's first request never came, or the burst has been retired.
    template <typename Record>
    bool findOrCreate(BurstInWork<Record>& burst) const;

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

    /// The calling request has reached the time-out: turns every unserved request to non-ZSL and releases the
    /// locked frames they were waiting for.
    void timeOut(BurstRecord& burst);

    /// Answers the calling request if it is the oldest unserved one and its frame is in the history or none,
    /// then asks for locks on the frames of the requests still unserved. The record does not change: end() does it.
    void serveAndLock(BurstRecord const& burst);

    /// Whether the burst is over once this call has ended.
    bool isOver(BurstRecord const& burst) const {
        return burst.needSelectReqs.size() <= mOut.selectedFrames.size();
    }

    /// Asks the host for an operation; the first one for a frame wins.
    void addFrameOp(FrameNo frameNo, ISelector::OpT operation) { mOut.frameOps.emplace(frameNo, operation); }

    /// Reports that the burst's requests have been assigned their frames.
    void logMapping(BurstRecord const& burst) const;

    /// Strikes the served request off, or retires the burst with its last one, and hands over the output.
    template <typename Record>
    ISelector::SelectOutputParams end(BurstInWork<Record>& burst);

    /// Hands over the output of a call that leaves the request pending.
    ISelector::SelectOutputParams takeOutput() { return std::move(mOut); }

    /// Reports that the burst is forgotten.
    template <typename Record>
    void logErase(BurstInWork<Record> const& burst) const;

  private:
    void serve(BurstRecord const& burst);
    void lockAssignedFrames(BurstRecord const& burst);

    RequestLog const& mLog;
    BurstLines const& mLines;
    SelectInputParams const& mIn;
    ISelector::SelectOutputParams mOut;
};

template <typename Record>
bool BurstCall::findOrCreate(BurstInWork<Record>& burst) const {
    if (burst.exists()) {
        return true;
    }
    if (mIn.ispHidlFrameIdx != 0) {
        ZSL_LOGE(
            "[%s] %s INVALID: fail to find IspHidlReqObj(%u - %d), please check frame count/index of R%u (cnt=%d, "
            "idx=%d) : IspHidlReqObj={%s} (%s){#%d:%s}",
            mLog.function, mLog.name(), mIn.requestNo, mIn.ispHidlFrameIdx, mIn.requestNo, mIn.ispHidlFrameCnt,
            mIn.ispHidlFrameIdx, renderBursts(burst.all()).c_str(), mLog.function, mLines.unknownBurst,
            kSelectorPath);
        return false;
    }
    if (!burst.create()) {
        ZSL_LOGE("[Fatal] [%s] %s INVALID: fail to create a new IspHidlReqObj(%u - %d),  (%s){#%d:%s}",
                 mLog.function, mLog.name(), mIn.requestNo, 0, mLog.function, mLines.notCreated, kSelectorPath);
        fatal(mLog.function, mLines.notCreated);
    }
    ZSL_LOGI("[%s] %s EMPLACE: new IspHidlReqObj(%u - %d), existing IspHidlReqObj={%s}", mLog.function, mLog.name(),
             mIn.requestNo, 0, renderBursts(burst.all()).c_str());
    return true;
}

template <typename Record>
ISelector::SelectOutputParams BurstCall::end(BurstInWork<Record>& burst) {
    if (isOver(*burst)) {
        logErase(burst);
        burst.erase();
    } else if (!mOut.selectedFrames.empty()) {
        burst.strikeOff(mIn.requestNo);
    }
    return takeOutput();
}

template <typename Record>
void BurstCall::logErase(BurstInWork<Record> const& burst) const {
    ZSL_LOGI("[%s] %s ERASE: (operate at R%u) IspHidlReqObj[index=%u], remaining IspHidlReqObj={%s}", mLog.function,
             mLog.name(), mIn.requestNo, base(), burst.renderOthers().c_str());
}

}  // namespace NSCam::Sample
