#include "Generate.h"

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>
#include <random>
#include <vector>

namespace Replay {

namespace {

using Json = nlohmann::ordered_json;

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

double inMs(int64_t microseconds) { return static_cast<double>(microseconds) / 1000; }

/// The scene, frame by frame.
class Scene {
  public:
    Scene(Dice& dice, double fps, size_t sensors)
        : mDice(dice),
          mSensors(sensors),
          mFocus(dice, std::llround(3 * fps), 5, std::max<int64_t>(6, std::llround(fps / 2))),
          mExposure(dice, std::llround(4 * fps), 4, 10),
          mSync(dice, std::llround(5 * fps), 3, 8) {}

    /// Metadata of the next frame, as a session file has it.
    std::pair<Json, Json> next() {
        int64_t const scan = mFocus.next();
        if (scan > 0) {
            mIsFocused = !mDice.oneIn(6 * scan);  // some scans end without focus
        }
        int64_t const search = mExposure.next();
        mUnsettled = search > 0 ? 3 : std::max<int64_t>(0, mUnsettled - 1);  // the soft state follows
        bool const isInSync = mSync.next() == 0;

        Json const app = {{"android.control.afMode", "CONTINUOUS_PICTURE"},
                          {"android.control.afState", scan > 0     ? "PASSIVE_SCAN"
                                                      : mIsFocused ? "PASSIVE_FOCUSED"
                                                                   : "PASSIVE_UNFOCUSED"},
                          {"android.lens.state", scan > 1 ? "MOVING" : "STATIONARY"},
                          {"android.control.aeState", search > 0 ? "SEARCHING" : "CONVERGED"},
                          {"android.control.aeExposureCompensation", 0}};
        Json hal;
        for (size_t sensor = 0; sensor < mSensors; ++sensor) {
            Json& stream = hal[std::to_string(200 + sensor)];
            stream = {{"VZR_HAL_REQUEST_SENSOR_ID", sensor},
                      {"VZR_P1NODE_SENSOR_MODE", 1},
                      {"softAeState", mUnsettled > 0 ? 0 : 1}};
            if (mSensors > 1) {
                stream["frameSyncResult"] = isInSync ? 0 : 1;
            }
        }
        return {{{"100", app}}, hal};
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

/// Runs of frames with equal metadata; a dropped frame ends a run, its number is missing.
void addFrames(Dice& dice, GenerateOptions const& options, Json& session) {
    auto const count = static_cast<int64_t>(std::llround(options.seconds * options.fps));
    auto const period = static_cast<int64_t>(std::llround(1e6 / options.fps));
    Scene scene(dice, options.fps, options.sensors);
    Json frames = Json::array();
    Json changes = Json::array();
    bool isRunOpen = false;
    for (int64_t number = 1; number <= count; ++number) {
        auto const [app, hal] = scene.next();
        if (number > 1 && dice.oneIn(80)) {
            isRunOpen = false;
            continue;
        }
        if (isRunOpen && frames.back()["app"] == app && frames.back()["hal"] == hal) {
            frames.back()["count"] = frames.back()["count"].get<int64_t>() + 1;
        } else {
            frames.push_back({{"first", number},
                              {"count", 1},
                              {"startMs", inMs((number - 1) * period)},
                              {"periodMs", inMs(period)},
                              {"resultAfterMs", inMs(2 * period)},
                              {"app", app},
                              {"hal", hal}});
            isRunOpen = true;
        }
        if (dice.oneIn(25)) {  // a late result
            changes.push_back(
                {{"first", number}, {"resultAfterMs", inMs(2 * period + dice.between(20000, 80000))}});
        }
    }
    session["frames"] = frames;
    session["changes"] = changes;
}

void addRequests(Dice& dice, GenerateOptions const& options, Json& session) {
    auto const length = static_cast<int64_t>(std::llround(options.seconds * 1e6));
    std::vector<int64_t> shutters;
    for (size_t capture = 0; capture < options.captures; ++capture) {
        shutters.push_back(dice.between(length / 10, length * 8 / 10));
    }
    std::sort(shutters.begin(), shutters.end());
    Json modes;
    for (size_t sensor = 0; sensor < options.sensors; ++sensor) {
        modes[std::to_string(sensor)] = 1;
    }
    Json requests = Json::array();
    for (size_t index = 0; index < shutters.size(); ++index) {
        Json request{{"requestNo", 1000 + index * std::max<size_t>(1, options.burst)},
                     {"shutterMs", inMs(shutters[index])},
                     {"submitMs", inMs(shutters[index] + dice.between(0, 15000))},
                     {"sensorModes", modes}};
        if (options.burst > 0) {
            request["burst"] = options.burst;
        } else {
            request["frames"] = dice.oneIn(4) ? 3 : 1;
        }
        requests.push_back(request);
    }
    session["requests"] = requests;
}

}  // namespace

std::string generateSession(GenerateOptions const& options) {
    Dice dice(options.seed);
    Json hal = Json::array();
    for (size_t sensor = 0; sensor < options.sensors; ++sensor) {
        hal.push_back(200 + sensor);
    }
    Json session{{"description", "Generated, seed " + std::to_string(options.seed)},
                 {"streams", {{"images", {1}}, {"app", {100}}, {"hal", hal}}}};
    addFrames(dice, options, session);
    addRequests(dice, options, session);
    return session.dump();
}

}  // namespace Replay
