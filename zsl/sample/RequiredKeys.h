// The frame indices that a selection has to answer.
#pragma once

#include "zsl/policy/ISelector.h"

namespace NSCam::Sample {

/// The keys of `requiredFrames` and, for a selection on behalf of a whole burst, 1 ... burstCnt - 1 as well;
/// ascending, each once. Walks the host's map, which must outlive it; nothing is copied.
class RequiredKeys {
  public:
    using RequiredFrames = std::map<int32_t, ZslPolicy::ISelector::ZslFrameInfo>;

    explicit RequiredKeys(RequiredFrames const& frames, int32_t burstCnt = 1)
        : mFrames(frames), mBurstCnt(burstCnt) {}

    size_t size() const {
        size_t count = mFrames.size();
        if (mBurstCnt > 1) {
            auto const shared = std::distance(mFrames.lower_bound(1), mFrames.lower_bound(mBurstCnt));
            count += static_cast<size_t>(mBurstCnt - 1) - static_cast<size_t>(shared);
        }
        return count;
    }

    class Iterator {
      public:
        Iterator(RequiredFrames::const_iterator frame, RequiredFrames::const_iterator end, int32_t index,
                 int32_t burstCnt)
            : mFrame(frame), mEnd(end), mIndex(index), mBurstCnt(burstCnt) {}

        int32_t operator*() const {
            bool const isFrame = mFrame != mEnd && (mIndex >= mBurstCnt || mFrame->first <= mIndex);
            return isFrame ? mFrame->first : mIndex;
        }

        Iterator& operator++() {
            int32_t const key = **this;
            if (mFrame != mEnd && mFrame->first == key) {
                ++mFrame;
            }
            if (mIndex < mBurstCnt && mIndex == key) {
                ++mIndex;
            }
            return *this;
        }

        bool operator!=(Iterator const& other) const { return mFrame != other.mFrame || mIndex != other.mIndex; }

      private:
        RequiredFrames::const_iterator mFrame;
        RequiredFrames::const_iterator mEnd;
        int32_t mIndex;  // the next index of the burst
        int32_t mBurstCnt;
    };

    Iterator begin() const { return {mFrames.begin(), mFrames.end(), 1, mBurstCnt}; }
    Iterator end() const { return {mFrames.end(), mFrames.end(), mBurstCnt, mBurstCnt}; }

  private:
    RequiredFrames const& mFrames;
    int32_t mBurstCnt;  // at least 1
};

}  // namespace NSCam::Sample
