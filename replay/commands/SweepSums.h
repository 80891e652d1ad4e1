// The sums of a sweep, and what is said of inputs that fail, as one after the other ends.
#pragma once

#include "Progress.h"
#include "SweepAnswer.h"
#include "replay/run/ChildProcess.h"

namespace Replay {

class SweepSums {
  public:
    /// `objects`: where each answer is printed as it comes; may be null.
    SweepSums(size_t combinations, std::ostream* objects)
        : mCombinations(combinations), mTallies(combinations), mObjects(objects) {}

    /// An input is about to be played under all combinations.
    void begin(size_t input, std::string const& name) { mInputs[input] = {name, mCombinations, false}; }

    /// An input was played under a combination. The first failure of each input is told on standard error.
    void take(size_t input, size_t combination, ChildEnd const& end);

    /// No other input will fare better.
    bool isPluginMissing() const { return mIsPluginMissing; }

    size_t failed() const { return mFailed; }
    std::vector<Tally> const& tallies() const { return mTallies; }
    void clearProgress() { mProgress.clear(); }

  private:
    struct Input {
        std::string name;
        size_t left = 0;  // combinations
        bool hasFailed = false;
    };

    void fail(Input& input, Failure const& failure);

    size_t mCombinations;
    std::vector<Tally> mTallies;
    std::ostream* mObjects;
    std::map<size_t, Input> mInputs;  // that are being played
    size_t mPlayed = 0;
    size_t mFailed = 0;
    bool mIsPluginMissing = false;
    Progress mProgress;
};

}  // namespace Replay
