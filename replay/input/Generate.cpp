#include "Generate.h"

#include <fmt/core.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "Expansion.h"
#include "replay/model/InputError.h"

namespace Replay {

namespace {

/// Numbers by chance. The engine is the same everywhere; the distributions of the standard libraries are not.
class Dice {
  public:
    explicit Dice(uint32_t seed) : mEngine(seed) {}

    /// From `least` to `most`.
    int64_t between(int64_t least, int64_t most) {
        return least + static_cast<int64_t>(mEngine()) % (most - least + 1);
    }

    bool oneIn(int64_t chances) { return between(1, chances) == 1; }

  private:
    std::mt19937 mEngine;
};

/// Something that rests most of the time, and is disturbed for some frames now and then.
class Disturbance {
  public:
    Disturbance(Dice& dice, int64_t rest, int64_t leastFrames, int64_t mostFrames)
        : mDice(dice), mRest(rest), mLeast(leastFrames), mMost(mostFrames), mNext(dice.between(0, rest)) {}

    /// Goes on to the next frame; how many frames of the disturbance are left, this one included, 0: at rest.
    int64_t next() {
        if (mLeft > 0) {
            --mLeft;
        } else if (--mNext <= 0) {
            mLeft = mDice.between(mLeast, mMost);
            mNext = mDice.between(mRest / 3, mRest);
        }
        return mLeft;
    }

  private:
    Dice& mDice;
    int64_t mRest;
    int64_t mLeast;
    int64_t mMost;
    int64_t mNext;
    int64_t mLeft = 0;
};

/// Microseconds as milliseconds, with at least one decimal.
std::string inMs(int64_t microseconds) {
    std::string text = fmt::format("{}.{:03}", microseconds / 1000, microseconds % 1000);
    size_t const last = text.find_last_not_of('0');
    return text.substr(0, last + (text[last] == '.' ? 2 : 1));
}

/// Metadata of a frame by stream, as a session file has it.
struct FrameMeta {
    std::string app;
    std::string hal;
    bool operator==(FrameMeta const& other) const { return app == other.app && hal == other.hal; }
};

/// The scene, frame by frame.
class Scene {
  public:
    Scene(Dice& dice, double fps, size_t sensors)
        : mDice(dice),
          mSensors(sensors),
          mFocus(dice, std::llround(3 * fps), 5, std::max<int64_t>(6, std::llround(fps / 2))),
          mExposure(dice, std::llround(4 * fps), 4, 10),
          mSync(dice, std::llround(5 * fps), 3, 8) {}

    FrameMeta next() {
        int64_t const scan = mFocus.next();
        if (scan > 0) {
            mIsFocused = !mDice.oneIn(6 * scan);  // some scans end without focus
        }
        int64_t const search = mExposure.next();
        mUnsettled = search > 0 ? 3 : std::max<int64_t>(0, mUnsettled - 1);  // the soft state follows
        bool const isInSync = mSync.next() == 0;

        char const* const focus = scan > 0 ? "PASSIVE_SCAN" : mIsFocused ? "PASSIVE_FOCUSED" : "PASSIVE_UNFOCUSED";
        std::string const app =
            fmt::format(R"({{"100":{{"android.control.afMode":"CONTINUOUS_PICTURE","android.control.afState":"{}",)"
                        R"("android.lens.state":"{}","android.control.aeState":"{}",)"
                        R"("android.control.aeExposureCompensation":0}}}})",
                        focus, scan > 1 ? "MOVING" : "STATIONARY", search > 0 ? "SEARCHING" : "CONVERGED");
        std::string hal;
        for (size_t sensor = 0; sensor < mSensors; ++sensor) {
            char const* const sync = mSensors == 1 ? ""
                                     : isInSync    ? R"(,"frameSyncResult":0)"
                                                   : R"(,"frameSyncResult":1)";
            hal += fmt::format(
                R"({}"{}":{{"VZR_HAL_REQUEST_SENSOR_ID":{},"VZR_P1NODE_SENSOR_MODE":1,"softAeState":{}{}}})",
                hal.empty() ? "" : ",", 200 + sensor, sensor, mUnsettled > 0 ? 0 : 1, sync);
        }
        return {app, "{" + hal + "}"};
    }

