// The per-request log name.
#pragma once

#include <cstdio>

#include "zsl/policy/ISelector.h"

namespace NSCam::Sample {

/// "[r58,0/1000ms]<ispHidlSelect_Latest>IspHidl(1/3)": request number, time waited and time-out in
/// milliseconds, the strategy's word and, unless both are -1, the place in the burst and its size.
/// The text is built when it is first printed: most requests are served with every gate closed.
class LogName {
  public:
    /// `word` has static storage; `in` outlives the name.
    // NOLINTNEXTLINE(cppcoreguidelines-pro-type-member-init): the room for the text is not cleared for every call.
    LogName(char const* word, ZslPolicy::ISelector::SelectInputParams const& in, int64_t timeoutMs)
        : mWord(word), mIn(in), mTimeoutMs(timeoutMs) {
        mText[0] = '\0';
    }

    char const* c_str() const {
        if (mText[0] == '\0') {
            int const idx = mIn.ispHidlFrameIdx;
            int const cnt = mIn.ispHidlFrameCnt;
            if (idx == -1 && cnt == -1) {
                std::snprintf(mText, sizeof mText, "[r%u,%ld/%ldms]<%s>", mIn.requestNo, mIn.elapsedMs, mTimeoutMs,
                              mWord);
            } else {
                std::snprintf(mText, sizeof mText, "[r%u,%ld/%ldms]<%s>IspHidl(%d/%d)", mIn.requestNo,
                              mIn.elapsedMs, mTimeoutMs, mWord, idx, cnt);
            }
        }
        return mText;
    }

  private:
    char const* mWord;
    ZslPolicy::ISelector::SelectInputParams const& mIn;
    int64_t mTimeoutMs;
    mutable char mText[160];  // the longest numbers and word take 122
};

}  // namespace NSCam::Sample
