#include "zsl/sample/include/SampleUtils.h"

#include "Scene.h"

namespace ZslTest {
namespace {

using namespace NSCam::Sample;

class FrameQuality : public SelectorTest {
  protected:
    FrameQuality() { scene.history(1, 1); }

    bool qualifies(uint32_t policy, bool isTimeout = false, int32_t ev = 0) {
        bool const verdict = isQualify(scene.frame(1), scene.need().needStreams, policy, isTimeout, required, ev);
        transcript += log.take() + (verdict ? "=> passes\n" : "=> fails\n");
        return verdict;
    }

    Scene scene;
    SensorModes required;
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

TEST_F(FrameQuality, AbsentTagsAndStreams) {
    auto& needed = scene.need().needStreams;
    for (uint32_t const tag : {kAfMode, kAfState, kLensState}) {
        Scene without;
        without.history(1, 1).app(1).erase(tag);
        EXPECT_FALSE(isAFStable(without.frame(1), needed));
    }
    scene.app(1).erase(kAeState);
    scene.hal(1).erase(kSoftAe);
    scene.hal(1).erase(kFrameSync);
    EXPECT_FALSE(isAEStable(scene.frame(1), needed));
    EXPECT_TRUE(isAESoftStable(scene.frame(1), needed));
    EXPECT_TRUE(isFrameSync(scene.frame(1), needed));
    scene.frame(1).appMetas[kApp] = nullptr;
    EXPECT_FALSE(isAFStable(scene.frame(1), needed));
    transcript = log.take();

    needed.appMetas = {99};
    needed.halMetas = {99};
    EXPECT_TRUE(isAFStable(scene.frame(1), needed) && isAEStable(scene.frame(1), needed) &&
                isAESoftStable(scene.frame(1), needed));
    EXPECT_FALSE(isFrameSync(scene.frame(1), needed));
    EXPECT_EQ(log.take(), "");
    expectTranscript();
}

TEST_F(FrameQuality, SeveralStreams) {
    scene.need().needStreams.appMetas = {kApp, kApp + 1};
    scene.need().needStreams.halMetas = {kHal, -7};
    scene.frame(1).streamSets = scene.need().needStreams;
    scene.frame(1).streamSets.halImages = {kImage};
    scene.app(1, kApp + 1);
    scene.app(1).set(kAeState, uint8_t{4});
    scene.hal(1, -7).set(kFrameSync, int64_t{5});
    EXPECT_FALSE(isAEStable(scene.frame(1), scene.need().needStreams));  // one line, for the lower stream
    EXPECT_TRUE(isFrameSync(scene.frame(1), scene.need().needStreams));  // the second is in sync
    scene.hal(1).set(kFrameSync, int64_t{1});
    EXPECT_FALSE(isFrameSync(scene.frame(1), scene.need().needStreams));
    transcript = log.take();
    expectTranscript();
}

TEST_F(FrameQuality, EachStepAndItsReason) {
    EXPECT_TRUE(qualifies(0xF));
    EXPECT_FALSE(qualifies(0x1000000, true));  // before the time-out
    required.insert(0, 1);
    EXPECT_TRUE(qualifies(0x30005));
    EXPECT_TRUE(qualifies(0xF, true));  // the predicates are skipped
    EXPECT_FALSE(qualifies(0, true, 7));
    scene.app(1).erase(kEv);
    EXPECT_TRUE(qualifies(0));
    EXPECT_FALSE(qualifies(0, false, -1));
    scene.app(1).set(kAfState, uint8_t{1});
    scene.app(1).set(kAeState, uint8_t{1});
    scene.hal(1).set(kSoftAe, int32_t{0});
    scene.hal(1).set(kFrameSync, int64_t{1});
    for (uint32_t const bit : {0x1U, 0x2U, 0x4U, 0x8U}) {
        EXPECT_FALSE(qualifies(bit));
    }
    required = {};
    required.insert(3, 0x80000000);
    EXPECT_FALSE(qualifies(0));
    scene.hal(1).set(kSensorId, int32_t{3});
    EXPECT_FALSE(qualifies(0));
    scene.hal(1).set(kSensorMode, int32_t{5});
    required = {};
    required.insert(3, 6);
    EXPECT_FALSE(qualifies(0));
    scene.hal(1).erase(kSensorMode);
    EXPECT_FALSE(qualifies(0));
    scene.hal(1).erase(kSensorId);
    EXPECT_FALSE(qualifies(0));
    scene.need().needStreams.appMetas = {kApp, kApp + 1};
    scene.frame(1).streamSets.appMetas = {kApp, kApp + 2};
    EXPECT_FALSE(qualifies(0));
    scene.need().needStreams = {};
    required = {};
    EXPECT_TRUE(qualifies(0));
    expectTranscript();
}

TEST_F(FrameQuality, EveryNeededStreamSetCounts) {
    for (auto set : {&NSCam::ZslPolicy::StreamSets::halImages, &NSCam::ZslPolicy::StreamSets::halMetas,
                     &NSCam::ZslPolicy::StreamSets::appMetas}) {
        Scene without;
        without.history(1, 1).frame(1).streamSets.*set = {};
        EXPECT_FALSE(isQualify(without.frame(1), without.need().needStreams, 0, false, {}, 0));
    }
}

TEST_F(FrameQuality, TheFirstStreamOfASensorAndOfTheEvCounts) {
    scene.need().needStreams.halMetas = {kHal, kHal + 1};
    scene.need().needStreams.appMetas = {kApp, kApp + 1};
    scene.frame(1).streamSets.halMetas = scene.need().needStreams.halMetas;
    scene.frame(1).streamSets.appMetas = scene.need().needStreams.appMetas;
    scene.hal(1).set(kSensorMode, int32_t{5});
    scene.hal(1, kHal + 1).set(kSensorId, int32_t{0});
    scene.hal(1, kHal + 1).set(kSensorMode, int32_t{7});
    scene.app(1).erase(kEv);
    scene.app(1, kApp + 1).set(kEv, int32_t{2});
    required.insert(0, 5);
    EXPECT_TRUE(qualifies(0, false, 2));
    scene.app(1).set(kEv, int32_t{0});
    EXPECT_FALSE(qualifies(0, false, 2));
}

TEST_F(FrameQuality, MoreSensorsThanStandInPlace) {
    SensorModes modes;
    for (uint32_t id = 0; id < 20; ++id) {
        modes.insert(id, 100 + id);
        modes.insert(id, 0);  // the first mode stays
    }
    EXPECT_EQ(modes.end() - modes.begin(), 20);
    EXPECT_EQ(modes.toMap().size(), 20U);
    for (uint32_t id = 0; id < 20; ++id) {
        ASSERT_NE(modes.find(id), nullptr);
        EXPECT_EQ(*modes.find(id), 100 + id);
    }
    EXPECT_EQ(modes.find(20), nullptr);
}

}  // namespace
}  // namespace ZslTest