  private:
    Dice& mDice;
    size_t mSensors;
    Disturbance mFocus;
    Disturbance mExposure;
    Disturbance mSync;
    int64_t mUnsettled = 0;
    bool mIsFocused = true;
};

/// The frames that the options ask for.
double frameCount(GenerateOptions const& options) { return std::round(options.seconds * options.fps); }

/// Runs of frames with equal metadata, and late results; a dropped frame ends a run, its number is missing.
std::string framesAndChanges(Dice& dice, GenerateOptions const& options) {
    auto const count = static_cast<int64_t>(frameCount(options));
    auto const period = static_cast<int64_t>(std::llround(1e6 / options.fps));
    Scene scene(dice, options.fps, options.sensors);
    std::string frames;
    std::string changes;
    FrameMeta runs;  // what the frames of the run have
    int64_t first = 0;
    int64_t length = 0;
    auto const endRun = [&] {
        if (length > 0) {
            frames += fmt::format(
                R"({}{{"first":{},"count":{},"startMs":{},"periodMs":{},"resultAfterMs":{},"app":{},"hal":{}}})",
                frames.empty() ? "" : ",", first, length, inMs((first - 1) * period), inMs(period),
                inMs(2 * period), runs.app, runs.hal);
        }
        length = 0;
    };
    for (int64_t number = 1; number <= count; ++number) {
        FrameMeta meta = scene.next();
        if (number > 1 && dice.oneIn(80)) {
            endRun();
            continue;
        }
        if (length == 0 || !(runs == meta)) {
            endRun();
            first = number;
            runs = std::move(meta);
        }
        ++length;
        if (dice.oneIn(25)) {  // a late result
            changes += fmt::format(R"({}{{"first":{},"resultAfterMs":{}}})", changes.empty() ? "" : ",", number,
                                   inMs(2 * period + dice.between(20000, 80000)));
        }
    }
    endRun();
    return fmt::format(R"("frames":[{}],"changes":[{}])", frames, changes);
}

std::string requestsOf(Dice& dice, GenerateOptions const& options) {
    auto const length = static_cast<int64_t>(std::llround(options.seconds * 1e6));
    std::vector<int64_t> shutters;
    for (size_t capture = 0; capture < options.captures; ++capture) {
        shutters.push_back(dice.between(length / 10, length * 8 / 10));
    }
    std::sort(shutters.begin(), shutters.end());
    std::string const modes = options.sensors == 1 ? R"("0":1)" : R"("0":1,"1":1)";
    std::string requests;
    for (size_t index = 0; index < shutters.size(); ++index) {
        size_t const requestNo = 1000 + index * std::max<size_t>(1, options.burst);
        std::string const submit = inMs(shutters[index] + dice.between(0, 15000));
        std::string const frames = options.burst > 0 ? fmt::format(R"("burst":{})", options.burst)
                                                     : fmt::format(R"("frames":{})", dice.oneIn(4) ? 3 : 1);
        requests +=
            fmt::format(R"({}{{"requestNo":{},"shutterMs":{},"submitMs":{},"sensorModes":{{{}}},{}}})",
                        requests.empty() ? "" : ",", requestNo, inMs(shutters[index]), submit, modes, frames);
    }
    return fmt::format(R"("requests":[{}])", requests);
}

/// What is generated is played: it must be within the bounds of session files.
void checkOptions(GenerateOptions const& options) {
    auto const check = [](bool isGood, std::string const& message) {
        if (!isGood) {
            throw InputError(message);
        }
    };
    check(frameCount(options) <= static_cast<double>(kMaxFrames),
          fmt::format("--seconds, --fps: {} frames; a session holds {} at most", frameCount(options), kMaxFrames));
    size_t const requests = options.captures * std::max<size_t>(1, options.burst);
    int64_t const most = options.burst > 0 ? kMaxBurstRequests : kMaxRequests;
    check(requests <= static_cast<size_t>(most),
          fmt::format("--captures, --burst: {} requests; a session holds {} at most", requests, most));
}

}  // namespace

std::string generateSession(GenerateOptions const& options) {
    checkOptions(options);
    Dice dice(options.seed);
    std::string const frames = framesAndChanges(dice, options);
    std::string const requests = requestsOf(dice, options);
    return fmt::format(
        R"({{"description":"Generated, seed {}","streams":{{"images":[1],"app":[100],"hal":[{}]}},{},{}}})",
        options.seed, options.sensors == 1 ? "200" : "200,201", frames, requests);
}

}  // namespace Replay
