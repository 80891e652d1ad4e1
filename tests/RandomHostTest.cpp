// Whatever a host does in order, a burst keeps its promises.
#include <algorithm>
#include <random>

#include "Scene.h"

namespace ZslTest {
namespace {

constexpr int64_t kTimeoutMs = 1000;

struct Burst {
    RequestNo base;
    int32_t cnt;
    int64_t startMs;
    int32_t answered = 0;  // requests answered so far, which are the first ones
};

/// A host that lives by dice: frames start, land, fail and leave; bursts overlap and are presented in any order.
class RandomHost : public SelectorTest, public testing::WithParamInterface<int> {
  protected:
    RandomHost() { force("hint", std::to_string(GetParam())); }

    int roll(int sides) { return static_cast<int>(dice() % static_cast<unsigned>(sides)); }

    void liveOn() {
        nowMs += roll(200);
        int const landings = roll(4);
        for (int count = 0; count < landings; ++count) {
            scene.inflight(nextFrame, nextFrame);
            ++nextFrame;
        }
        while (!scene.in.inflight.empty() && roll(3) != 0) {
            auto frame = scene.in.inflight.begin();
            std::advance(frame, roll(static_cast<int>(scene.in.inflight.size())));
            FrameNo const frameNo = frame->first;
            scene.land(frameNo);
            if (roll(4) == 0) {
                scene.app(frameNo).set(kAfState, uint8_t{1});
            }
            if (roll(12) == 0) {
                scene.app(frameNo).set(kEv, int32_t{5});
            }
        }
        while (scene.in.history.size() > 12) {
            auto const unlocked = std::find_if(scene.in.history.begin(), scene.in.history.end(),
                                               [](auto const& entry) { return !entry.second.locked; });
            if (unlocked == scene.in.history.end()) {
                break;
            }
            scene.in.history.erase(unlocked);
        }
    }

    void present(Burst& burst, int32_t idx, int64_t elapsedMs) {
        scene.burst(burst.base, idx, burst.cnt, elapsedMs);
        scene.in.zsdTs = 10 * int64_t{nextFrame} - roll(60);
        scene.in.preCollects.clear();
        if (roll(8) == 0 && nextFrame > 1) {
            scene.in.preCollects[nextFrame - 1] = {};
        }
        NSCam::Utils::Properties::set("log.tag.SampleSelector", "V");
        std::string const answer = select(scene);
        auto const out = last;
        // The same life with every gate closed.
        NSCam::Utils::Properties::set("log.tag.SampleSelector", "S");
        ASSERT_EQ(select(scene, *silent), answer) << transcript;

        for (auto const& [frameNo, operation] : out.frameOps) {
            ASSERT_EQ(scene.in.history.count(frameNo), 1U) << transcript;
            ASSERT_EQ(scene.frame(frameNo).locked, operation == ISelector::OpT::Unlock) << transcript;
        }
        scene.carryOut(out);
        ASSERT_LE(out.selectedFrames.size(), 1U);
        for (auto const& [key, result] : out.selectedFrames) {
            ASSERT_EQ(key, 0);
            ASSERT_EQ(idx, burst.answered++) << "once, and in burst order\n" << transcript;
            ASSERT_TRUE(result.frameNo == kNoFrame || scene.in.history.count(result.frameNo) == 1) << transcript;
        }
    }

    std::mt19937 dice{20261122};
    Scene scene;
    std::shared_ptr<ISelector> silent;
    FrameNo nextFrame = 1;
    int64_t nowMs = 0;
};

TEST_P(RandomHost, BurstsKeepTheirPromises) {
    int served = 0;
    for (int life = 0; life < 400; ++life) {
        createCustomSelector(selector);
        createCustomSelector(silent);
        transcript.clear();
        scene = Scene();
        nowMs = 0;
        std::vector<Burst> bursts;
        // Near 0 request numbers wrap around within a burst; then order by number is not burst order.
        RequestNo nextBase = static_cast<RequestNo>(roll(1000));
        for (int step = 0; step < 40; ++step) {
            liveOn();
            if (bursts.size() < 3 && roll(5) == 0) {
                bursts.push_back({nextBase, 1 + roll(5), nowMs});
                nextBase += 10;
            }
            for (Burst& burst : bursts) {
                int32_t const idx = roll(2) == 0 ? std::min(burst.answered, burst.cnt - 1) : roll(burst.cnt);
                bool const isKnown = burst.answered > 0 || idx == 0;
                if (isKnown || roll(3) == 0) {
                    int64_t const elapsedMs = std::min(nowMs - burst.startMs, kTimeoutMs - 1);
                    if (burst.answered < burst.cnt || idx != 0) {
                        present(burst, idx, roll(30) == 0 ? kTimeoutMs : elapsedMs);
                        if (HasFatalFailure()) {
                            return;
                        }
                    }
                }
            }
        }
        // Presented past the time-out, every burst is answered whole, and forgotten. FIFO bursts wait for the
        // frames they were given, so they need the time-out before that.
        for (Burst& burst : bursts) {
            for (int32_t turn = 0; turn < 2 * burst.cnt && burst.answered < burst.cnt; ++turn) {
                present(burst, burst.answered, kTimeoutMs);
                if (HasFatalFailure()) {
                    return;
                }
            }
            served += burst.answered;
            if (GetParam() != 1) {
                ASSERT_EQ(burst.answered, burst.cnt) << transcript;
            }
            if (burst.answered == burst.cnt) {
                NSCam::Utils::Properties::set("log.tag.SampleSelector", "E");
                scene.burst(burst.base, 1, burst.cnt);
                ASSERT_EQ(select(scene), "{}");
                ASSERT_NE(transcript.find("INVALID: fail to find IspHidlReqObj"), std::string::npos) << transcript;
            }
        }
    }
    EXPECT_GT(served, 1000);
}

INSTANTIATE_TEST_SUITE_P(Strategies, RandomHost, testing::Values(1, 2, 3));

}  // namespace
}  // namespace ZslTest
