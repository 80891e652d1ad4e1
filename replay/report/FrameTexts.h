// A played session's frames in words.
#pragma once

#include "Report.h"

namespace Replay {

class FrameTexts {
  public:
    /// `played`, which has to be explained, has to outlive it.
    explicit FrameTexts(PlayedSession const& played);

    /// Frame `index` of the session in a line: exposure, verdicts, locks, who took it.
    std::string operator[](size_t index) const;

    bool isTaken(FrameNo frameNo) const { return mTakers.count(frameNo) != 0; }

  private:
    PlayedSession const& mPlayed;
    int64_t mStartNs;
    std::multimap<FrameNo, RequestNo> mTakers;
};

}  // namespace Replay
