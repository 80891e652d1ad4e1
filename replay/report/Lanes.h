// Where spans that overlap stand beside one another.
#pragma once

#include <functional>
#include <queue>
#include <set>
#include <utility>
#include <vector>

namespace Replay {

/// Gives out lanes to spans in the order of their beginnings: to each the first lane that is free.
template <typename Time>
class Lanes {
  public:
    size_t take(Time from, Time to) {
        while (!mBusy.empty() && mBusy.top().first <= from) {
            mFree.insert(mBusy.top().second);
            mBusy.pop();
        }
        if (mFree.empty()) {
            mFree.insert(mSize++);
        }
        size_t const lane = *mFree.begin();
        mFree.erase(mFree.begin());
        mBusy.emplace(to, lane);
        return lane;
    }

    size_t size() const { return mSize; }

  private:
    using Busy = std::pair<Time, size_t>;  // until when, which

    std::priority_queue<Busy, std::vector<Busy>, std::greater<>> mBusy;
    std::set<size_t> mFree;
    size_t mSize = 0;
};

}  // namespace Replay
