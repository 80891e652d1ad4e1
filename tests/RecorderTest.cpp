// The recorder as a host meets it: what it lets through and what it writes down.
#include <gtest/gtest.h>
#include <vzrcam/LogSink.h>
#include <vzrcam/PropertyStore.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "Plugin.h"
#include "RecordedCalls.h"
#include "Scene.h"

namespace ZslTest {
namespace {

using namespace Replay;

/// The process's recording, in a folder of its own.
class Recording : public testing::Test {
  protected:
    Recording() : mFolder(std::filesystem::temp_directory_path() / ("zsl-test-" + std::to_string(getpid()))) {
        std::filesystem::create_directory(mFolder);
        setenv("ZSL_RECORD_DIR", mFolder.c_str(), 1);
        NSCam::Utils::Properties::set("vendor.debug.camera.zsl.record", "1");
        NSCam::Utils::Log::setSink([](int, char const*, std::string const&) {});
    }

    void TearDown() override { std::filesystem::remove_all(mFolder); }

    std::vector<RecordedEvent> read() const {
        std::vector<RecordedEvent> events;
        for (auto const& file : std::filesystem::directory_iterator(mFolder)) {
            std::ifstream in(file.path());
            RecordingReader reader(in, "recording");
            while (auto event = reader.next()) {
                events.push_back(std::move(*event));
            }
            EXPECT_TRUE(reader.notes().empty());
        }
        return events;
    }

    std::filesystem::path mFolder;
    Plugin mRecorder{RECORDER};
};

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
    auto const selector = mRecorder.makeSelector();
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

    std::vector<std::string> read;
    std::vector<std::string> readAnswers;
    for (RecordedEvent const& event : this->read()) {
        if (auto const* const recorded = std::get_if<RecordedCall>(&event)) {
            read.push_back(textOf(recorded->input.in));
            readAnswers.push_back(std::to_string(recorded->out.selectedFrames.size()));
            EXPECT_EQ(recorded->number, read.size());
            EXPECT_GE(recorded->tookNs, 0);
        }
    }
    EXPECT_EQ(read, given);
    EXPECT_EQ(readAnswers, answers);
}

TEST_F(Recording, OfSeveralThreads) {
    auto const work = [&](RequestNo first) {
        auto const selector = mRecorder.makeSelector();
        ASSERT_NE(nullptr, selector);
        ISelector::SelectInputParams in;
        in.requiredFrames[0] = {};
        for (FrameNo frameNo = first; frameNo < first + 200; ++frameNo) {
            in.requestNo = frameNo;
            in.history[frameNo] = {frameNo, frameNo, frameNo, {}, {}, {}, false};
            selector->select(in);
        }
    };
    std::thread one(work, 1000);
    std::thread two(work, 2000);
    one.join();
    two.join();
    std::map<uint64_t, RequestNo> last;
    size_t calls = 0;
    for (RecordedEvent const& event : read()) {
        if (auto const* const call = std::get_if<RecordedCall>(&event)) {
            ++calls;
            RequestNo& before = last[call->selector];
            EXPECT_TRUE(before == 0 || call->input.in.requestNo == before + 1);
            before = call->input.in.requestNo;
        }
    }
    EXPECT_EQ(calls, 400U);
    EXPECT_EQ(last.size(), 2U);
}

}  // namespace
}  // namespace ZslTest
