// The per-request log name.
#pragma once

#include <string>

#include "zsl/policy/Format.h"
#include "zsl/policy/ISelector.h"

namespace NSCam::Sample {

/// "[r58,0/1000ms]<ispHidlSelect_Latest>IspHidl(1/3)": request number, time waited and time-out in
/// milliseconds, the strategy's word and, unless both are -1, the place in the burst and its size.
/// The text is built when it is first printed: most requests are served with every gate closed.
class LogName {
  public:
    /// `word` has static storage.
    LogName(char const* word, ZslPolicy::ISelector::SelectInputParams const& in, int64_t timeoutMs)
        : mWord(word),
          mRequestNo(in.requestNo),
          mElapsedMs(in.elapsedMs),
          mTimeoutMs(timeoutMs),
          mIdx(in.ispHidlFrameIdx),
          mCnt(in.ispHidlFrameCnt) {}

    char const* c_str() const {
        if (mText.empty()) {
            mText = ZslPolicy::format("[r%u,%ld/%ldms]<%s>", mRequestNo, mElapsedMs, mTimeoutMs, mWord);
            if (mIdx != -1 || mCnt != -1) {
                mText += ZslPolicy::format("IspHidl(%d/%d)", mIdx, mCnt);
            }
        }
        return mText.c_str();
    }

  private:
    char const* mWord;
    ZslPolicy::RequestNo mRequestNo;
    int64_t mElapsedMs;
    int64_t mTimeoutMs;
    int32_t mIdx;
    int32_t mCnt;
    mutable std::string mText;
};

}  // namespace NSCam::Sample
