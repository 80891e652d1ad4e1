// The reprocess bursts: what the host holds, what is asked, what comes back, over several calls.
#include "Scene.h"
#include "zsl/sample/ReprocessBurst.h"

namespace ZslTest {
namespace {

class Fifo : public SelectorTest {
  protected:
    Fifo() { forceHint(1); }
};

class Latest : public SelectorTest {
  protected:
    Latest() { forceHint(2); }
};

class Quality : public SelectorTest {
  protected:
    Quality() { forceHint(3); }
};

class MfnrHdr : public SelectorTest {
  protected:
    MfnrHdr() { forceHint(4); }

    Scene& hinted(Scene& scene, bool isHinted = true) {
        isHinted ? scene.requestMeta.set(kHint, int32_t{1}) : scene.requestMeta.erase(kHint);
        return scene;
    }
};

void unstable(Scene& scene, FrameNo frameNo) { scene.app(frameNo).set(kAfState, uint8_t{1}); }

TEST_F(Fifo, ServesInOrderAndLocksTheRest) {
    Scene scene;
    scene.history(80, 90).shutterAt(88).burst(100, 1, 3);
    EXPECT_EQ(serve(scene), "{}");  // the burst's first request never came
    scene.burst(100, 0, 3);
    scene.in.history.erase(82);
    EXPECT_EQ(serve(scene), "{0:86} L87 L88");
    scene.burst(100, 2, 3);
    EXPECT_EQ(serve(scene), "{}");  // not its turn
    scene.burst(100, 1, 3);
    scene.in.history.erase(87);
    EXPECT_EQ(serve(scene), "{}");  // its frame has left the history
    scene.land(87);
    EXPECT_EQ(serve(scene), "{0:87}");
    EXPECT_EQ(serve(scene), "{}");  // served already
    scene.burst(100, 2, 3);
    scene.frame(88).locked = false;
    EXPECT_EQ(serve(scene), "{0:88}");
    EXPECT_EQ(serve(scene), "{}");  // retired
    expectTranscript();
}

TEST_F(Fifo, WaitsUntilTheWholeBurstHasFrames) {
    Scene scene;
    scene.history(80, 82).shutterAt(81).burst(100, 0, 3);
    unstable(scene, 80);
    EXPECT_EQ(serve(scene), "{}");
    scene.land(83).burst(100, 1, 3, 20);  // any request of the burst chooses again
    EXPECT_EQ(serve(scene), "{} L81 L82 L83");
    scene.burst(100, 0, 3, 20);
    EXPECT_EQ(serve(scene), "{0:81}");
    scene.burst(200, 0, 2, 1000);  // timed out from the start, beside the other burst
    scene.in.targetEv = 9;
    EXPECT_EQ(serve(scene), "{0:none}");
    scene.burst(200, 1, 2);
    EXPECT_EQ(serve(scene), "{0:none}");
    expectTranscript();
}

TEST_F(Fifo, TheRequestsOwnIndicesTakePart) {
    Scene scene;
    scene.history(80, 90).shutterAt(88).burst(100, 0, 3);
    scene.in.requiredFrames[2] = {};
    scene.in.requiredFrames[7] = {};
    EXPECT_EQ(serve(scene), "{0:85} L86 L87 L88");  // the keys 0, 1, 2, 7
    EXPECT_EQ(log.count("Fatal"), 0U);
    Scene negative;
    negative.history(80, 90).shutterAt(88).burst(0, 0, 2);
    negative.in.requiredFrames = {{-1, negative.need()}};
    EXPECT_EQ(serve(negative), "{} L87 L88");  // requests 0xFFFFFFFF and 1 are mapped
    EXPECT_NE(transcript.find("MAPPING: (operate at R0) R1[hF88] R4294967295[hF87] \n"), std::string::npos);
    EXPECT_NE(transcript.find("cannot select R0 (FIFO), needSelectReqs={R1 R4294967295 }"), std::string::npos);
}

TEST_F(Latest, NewestFramesInFlightIncluded) {
    Scene scene;
    scene.history(85, 88).inflight(89, 91).burst(100, 0, 4);
    scene.in.preCollects[90] = {1, ISelector::PreCollectStatus::Ready};
    scene.in.preCollects[85] = {1, ISelector::PreCollectStatus::Ready};
    EXPECT_EQ(serve(scene), "{0:87} L88");
    scene.burst(100, 2, 4);
    EXPECT_EQ(serve(scene), "{}");  // the first in first out
    scene.burst(100, 1, 4);
    EXPECT_EQ(serve(scene), "{0:88}");
    scene.land(89).burst(100, 2, 4);
    EXPECT_EQ(serve(scene), "{0:89}");
    scene.burst(100, 3, 4);
    EXPECT_EQ(serve(scene), "{}");  // still in flight
    scene.land(91);
    scene.burst(300, 0, 1);
    EXPECT_EQ(serve(scene), "{0:91}");
    scene.burst(100, 3, 4);
    EXPECT_EQ(serve(scene), "{0:91}");
    EXPECT_EQ(serve(scene), "{}");
    expectTranscript();
}

TEST_F(Latest, AFrameThatFailsTakesTheRestOfTheBurstWithIt) {
    Scene scene;
    scene.history(85, 88).inflight(89, 89).burst(100, 0, 4);
    EXPECT_EQ(serve(scene), "{0:86} L87 L88");
    unstable(scene, 88);  // stability is not asked
    scene.app(87).set(kEv, int32_t{3});
    scene.burst(100, 3, 4);
    EXPECT_EQ(serve(scene), "{} U87 U88");
    for (int32_t const idx : {1, 2, 3}) {
        scene.burst(100, idx, 4);
        EXPECT_EQ(serve(scene), "{0:none}");
    }
    expectTranscript();
}

TEST_F(Latest, TimeOutAndTooFewFrames) {
    Scene scene;
    scene.history(85, 88).inflight(89, 89).burst(100, 0, 4);
    EXPECT_EQ(serve(scene), "{0:86} L87 L88");
    scene.burst(100, 2, 4, 1000);
    scene.frame(88).locked = false;
    EXPECT_EQ(serve(scene), "{} U87");
    for (int32_t const idx : {1, 2, 3}) {
        scene.burst(100, idx, 4, 5);
        EXPECT_EQ(serve(scene), "{0:none}");
    }
    scene.burst(0xFFFFFFFF, 0, 2, 1000);  // from the start; request numbers wrap around
    EXPECT_EQ(serve(scene), "{}");        // request 0 is the smallest number
    scene.burst(0xFFFFFFFF, 1, 2, 1000);
    EXPECT_EQ(serve(scene), "{0:none}");
    scene.burst(0xFFFFFFFF, 0, 2, 1000);
    EXPECT_EQ(serve(scene), "{0:none}");
    scene.burst(700, 0, 6);
    EXPECT_EQ(serve(scene), "{0:none}");
    scene.burst(700, 5, 6);
    EXPECT_EQ(serve(scene), "{}");
    expectTranscript();
}

TEST_F(Quality, TheNewestCheckSetThatPassesServes) {
    struct {
        std::vector<FrameNo> unstableFrames;
        char const* first;
        char const* second;
    } const cases[] = {
        {{}, "{0:54} L53 L54 L55", "{0:55} U53"},
        {{55}, "{0:53} L53 L54 L55", "{0:54} U55"},
        {{54}, "{0:54} L53 L54 L55", "{0:55} U53"},  // neither passes
    };
    for (auto const& c : cases) {
        Scene scene;
        scene.history(50, 55).burst(200, 0, 2);
        for (FrameNo const frameNo : c.unstableFrames) {
            unstable(scene, frameNo);
        }
        EXPECT_EQ(serve(scene), c.first);
        // The host lets go of the frame it has used.
        scene.frame(last.selectedFrames.at(0).frameNo).locked = false;
        scene.burst(200, 1, 2);
        EXPECT_EQ(serve(scene), c.second);
    }
    expectTranscript();
}

TEST_F(Quality, WaitsForFramesInFlight) {
    Scene scene;
    scene.history(50, 55).inflight(56, 57).burst(200, 0, 2);
    EXPECT_EQ(serve(scene), "{} L55");  // neither check set is whole
    scene.land(56);
    EXPECT_EQ(serve(scene), "{} L56");  // the older one is judged
    scene.land(57).land(58).burst(200, 1, 2, 30);
    EXPECT_EQ(serve(scene), "{} L57");
    scene.burst(200, 0, 2, 30);
    EXPECT_EQ(serve(scene), "{0:56}");
    EXPECT_EQ(serve(scene), "{}");
    scene.burst(200, 1, 2, 40);
    EXPECT_EQ(serve(scene), "{0:57} U55 U56");
    expectTranscript();
}

TEST_F(Quality, TooFewFramesThenTimeOut) {
    Scene scene;
    scene.history(50, 50).burst(200, 0, 2);
    EXPECT_EQ(serve(scene), "{}");
    scene.inflight(51, 52);
    EXPECT_EQ(serve(scene), "{} L50");
    scene.burst(200, 1, 2, 1000);
    EXPECT_EQ(serve(scene), "{}");
    scene.burst(200, 0, 2, 1000);
    EXPECT_EQ(serve(scene), "{0:none}");
    scene.burst(200, 1, 2, 1000);
    EXPECT_EQ(serve(scene), "{0:none} U50");
    scene.history(50, 55).burst(300, 0, 2);
    EXPECT_EQ(serve(scene), "{0:54} L53 L54 L55");
    scene.burst(300, 1, 2, 1000);
    EXPECT_EQ(serve(scene), "{0:none} U53 U54 U55");
    expectTranscript();
}

TEST_F(Quality, AShortCheckSetLeavesNoRequestBehind) {
    Scene scene;
    scene.history(54, 55).burst(200, 0, 2);
    unstable(scene, 54);
    EXPECT_EQ(serve(scene), "{0:54} L54 L55");
    scene.burst(200, 1, 2);
    EXPECT_EQ(serve(scene), "{0:55} U54");
    scene.history(55, 55).burst(300, 0, 1);
    unstable(scene, 55);
    EXPECT_EQ(serve(scene), "{0:55} L54");  // a burst of one
    // No check set has three frames for the caller that asks for three: it waits for the time-out.
    scene.inflight(56, 56).burst(400, 0, 2);
    unstable(scene, 54);
    EXPECT_EQ(serve(scene), "{}");
    scene.land(56).burst(400, 0, 3);
    unstable(scene, 56);
    EXPECT_EQ(serve(scene), "{} L56");
    scene.burst(400, 0, 3, 1000);
    EXPECT_EQ(serve(scene), "{0:none}");
    expectTranscript();
}

TEST_F(MfnrHdr, NoiseReductionThenHdr) {
    Scene scene;
    scene.history(38, 42).burst(300, 0, 2);
    scene.in.preCollects[42] = {303, ISelector::PreCollectStatus::Inflight};
    hinted(scene);
    EXPECT_EQ(serve(scene), "{}");  // of the other phase
    hinted(scene, false).burst(100, 0, 2);
    EXPECT_EQ(serve(scene), "{0:40} L41");
    scene.burst(100, 1, 2);
    EXPECT_EQ(serve(scene), "{0:41}");
    scene.burst(400, 0, 2);
    EXPECT_EQ(serve(scene), "{}");  // of the other phase now

    hinted(scene).burst(300, 1, 2);
    EXPECT_EQ(serve(scene), "{}");  // unknown burst
    scene.requestMeta.erase(kEv);
    scene.burst(300, 0, 2);
    EXPECT_EQ(serve(scene), "{}");  // no exposure compensation
    scene.requestMeta.set(kEv, int32_t{-2});
    EXPECT_EQ(serve(scene), "{}");  // no frame with the hint
    scene.app(41).set(kHint, int32_t{1});
    scene.app(42).set(kHint, int32_t{5});
    scene.app(39).set(kHint, int32_t{0});
    scene.frame(38).appMetas[kApp + 1] = nullptr;
    scene.frame(40).appMetas = {{kApp, nullptr}};
    scene.burst(300, 1, 2);
    EXPECT_EQ(serve(scene), "{}");  // not its turn
    scene.burst(300, 0, 2);
    EXPECT_EQ(serve(scene), "{1:41}");
    EXPECT_EQ(serve(scene), "{}");
    scene.burst(300, 1, 2);
    EXPECT_EQ(serve(scene), "{1:41}");
    scene.need().inAppMeta = nullptr;  // no hint: a request of the first phase again
    scene.burst(500, 0, 1);
    EXPECT_EQ(serve(scene), "{0:41}");
    hinted(scene).need().inAppMeta = &scene.requestMeta;
    scene.burst(600, 0, 1);
    EXPECT_EQ(serve(scene), "{1:41}");
    expectTranscript();
}

TEST_F(MfnrHdr, CountsAcrossSelectorsAndOnCallsThatSelectNothing) {
    std::shared_ptr<ISelector> other;
    createCustomSelector(other);
    log.take();
    Scene scene;
    scene.history(40, 42).burst(100, 0, 3);
    EXPECT_EQ(select(scene), "{0:40} L41 L42");
    scene.burst(500, 0, 1);
    EXPECT_EQ(select(scene, *other), "{0:42}");  // two frames by now, more than its own count
    scene.app(42).set(kHint, int32_t{1});
    hinted(scene).burst(700, 0, 1);
    EXPECT_EQ(select(scene, *other), "{1:42}");
    hinted(scene, false).burst(100, 1, 3);
    EXPECT_EQ(select(scene), "{0:41} L42");
    scene.burst(100, 1, 1);  // selects nothing, but one frame is enough for its count
    EXPECT_EQ(select(scene), "{} L42");
    hinted(scene).burst(700, 0, 2);
    EXPECT_EQ(select(scene), "{1:42}");
    scene.burst(700, 0, 1);  // selects nothing either
    EXPECT_EQ(select(scene), "{}");
    expectTranscript();
}

TEST_F(SelectorTest, TheDumpNamesTheBurstsOfEveryStrategy) {
    Scene scene;
    scene.history(50, 55).shutterAt(54);
    for (int const hint : {1, 2, 3, 4}) {
        forceHint(hint);
        for (RequestNo const base : {900U, 70U}) {
            scene.burst(base + static_cast<uint32_t>(hint), 0, hint == 4 ? 1 : 2);
            select(scene);
        }
        // Of hint 4, the first request changes the phase and the second waits; now a hinted one begins a burst.
    }
    scene.requestMeta.set(kHint, int32_t{1});
    scene.burst(904, 0, 1);
    select(scene);
    forceHint(0);
    transcript.clear();
    select(scene);
    EXPECT_EQ(transcript.substr(0, transcript.find('\n')), "I [invokeADB] runtime adb set hint=0");
    EXPECT_NE(transcript.find("D [select] DEBUG: R904 dump mIspHidlReqs={71 901 }, mIspHidlReqs_Latest={72 902 }, "
                              "mIspHidlReqs_LatestWithQuality={73 903 }, mIspHidlReqs_PreCollect={904 }\n"),
              std::string::npos);
    scene.app(50).set(kHint, int32_t{1});
    forceHint(4);
    EXPECT_EQ(select(scene), "{1:50}");
    EXPECT_NE(transcript.find("mIspHidlReqs_PreCollect={904 }"), std::string::npos);
    transcript.clear();
    select(scene);
    EXPECT_NE(transcript.find("mIspHidlReqs_PreCollect={null}"), std::string::npos);
}

/// The inconsistencies that no call can bring about end the process.
TEST(BurstDeathTest, ARequestWithoutMapping) {
    using namespace NSCam::Sample;
    ISelector::SelectInputParams in;
    in.requestNo = 7;
    in.ispHidlFrameIdx = 0;
    in.ispHidlFrameCnt = 1;
    LogName const logName("ispHidl", in, 1000);
    RequestLog const requestLog{"ispHidlSelect", logName, 1};
    BurstLines const lines{333, 344, 405};
    auto const serveUnmapped = [&] {
        BurstRecord empty;
        BurstCall(requestLog, lines, in).serveAndLock(empty);
    };
    EXPECT_EXIT(
        serveUnmapped(), testing::KilledBySignal(SIGABRT),
        "E SampleSelector: .Fatal. .ispHidlSelect. .r7,0/1000ms.<ispHidl>IspHidl.0/1. INVALID: R7 fail to get "
        "request mapping .ispHidlSelect..#405:zsl/sample/SampleSelector.\n.*"
        "F SampleSelector: .ispHidlSelect..#405:zsl/sample/SampleSelector.\r\n");
}

}  // namespace
}  // namespace ZslTest
