// The recorder as a host meets it: what it lets through and what it writes down.
#include <atomic>
#include <random>
#include <sstream>
#include <thread>

#include "RecorderDesk.h"
#include "replay/host/Host.h"
#include "replay/input/RecordedSession.h"

namespace ZslTest {
namespace {

/// What the selector can see of a call, as text.
std::string textOf(ISelector::SelectInputParams const& in) {
    std::ostringstream text;
    auto const streams = [&](StreamSets const& sets) {
        for (auto const* const set : {&sets.halImages, &sets.halMetas, &sets.appMetas}) {
            text << " s";
            for (StreamId const id : *set) {
                text << id << ',';
            }
        }
    };
    auto const tag = [&](NSCam::IMetadata const* meta) {
        uint8_t focus = 0;
        int32_t ev = 0;
        int64_t sync = 0;
        text << (meta == nullptr ? " null" : " meta");
        text << (NSCam::IMetadata::getEntry(meta, kAfState, focus, 0) ? std::to_string(focus) : "-") << '/';
        text << (NSCam::IMetadata::getEntry(meta, kEv, ev, 0) ? std::to_string(ev) : "-") << '/';
        text << (NSCam::IMetadata::getEntry(meta, kFrameSync, sync, 0) ? std::to_string(sync) : "-");
    };
    text << in.requestNo << ' ' << in.elapsedMs << ' ' << in.zsdTs << ' ' << in.targetEv << ' '
         << in.ispHidlFrameIdx << ' ' << in.ispHidlFrameCnt;
    for (auto const& [index, info] : in.requiredFrames) {
        text << "\nrequired " << index;
        streams(info.needStreams);
        tag(info.inAppMeta);
        text << (info.reqSensorIds == nullptr ? " null" : std::to_string(info.reqSensorIds->size()));
    }
    for (auto const& [frameNo, info] : in.preCollects) {
        text << "\ncollected " << frameNo << ' ' << info.requestNo << ' ' << static_cast<uint32_t>(info.status);
    }
    for (auto const& [sensor, mode] : in.sensorModes) {
        text << "\nmode " << sensor << ' ' << mode;
    }
    for (auto const& [key, frame] : in.history) {
        text << "\nhistory " << key << ' ' << frame.frameNo << ' ' << frame.requestNo << ' ' << frame.timestamp
             << ' ' << frame.locked;
        streams(frame.streamSets);
        for (auto const* const metas : {&frame.appMetas, &frame.halMetas}) {
            for (auto const& [id, meta] : *metas) {
                text << ' ' << id;
                tag(meta);
            }
        }
    }
    for (auto const& [key, frame] : in.inflight) {
        text << "\nin flight " << key << ' ' << frame.frameNo;
        streams(frame.streamSets);
    }
    return text.str();
}

TEST_F(Recording, HoldsEveryCallAsItWas) {
    Metadata plain;
    plain.set(kAfState, uint8_t{255});
    plain.set(kEv, int32_t{-20});
    Metadata sync;
    sync.set(kFrameSync, std::numeric_limits<int64_t>::min());
    std::set<uint32_t> const sensors{0, 4294967295U};
    auto selector = mRecorder->makeSelector();
    ASSERT_NE(nullptr, selector);
    std::vector<std::string> given;
    std::vector<std::string> answers;
    ISelector::SelectInputParams in;
    auto const call = [&] {
        given.push_back(textOf(in));
        answers.push_back(std::to_string(selector->select(in).selectedFrames.size()));
    };
    call();
    in.requestNo = 4294967295U;
    in.elapsedMs = -5;
    in.zsdTs = std::numeric_limits<int64_t>::min();
    in.targetEv = -20;
    in.requiredFrames[-7] = {{{-1}, {200}, {100}}, &plain, 1, 2, &sensors};
    in.requiredFrames[0] = {};
    in.sensorModes = {{0, 4294967295U}};
    in.preCollects[4294967295U] = {7, ISelector::PreCollectStatus::Timeout};
    in.history[3] = {9, 8, -1, {{100, &plain}, {101, nullptr}}, {{200, &sync}}, {{1}, {200}, {100}}, false};
    in.history[4] = {4, 4, 5, {}, {}, {}, true};
    in.inflight[5] = {6, {{1}, {}, {}}};
    call();
    in.ispHidlFrameIdx = 0;
    in.ispHidlFrameCnt = 2147483647;
    in.inflight.clear();
    call();  // nothing new of the frames
    in.history[3].locked = true;
    plain.set(kEv, int32_t{3});
    call();  // a frame has changed, and metadata behind the same pointer
    in.history.erase(3);
    call();
    in.history[3] = {9, 8, -1, {{100, &plain}}, {}, {}, true};
    call();  // a frame comes back

    selector.reset();
    std::vector<std::string> told;
    std::vector<std::string> toldAnswers;
    auto const recording = read(series().at(0));
    for (RecordedCall const* const each : recording.calls) {
        told.push_back(textOf(each->input.in));
        toldAnswers.push_back(std::to_string(each->out.selectedFrames.size()));
        EXPECT_GE(each->tookNs, 0);
        EXPECT_EQ(each->thread, getpid());
    }
    EXPECT_EQ(told, given);
    EXPECT_EQ(toldAnswers, answers);
}

using Chosen = std::map<RequestNo, std::vector<FrameNo>>;

/// A host that is not the desk's: what it shows, when, and which of the requests it presents, is left to chance.
class LooseHost {
  public:
    LooseHost(std::shared_ptr<ISelector> selector, uint32_t seed)
        : mSelector(std::move(selector)), mRandom(seed), mHint(static_cast<int32_t>(seed % 5)) {}

