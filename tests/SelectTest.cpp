// The dispatch and the continuous selection, where cases differ in data alone; their stories are in scenarios/.
#include <algorithm>

#include "Scene.h"

namespace ZslTest {
namespace {

using Dispatch = SelectorTest;
using Continuous = SelectorTest;

TEST_F(Dispatch, LogLevelAndGate) {
    using NSCam::Utils::Properties::set;
    Scene scene;
    scene.history(10, 12).shutterAt(11).burst(5, 0, 2);
    force("hint", "2");
    for (std::string const level : {"0", "-3", "1", "2"}) {
        set("vendor.debug.camera.log.zsl.sample", level);
        createCustomSelector(selector);
        EXPECT_EQ(log.count("D [SampleSelector] SampleSelector ctor("), 1U);
        EXPECT_EQ(log.count(", mLogLevel(" + level + ")"), 1U);
        select(scene);  // with a burst there is a dump
        for (std::string const gate : {"V", "I", "E"}) {
            set("log.tag.SampleSelector", gate);
            transcript.clear();
            select(scene);
            EXPECT_EQ(transcript.find("D [select]") != std::string::npos, gate == "V" && level > "0")
                << level << gate;
            EXPECT_EQ(transcript.find("D [isQualify]") != std::string::npos, gate == "V") << level << gate;
            EXPECT_EQ(transcript.find("I [select]") != std::string::npos, gate != "E") << level << gate;
        }
        set("log.tag.SampleSelector", "V");
        selector.reset();
        EXPECT_EQ(log.count("D [~SampleSelector] SampleSelector dtor("), 1U);
        log.take();
    }
}

TEST_F(Dispatch, NoRequiredFrameGetsTheEmptyAnswer) {
    Scene scene;
    scene.history(10, 12).shutterAt(11).burst(5, 0, 1);
    scene.in.requiredFrames.clear();
    for (int hint = 0; hint < 6; ++hint) {
        force("hint", std::to_string(hint));
        EXPECT_EQ(select(scene), "{}");
    }
    EXPECT_EQ(transcript.find("EMPLACE"), std::string::npos);
    EXPECT_EQ(transcript.find("dump mIspHidlReqs"), std::string::npos);
    EXPECT_EQ(transcript.find("curPreCollects"), std::string::npos);
}

TEST_F(Continuous, WhereTheRunBegins) {
    struct {
        FrameNo shutter;
        int32_t frames;
        char const* answer;
        bool isSearched;
    } const cases[] = {
        {10, 3, "{0:10 1:11 2:12}", false},  // no step back from the oldest frame
        {0, 2, "{0:10 1:11}", false},
        {11, 3, "{0:10 1:11 2:12}", true},  // stops at the oldest
        {12, 1, "{0:12}", true},
        {20, 3, "{0:18 1:19 2:20}", true},
        {21, 1, "{}", false},  // newer than all
    };
    for (auto const& c : cases) {
        Scene scene;
        scene.history(10, 20).shutterAt(c.shutter).frames(c.frames).request(1);
        transcript.clear();
        EXPECT_EQ(select(scene), c.answer);
        EXPECT_EQ(transcript.find("search continuous from") != std::string::npos, c.isSearched) << c.answer;
    }
}

/// However far back the shutter is, its frame is the one a lower bound finds; with and without missing frames.
TEST_F(Continuous, TheShutterFrameIsTheLowerBound) {
    force("policy", "65536");  // ZeroShutterDelay alone
    NSCam::Utils::Properties::set("log.tag.SampleSelector", "S");
    for (FrameNo depth = 0; depth < 40; ++depth) {
        Scene scene;
        scene.history(1, depth).request(1);
        scene.in.history.erase(depth / 2);
        for (scene.in.zsdTs = 0; scene.in.zsdTs < 420; scene.in.zsdTs += 5) {
            auto const expected = std::lower_bound(
                scene.in.history.begin(), scene.in.history.end(), scene.in.zsdTs,
                [](auto const& entry, int64_t timestamp) { return entry.second.timestamp < timestamp; });
            EXPECT_EQ(select(scene),
                      expected == scene.in.history.end() ? "{}" : "{0:" + std::to_string(expected->first) + "}");
        }
    }
}

TEST_F(Continuous, KeysAreTheRequestsOwn) {
    Scene scene;
    scene.history(10, 14).shutterAt(12).request(1);
    scene.in.requiredFrames[-1] = scene.in.requiredFrames.at(0);
    scene.in.requiredFrames[4] = {};
    scene.in.requiredFrames.erase(0);
    EXPECT_EQ(select(scene), "{-1:11 4:12}");
    // The first entry's needs count for all.
    scene.in.requiredFrames[-1].needStreams.halImages = {99};
    EXPECT_EQ(select(scene), "{}");
}

TEST_F(Continuous, SensorModesOfTheRequestedSensorsOnly) {
    Scene scene;
    scene.history(10, 14).shutterAt(12).request(1);
    std::set<uint32_t> ids{0};
    scene.need().reqSensorIds = &ids;
    scene.in.sensorModes = {{0, 1}, {3, 9}};
    EXPECT_EQ(select(scene), "{0:12}");
    ids = {0, 3};
    EXPECT_EQ(select(scene), "{}");
    NSCam::Utils::Properties::set("log.tag.SampleSelector", "E");  // what is missing is not put into words
    EXPECT_EQ(select(scene), "{}");
    scene.need().reqSensorIds = nullptr;
    scene.in.sensorModes = {{0, 2}};
    EXPECT_EQ(select(scene), "{0:12}");
}

}  // namespace
}  // namespace ZslTest
