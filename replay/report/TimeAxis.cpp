#include "TimeAxis.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "Numbers.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

/// From one time to a later one, as far apart as they may be.
double distanceNs(int64_t from, int64_t to) {
    return static_cast<double>(static_cast<uint64_t>(to) - static_cast<uint64_t>(from));
}

/// A number of milliseconds that people count in, and that takes at least some 90 pixels.
double stepFor(double pixelsPerMs) {
    constexpr double kWidth = 90;
    for (double const step : {1.0, 5.0, 10.0, 50.0, 100.0, 500.0, 1000.0, 5000.0, 10000.0, 60000.0, 600000.0}) {
        if (step * pixelsPerMs >= kWidth) {
            return step;
        }
    }
    double hours = 1;
    while (hours * 3600000 * pixelsPerMs < kWidth) {
        hours *= 10;
    }
    return hours * 3600000;
}

}  // namespace

TimeAxis::TimeAxis(std::vector<int64_t> momentsNs, int64_t zeroNs, double pixelsPerNs)
    : mZeroNs(zeroNs), mPixelsPerNs(pixelsPerNs) {
    momentsNs.push_back(zeroNs);
    std::sort(momentsNs.begin(), momentsNs.end());
    mStretches.push_back({momentsNs.front(), momentsNs.front(), 0});
    for (int64_t const ns : momentsNs) {
        Stretch& last = mStretches.back();
        if (distanceNs(last.toNs, ns) * mPixelsPerNs > kLongest) {
            mStretches.push_back({ns, ns, placeIn(last, last.toNs) + kCut});
        } else {
            last.toNs = ns;
        }
    }
}

double TimeAxis::placeIn(Stretch const& stretch, int64_t ns) const {
    return stretch.place + distanceNs(stretch.fromNs, ns) * mPixelsPerNs;
}

double TimeAxis::place(int64_t ns) const {
    auto const next =
        std::upper_bound(mStretches.begin(), mStretches.end(), ns,
                         [](int64_t value, Stretch const& stretch) { return value < stretch.fromNs; });
    return placeIn(*std::prev(next), ns);
}

std::vector<TimeAxis::Mark> TimeAxis::cuts() const {
    std::vector<Mark> marks;
    for (size_t index = 1; index < mStretches.size(); ++index) {
        Stretch const& before = mStretches[index - 1];
        double const ms = distanceNs(before.toNs, mStretches[index].fromNs) / static_cast<double>(kNsPerMs);
        marks.push_back({placeIn(before, before.toNs), durationText(ms)});
    }
    return marks;
}

std::vector<TimeAxis::Mark> TimeAxis::ticks(double end) const {
    double const pixelsPerMs = mPixelsPerNs * static_cast<double>(kNsPerMs);
    double const step = stepFor(pixelsPerMs);
    std::vector<Mark> marks;
    for (Stretch const& stretch : mStretches) {
        bool const isLast = &stretch == &mStretches.back();
        double const to = isLast ? end : placeIn(stretch, stretch.toNs);
        double const fromMs = toMs(stretch.fromNs - mZeroNs);
        double count = std::ceil(fromMs / step);
        auto const place = [&] { return stretch.place + (count * step - fromMs) * pixelsPerMs; };
        for (; place() <= to; ++count) {
            marks.push_back({place(), shortText(count * step) + " ms"});
        }
    }
    return marks;
}

}  // namespace Replay