    Chosen live() {
        for (int step = 0; step < 600; ++step) {
            mNowMs += draw(20);
            switch (draw(8)) {
                case 0: ask(); break;
                case 1:
                case 2:
                    ++mLast;
                    mScene.inflight(mLast, mLast);
                    break;
                case 3:
                case 4: land(); break;
                default: present();
            }
        }
        return mChosen;
    }

  private:
    struct Asked {
        ISelector::SelectInputParams in;
        int64_t sinceMs;
    };

    int32_t draw(int32_t below) { return std::uniform_int_distribution<int32_t>(0, below - 1)(mRandom); }

    void ask() {
        int32_t const count = mHint == 0 ? 1 : 1 + draw(3);
        for (int32_t place = 0; place < count && mAsked.size() < 6; ++place) {
            mScene.requestMeta.set(kHint, mHint);
            mScene.shutterAt(mLast > 3 ? mLast - static_cast<FrameNo>(draw(4)) : 0);
            mHint == 0 ? mScene.request(mRequests++)
                       : mScene.burst(mRequests++ - static_cast<RequestNo>(place), place, count);
            mAsked.push_back({mScene.in, mNowMs});
        }
    }

    /// A frame's results come, in any order, or never; a few old ones leave.
    void land() {
        auto& inflight = mScene.in.inflight;
        if (inflight.empty()) {
            return;
        }
        FrameNo const frameNo = std::next(inflight.begin(), draw(2) % static_cast<int>(inflight.size()))->first;
        if (draw(8) == 0) {
            inflight.erase(frameNo);
            return;
        }
        mScene.land(frameNo).app(frameNo).set(kAfState, static_cast<uint8_t>(draw(4) == 0 ? 1 : 2));
        auto& history = mScene.in.history;
        for (auto frame = history.begin();
             history.size() > 9 - static_cast<size_t>(draw(5)) && frame != history.end();) {
            frame = frame->second.locked ? std::next(frame) : history.erase(frame);
        }
    }

    void present() {
        if (mAsked.empty()) {
            return;
        }
        auto const asked = mAsked.begin() + draw(static_cast<int32_t>(mAsked.size()));
        asked->in.elapsedMs = mNowMs - asked->sinceMs;
        asked->in.history = mScene.in.history;
        asked->in.inflight = mScene.in.inflight;
        auto const out = mSelector->select(asked->in);
        mScene.carryOut(out);
        if (out.selectedFrames.empty()) {
            return;
        }
        for (auto const& entry : out.selectedFrames) {
            mChosen[asked->in.requestNo].push_back(entry.second.frameNo);
            if (mScene.in.history.count(entry.second.frameNo) != 0) {
                mScene.frame(entry.second.frameNo).locked = false;
            }
        }
        mAsked.erase(asked);
    }

