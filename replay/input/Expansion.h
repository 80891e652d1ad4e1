// How much a text may become: a run of frames is one line, and a list of streams is repeated in each of them.
#pragma once

#include "replay/model/Session.h"

namespace Replay {

constexpr int64_t kMaxFrames = 100000;        ///< of an input; almost an hour at 30 frames a second
constexpr int64_t kMaxRequests = 100000;      ///< of an input
constexpr int64_t kMaxBurstRequests = 10000;  ///< of an input, that bursts stand for: all may wait at every event
constexpr int64_t kMaxRun = 1024;             ///< frames of a request, requests of a burst
constexpr double kMaxMs = 1e7;                ///< a session's length, almost three hours

/// Values a frame or request holds: itself, its stream ids, the items of its metadata, and the like.
size_t valuesOf(Frame const& frame);
size_t valuesOf(Request const& request);

/// Counts what becomes of one input.
class Expansion {
  public:
    /// A text without repetitions, as a recording of an hour is, may become as much as its length needs.
    explicit Expansion(size_t textSize) : mMost(kMostValues + textSize / kBytesAValue) {}

    /// To be called before so many values are made. Throws InputError, which begins with `place` and names the
    /// bound.
    void add(size_t values, std::string const& place) { add(values, 1, place); }
    void add(size_t values, size_t times, std::string const& place);

  private:
    static constexpr size_t kMostValues = 5000000;  // some 500 MB
    static constexpr size_t kBytesAValue = 16;

    size_t mMost;
    size_t mCount = 0;
};

}  // namespace Replay
