// What the calls of a recording show of frames: when each was first in flight, landed, left or got lost.
#pragma once

#include <deque>

#include "Expansion.h"
#include "RecordedCalls.h"

namespace Replay {

/// The frames of one selector, or of several with the same frames. Calls are on the clock of the calls, timestamps
/// on that of the sensor; the times of the frames given back are on the sensor's.
class RecordedFrames {
  public:
    explicit RecordedFrames(Expansion& expansion) : mExpansion(expansion) {}

    /// A call at `nowNs`; the one before was at `beforeNs`. `place` is for complaints.
    void take(RecordedInput const& input, int64_t beforeNs, int64_t nowNs, std::string const& place);

    /// The shortest time from a frame's timestamp to the call that shows it in the history: its latency, and how
    /// far the clock of the calls is ahead. Nothing: no frame landed.
    std::optional<int64_t> shortestLatency() const;

    /// All frames, in the order of their timestamps. What happened between two calls, which does not show, is
    /// placed: each frame lands as long after its timestamp as the one that was soonest to, and old frames leave
    /// when new ones land.
    std::vector<Frame> place(int64_t sensorToCallOffset);

    /// Keys of frames that came back after they had gone, or a second time with another timestamp: selectors that
    /// seem to share frames do not, or the camera began to count anew.
    std::set<FrameNo> const& restarted() const { return mRestarted; }

    /// Keys of frames that were told with other streams or metadata after they had landed.
    std::set<FrameNo> const& changed() const { return mChanged; }

    /// The most that were in the history at once.
    size_t depth() const { return mDepth; }

  private:
    /// A change that one call did not show and the next one does.
    struct Change {
        int64_t afterNs = 0;
        int64_t byNs = 0;

        /// The time, if it was not the one expected, that comes nearest.
        int64_t at(int64_t expectedNs) const { return std::min(std::max(expectedNs, afterNs + 1), byNs); }
    };

    struct Seen {
        Frame frame;
        Change shown = {};
        std::optional<Change> landed = {};
        std::optional<Change> lost = {};  // out of flight, not landed
        std::optional<Change> left = {};
    };

    Seen& seenAs(FrameNo key, FrameNo frameNo);
    void land(Seen& seen, ISelector::HistoryFrame const& frame, std::string const& place);
    static bool isSame(Frame const& known, ISelector::HistoryFrame const& frame);
    void placeLandings(int64_t sensorToCallOffset);
    void placeLeaving();

    Expansion& mExpansion;
    std::map<FrameNo, Seen> mFrames;
    std::vector<FrameNo> mInHistory;  // at the last call
    std::vector<FrameNo> mInFlight;   // at the last call
    Change mBetween;                  // the call before and this one
    size_t mDepth = 0;
    std::set<FrameNo> mRestarted;
    std::set<FrameNo> mChanged;
};

}  // namespace Replay
