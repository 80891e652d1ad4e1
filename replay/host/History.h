// The frames that a host holds: those in flight, and the history, whose frames stay while they are locked or kept.
#pragma once

#include "Outcome.h"

namespace Replay {

class History {
  public:
    /// Frames leave when there are more than `depth`. `lives` is told what becomes of each frame of the session; it
    /// may be empty, else it has one entry a frame.
    History(Session const& session, size_t depth, std::vector<FrameLife>& lives);

    /// The frame is in flight from now on.
    void begin(Frame const& frame);

    /// The frame is in flight no more, and unless it was lost, in the history.
    void land(Frame const& frame, int64_t nowNs);

    /// The frame is to leave when nobody holds it.
    void leave(FrameNo frameNo, int64_t nowNs);

    /// Lends what it holds to a call's input, and takes it back: nothing is copied.
    void swapInto(ISelector::SelectInputParams& in);

    /// Null: it is not in the history.
    ISelector::HistoryFrame const* find(FrameNo frameNo) const;

    /// Locks or unlocks the frame, if it is there.
    void setLocked(FrameNo frameNo, bool isLocked, int64_t nowNs);

    /// The frames that are kept for a request, in place of those that were before. Frames that nobody holds any
    /// more leave.
    void keepFor(size_t request, std::vector<FrameNo> const& frames, int64_t nowNs);

    /// Ends the times of what is locked still, and answers how many frames are.
    size_t endLocks(int64_t nowNs);

    /// Null when nothing is to be told of frames.
    FrameLife* lifeOf(FrameNo frameNo);

  private:
    using Entry = std::map<FrameNo, ISelector::HistoryFrame>::iterator;

    bool isHeld(Entry entry) const { return entry->second.locked || mKept.count(entry->first) != 0; }
    void remove(Entry entry, int64_t nowNs);
    void evict(int64_t nowNs);
    void noteLock(FrameNo frameNo, bool wasLocked, bool isLocked, int64_t nowNs);

    size_t mDepth;
    std::vector<FrameLife>& mLives;
    std::map<FrameNo, size_t> mLifeIndex;
    std::map<FrameNo, int64_t> mLockedSinceNs;
    std::map<FrameNo, ISelector::HistoryFrame> mHistory;
    std::map<FrameNo, ISelector::InflightFrame> mInflight;
    std::set<FrameNo> mLeaving;                      // that are to leave when nobody holds them
    std::map<size_t, std::vector<FrameNo>> mKeptBy;  // by request
    std::multiset<FrameNo> mKept;
};

}  // namespace Replay
