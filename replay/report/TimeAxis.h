// Session time along a picture, with long stretches in which nothing happens cut out.
#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace Replay {

class TimeAxis {
  public:
    /// `momentsNs` are all the times that will be drawn, in any order; times are told from `zeroNs` on. A stretch
    /// between two moments that is longer than `kLongest` becomes a cut of `kCut`. All lengths are pixels.
    TimeAxis(std::vector<int64_t> momentsNs, int64_t zeroNs, double pixelsPerNs);

    static constexpr double kLongest = 1440;
    static constexpr double kCut = 100;

    /// Where one of the moments is, from the first one.
    double place(int64_t ns) const;

    struct Mark {
        double place;
        std::string text;
    };

    /// The cuts, by their left ends, and how long they last.
    std::vector<Mark> cuts() const;

    /// Even times, at least some 90 pixels apart, up to `end`: at most so many as have room.
    std::vector<Mark> ticks(double end) const;

  private:
    /// A part of the axis without a cut.
    struct Stretch {
        int64_t fromNs;
        int64_t toNs;
        double place;  // of its beginning
    };

    double placeIn(Stretch const& stretch, int64_t ns) const;

    std::vector<Stretch> mStretches;
    int64_t mZeroNs;
    double mPixelsPerNs;
};

}  // namespace Replay
