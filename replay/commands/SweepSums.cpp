#include "SweepSums.h"

#include <fmt/core.h>

#include <iostream>

#include "replay/model/Printable.h"

namespace Replay {

void SweepSums::take(size_t input, size_t combination, ChildEnd const& end) {
    auto const entry = mInputs.find(input);
    if (end.failure) {
        fail(entry->second, *end.failure);
    } else {
        SweepAnswer const answer = unpackSweepAnswer(end.answer);
        mTallies[combination].add(answer.tally);
        if (mObjects != nullptr) {
            printObject(*mObjects, entry->second.name, answer);
        }
    }
    if (--entry->second.left == 0) {
        mInputs.erase(entry);
    }
    ++mPlayed;
    mProgress.show(fmt::format("{} played, {} inputs failed", mPlayed, mFailed));
}

void SweepSums::fail(Input& input, Failure const& failure) {
    if (!input.hasFailed && !mIsPluginMissing) {
        input.hasFailed = true;
        ++mFailed;
        mProgress.clear();
        bool const isNamed = failure.isPluginMissing || failure.text.compare(0, input.name.size(), input.name) == 0;
        std::cerr << "zsl-replay: " << printable((isNamed ? "" : input.name + ": ") + failure.text) << '\n';
    }
    mIsPluginMissing = mIsPluginMissing || failure.isPluginMissing;
}

}  // namespace Replay
