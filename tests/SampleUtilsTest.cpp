#include "zsl/sample/include/SampleUtils.h"

#include "Scene.h"

namespace ZslTest {
namespace {

using namespace NSCam::Sample;

class FrameQuality : public SelectorTest {
  protected:
    FrameQuality() { scene.history(1, 1); }

    Scene scene;
};

TEST_F(FrameQuality, FocusRestsByModeLensAndState) {
    // By afMode and lens state: the afStates 0 to 7 that are stable.
    struct {
        std::vector<int> afModes;
        int lens;
        std::string stable;
    } const cases[] = {
        {{0, 5, 6, 255}, 0, "01234567"}, {{0, 5, 6, 255}, 1, "01234567"}, {{1, 2, 3, 4}, 0, "0 2 4567"},
        {{1, 2, 3, 4}, 1, "        "},   {{1, 2, 3, 4}, 2, "  2 4567"},
    };
    for (auto const& c : cases) {
        for (int const afMode : c.afModes) {
            for (int afState = 0; afState < 8; ++afState) {
                scene.app(1).set(kAfMode, static_cast<uint8_t>(afMode));
                scene.app(1).set(kAfState, static_cast<uint8_t>(afState));
                scene.app(1).set(kLensState, static_cast<uint8_t>(c.lens));
                EXPECT_EQ(isAFStable(scene.frame(1), scene.need().needStreams),
                          c.stable[static_cast<size_t>(afState)] != ' ')
                    << afMode << ' ' << c.lens << ' ' << afState;
            }
        }
    }
}

TEST_F(FrameQuality, ExposureAndSyncByValue) {
    auto const& needed = scene.need().needStreams;
    for (int value = -1; value < 6; ++value) {
        scene.app(1).set(kAeState, static_cast<uint8_t>(value));
        scene.hal(1).set(kSoftAe, int32_t{value});
        scene.hal(1).set(kFrameSync, int64_t{value});
        EXPECT_EQ(isAEStable(scene.frame(1), needed), value == 2 || value == 3);
        EXPECT_EQ(isAESoftStable(scene.frame(1), needed), value == 1);
        EXPECT_EQ(isFrameSync(scene.frame(1), needed), value == 0);
    }
}

TEST_F(FrameQuality, WithoutANeededStreamOnlySyncFails) {
    auto& needed = scene.need().needStreams;
    needed.appMetas = {99};
    needed.halMetas = {99};
    EXPECT_TRUE(isAFStable(scene.frame(1), needed) && isAEStable(scene.frame(1), needed) &&
                isAESoftStable(scene.frame(1), needed));
    EXPECT_FALSE(isFrameSync(scene.frame(1), needed));
    EXPECT_EQ(log.take(), "");
}

TEST_F(FrameQuality, TheEvOfNullMetadataIsReported) {
    EXPECT_FALSE(tryGetEVSetting(nullptr));
    EXPECT_EQ(log.count("E [tryGetEVSetting] cannot find input app meta (tryGetEVSetting){#"), 1U);
}

/// All subsets of four streams against all others, in each of the three sets.
TEST_F(FrameQuality, EveryNeededStreamCounts) {
    NSCam::Utils::Properties::set("log.tag.SampleSelector", "S");
    auto const subset = [](unsigned bits) {
        std::set<StreamId> streams;
        for (unsigned id = 0; id < 4; ++id) {
            if ((bits >> id & 1) != 0) {
                streams.insert(StreamId{id} - 1);
            }
        }
        return streams;
    };
    for (auto set : {&NSCam::ZslPolicy::StreamSets::halImages, &NSCam::ZslPolicy::StreamSets::halMetas,
                     &NSCam::ZslPolicy::StreamSets::appMetas}) {
        for (unsigned bits = 0; bits < 256; ++bits) {
            ISelector::HistoryFrame frame;
            NSCam::ZslPolicy::StreamSets needed;
            frame.streamSets.*set = subset(bits % 16);
            needed.*set = subset(bits / 16);
            EXPECT_EQ(isQualify(frame, needed, 0, false, {}, 0), (bits / 16 & ~(bits % 16)) == 0) << bits;
        }
    }
}

TEST_F(FrameQuality, MoreSensorsThanStandInPlace) {
    SensorModes modes;
    for (uint32_t id = 0; id < 20; ++id) {
        modes.add(id, 100 + id);
        modes.add(id, 0);  // the first mode stays
    }
    ASSERT_EQ(modes.size(), 20U);
    for (uint32_t id = 0; id < 20; ++id) {
        EXPECT_EQ(modes[id].sensorId, id);
        ASSERT_NE(modes.find(id), nullptr);
        EXPECT_EQ(*modes.find(id), 100 + id);
    }
    EXPECT_EQ(modes.find(20), nullptr);
}

}  // namespace
}  // namespace ZslTest