    std::shared_ptr<ISelector> mSelector;
    std::mt19937 mRandom;
    int32_t mHint;
    Scene mScene;
    std::vector<Asked> mAsked;
    Chosen mChosen;
    FrameNo mLast = 0;
    RequestNo mRequests = 900;
    int64_t mNowMs = 0;
};

TEST_F(Recording, AsASessionEndsAsItDid) {
    Properties::set("vendor.debug.camera.zsl.record.kb", "262144");  // no host is that quick
    std::vector<Chosen> recorded;
    size_t answers = 0;
    for (uint32_t seed = 0; seed < 60; ++seed) {
        recorded.push_back(LooseHost(mRecorder->makeSelector(), seed).live());
        answers += recorded.back().size();
    }
    EXPECT_GT(answers, 300U);
    std::vector<Session> sessions;
    for (auto const& files : series()) {
        std::ostringstream text;
        text << std::ifstream(files.at(0)).rdbuf();
        sessions.push_back(readRecordedSessions(text.str(), files.at(0)).sessions.at(0));
    }
    ASSERT_EQ(recorded.size(), sessions.size());
    // Another file, so that what the selectors of a process share begins anew.
    std::filesystem::copy_file(PLUGIN, mFolder / "plugin.so");
    Plugin const plugin(mFolder / "plugin.so");
    HostOptions options;
    options.makeSelector = [&] { return plugin.makeSelector(); };
    for (size_t index = 0; index < sessions.size(); ++index) {
        Chosen played;
        for (Outcome const& outcome : play(sessions[index], options).outcomes) {
            for (auto const& entry : outcome.chosen) {
                played[outcome.request->requestNo].push_back(entry.second);
            }
        }
        EXPECT_EQ(recorded[index], played) << "life " << index;
    }
}

/// A host's four cameras, while somebody switches recording on and off, and sets the selector's properties.
TEST_F(Recording, OfSeveralThreads) {
    Properties::set("vendor.debug.camera.zsl.runtime.adb", "1");
    std::atomic<int> made{0};
    auto const work = [&](RequestNo first) {
        for (RequestNo life = first; life < first + 3000; life += 1000) {
            auto const selector = mRecorder->makeSelector();
            ++made;
            ISelector::SelectInputParams in;
            in.requiredFrames[0] = {};
            for (FrameNo frameNo = life; frameNo < life + 200; ++frameNo) {
                in.requestNo = frameNo;
                in.history[frameNo] = {frameNo, frameNo, frameNo, {}, {}, {}, false};
                selector->select(in);
            }
        }
    };
    std::vector<std::thread> threads;
    for (RequestNo const first : {10000U, 20000U, 30000U, 40000U}) {
        threads.emplace_back(work, first);
    }
    while (made < 4) {  // all of the first ones are recorded
        std::this_thread::yield();
    }
    for (int change = 0; change < 100; ++change) {
        Properties::set("vendor.debug.camera.zsl.record", change % 4 == 0 ? "0" : "1");
        Properties::set("vendor.debug.camera.zsl.force.policy", std::to_string(change));
        std::this_thread::sleep_for(std::chrono::microseconds(200));
    }
    for (std::thread& thread : threads) {
        thread.join();
    }
    size_t calls = 0;
    for (auto const& files : series()) {
        auto const told = read(files);
        EXPECT_EQ(told.lastCall, 200U);
        calls += told.calls.size();
        RequestNo before = 0;
        for (RecordedCall const* const call : told.calls) {
            EXPECT_TRUE(before == 0 || call->input.in.requestNo == before + 1 || told.gaps > 0);
            before = call->input.in.requestNo;
        }
    }
    EXPECT_GT(calls, 4 * 100U);
}

}  // namespace
}  // namespace ZslTest
