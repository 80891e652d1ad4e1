// The dispatch and the continuous selection.
#include "Scene.h"

namespace ZslTest {
namespace {

using Dispatch = SelectorTest;
using Continuous = SelectorTest;

TEST_F(Dispatch, HintsOverridesAndFallBacks) {
    Scene scene;
    scene.history(10, 12).shutterAt(11).request(57, 120);
    EXPECT_EQ(select(scene), "{0:11}");
    scene.burst(55, 2, 3);  // hint 0 needs no valid burst
    EXPECT_EQ(select(scene), "{0:11}");
    scene.request(60);
    scene.in.ispHidlFrameIdx = -1;
    scene.in.ispHidlFrameCnt = -1;
    for (char const* hint : {"2", "5"}) {  // an invalid burst comes before an unknown hint
        force("hint", hint);
        EXPECT_EQ(select(scene), "{0:11}");
    }
    struct {
        int32_t idx;
        int32_t cnt;
        bool isValid;
    } const bursts[] = {{0, 0, false}, {-1, 1, false}, {0, 1, true}};
    for (auto const& burst : bursts) {
        scene.in.ispHidlFrameIdx = burst.idx;
        scene.in.ispHidlFrameCnt = burst.cnt;
        EXPECT_EQ(select(scene), "{0:11}") << burst.isValid;
    }
    force("hint", "4294967295");  // truncated to 32 bits, then unknown
    EXPECT_EQ(select(scene), "{0:11}");
    force("hint", "4294967296");  // truncated to 0
    EXPECT_EQ(select(scene), "{0:11}");
    force("hint", "-1");
    force("policy", "0");
    force("timeout", "0");
    EXPECT_EQ(select(scene), "{0:10}");
    force("policy", "-1");
    force("timeout", "-1");
    EXPECT_EQ(select(scene), "{0:10}");  // both stay
    force("policy", "4311744517");       // the low 32 bits, 0x1000005
    EXPECT_EQ(select(scene), "{0:none}");
    expectTranscript();
}

TEST_F(Dispatch, LogLevelAndGate) {
    using NSCam::Utils::Properties::set;
    Scene scene;
    scene.history(10, 12).shutterAt(11).burst(5, 0, 2);
    scene.in.inflight[13].frameNo = 13;
    set("vendor.debug.camera.log.zsl.sample", "0");
    forceHint(2);
    createCustomSelector(selector);
    EXPECT_EQ(log.count("D [SampleSelector] SampleSelector ctor("), 1U);
    EXPECT_EQ(log.count(", mLogLevel(0)"), 1U);
    select(scene);
    select(scene);
    EXPECT_EQ(transcript.find("D [select]"), std::string::npos);
    EXPECT_EQ(transcript.find("D [ispHidlSelect_Latest]"), std::string::npos);
    EXPECT_NE(transcript.find("D [isQualify]"), std::string::npos);
    selector.reset();
    EXPECT_EQ(log.count("D [~SampleSelector] SampleSelector dtor("), 1U);
    set("vendor.debug.camera.log.zsl.sample", "1");
    log.take();
    createCustomSelector(selector);
    EXPECT_EQ(log.count(", mLogLevel(1)"), 1U);
    transcript.clear();
    select(scene);
    EXPECT_NE(transcript.find("D [ispHidlSelect_Latest]"), std::string::npos);
    for (char const* level : {"I", "W", "E", "S"}) {
        set("log.tag.SampleSelector", level);
        transcript.clear();
        scene.burst(5, 3, 2);
        select(scene);
        EXPECT_EQ(transcript.find("\nD "), std::string::npos) << level;
        EXPECT_EQ(transcript.find("I [select]") == std::string::npos, level[0] != 'I') << level;
    }
    EXPECT_STREQ(selector->getName(), "SampleSelector");
}

TEST_F(Dispatch, ReplacingASelectorReleasesTheOldOne) {
    createCustomSelector(selector);
    EXPECT_EQ(log.count("dtor("), 1U);
    auto const other = selector;
    createCustomSelector(selector);
    EXPECT_EQ(log.count("dtor("), 1U);
}

TEST_F(Dispatch, NoRequiredFrameGetsTheEmptyAnswer) {
    Scene scene;
    scene.history(10, 12).shutterAt(11).burst(5, 0, 1);
    scene.in.requiredFrames.clear();
    for (int hint = 0; hint < 6; ++hint) {
        forceHint(hint);
        EXPECT_EQ(select(scene), "{}");
    }
    EXPECT_EQ(transcript.find("EMPLACE"), std::string::npos);
    EXPECT_EQ(transcript.find("dump mIspHidlReqs"), std::string::npos);
}

TEST_F(Continuous, RunsEndAtTheShutterAndResumeBehindAFailure) {
    Scene scene;
    scene.history(10, 20).shutterAt(15).frames(3).request(1);
    EXPECT_EQ(select(scene), "{0:13 1:14 2:15}");
    scene.app(14).set(kAfState, uint8_t{1});
    EXPECT_EQ(select(scene), "{0:15 1:16 2:17}");
    scene.in.zsdTs = 151;  // between 15 and 16; the run would begin at 14
    EXPECT_EQ(select(scene), "{0:15 1:16 2:17}");
    expectTranscript();
}

TEST_F(Continuous, WhereTheRunBegins) {
    struct {
        FrameNo shutter;
        int32_t frames;
        char const* answer;
        size_t searchLines;
    } const cases[] = {
        {10, 3, "{0:10 1:11 2:12}", 0},                                  // no step back from the oldest frame
        {0, 2, "{0:10 1:11}", 0},       {11, 3, "{0:10 1:11 2:12}", 1},  // stops at the oldest
        {12, 1, "{0:12}", 1},           {20, 3, "{0:18 1:19 2:20}", 1}, {21, 1, "{}", 0},  // newer than all
    };
    for (auto const& c : cases) {
        Scene scene;
        scene.history(10, 20).shutterAt(c.shutter).frames(c.frames).request(1);
        EXPECT_EQ(select(scene), c.answer);
        size_t lines = 0;
        for (size_t at = 0; (at = transcript.find("search continuous from", at)) != std::string::npos; ++at) {
            ++lines;
        }
        EXPECT_EQ(lines, c.searchLines) << c.answer;
        transcript.clear();
    }
}

TEST_F(Continuous, TheShutterFrameInHistoriesOfAnySize) {
    force("policy", "65536");  // ZeroShutterDelay alone
    for (FrameNo count = 0; count < 9; ++count) {
        for (FrameNo shutter = 0; shutter < count + 2; ++shutter) {
            Scene scene;
            scene.history(1, count).shutterAt(shutter).request(1);
            FrameNo const expected = std::max(shutter, 1U);
            EXPECT_EQ(select(scene), expected <= count ? "{0:" + std::to_string(expected) + "}" : "{}");
        }
    }
}

TEST_F(Continuous, PendingAndTimedOut) {
    Scene scene;
    scene.history(10, 14).shutterAt(13).frames(2).request(1, 999);
    scene.app(13).set(kAfState, uint8_t{3});
    EXPECT_EQ(select(scene), "{}");
    scene.request(1, 1000);  // unchecked, from the oldest
    EXPECT_EQ(select(scene), "{0:10 1:11}");
    scene.in.targetEv = 4;
    EXPECT_EQ(select(scene), "{0:none 1:none}");
    scene.in.history.clear();
    EXPECT_EQ(select(scene), "{0:none 1:none}");
    scene.request(1, 0);
    EXPECT_EQ(select(scene), "{}");
    expectTranscript();
}

TEST_F(Continuous, IndependentFramesKeepWhatTheyHave) {
    force("policy", "65537");  // AFStable, ZeroShutterDelay
    Scene scene;
    scene.history(10, 14).shutterAt(11).frames(3).request(1);
    for (FrameNo const frameNo : {11U, 13U}) {
        scene.app(frameNo).set(kAfState, uint8_t{3});
    }
    EXPECT_EQ(select(scene), "{0:12 1:14}");
    scene.request(1, 1000);
    EXPECT_EQ(select(scene), "{0:10 1:11 2:12}");
    scene.in.history.erase(10);
    scene.in.history.erase(13);
    scene.in.history.erase(14);
    EXPECT_EQ(select(scene), "{0:11 1:12 2:none}");
    scene.in.history.clear();
    scene.request(1, 0);
    EXPECT_EQ(select(scene), "{}");
    expectTranscript();
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
    scene.need().reqSensorIds = nullptr;
    scene.in.sensorModes = {{0, 2}};
    EXPECT_EQ(select(scene), "{0:12}");
}

}  // namespace
}  // namespace ZslTest
