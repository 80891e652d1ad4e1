// What a test's host holds and asks, and what came back: builders, a selector with its log, and transcripts.
#pragma once

#include <gtest/gtest.h>
#include <vzrcam/LogSink.h>
#include <vzrcam/Metadata.h>
#include <vzrcam/PropertyStore.h>

#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "zsl/policy/ISelector.h"

namespace ZslTest {

using NSCam::Metadata;
using NSCam::ZslPolicy::FrameNo;
using NSCam::ZslPolicy::ISelector;
using NSCam::ZslPolicy::kNoFrame;
using NSCam::ZslPolicy::RequestNo;
using NSCam::ZslPolicy::StreamId;

constexpr StreamId kImage = 1;
constexpr StreamId kApp = 10;
constexpr StreamId kHal = 20;

// Written out: they hold the table of vzrcam/MetadataTags.h to its numbers.
constexpr uint32_t kEv = 0x10001;
constexpr uint32_t kAfMode = 0x10007;
constexpr uint32_t kAeState = 0x1001F;
constexpr uint32_t kAfState = 0x10020;
constexpr uint32_t kLensState = 0x80009;
constexpr uint32_t kHint = 0x800B0022;
constexpr uint32_t kSensorId = 0xC0000005;
constexpr uint32_t kSensorMode = 0xC0010014;
constexpr uint32_t kFrameSync = 0xC0080004;
constexpr uint32_t kSoftAe = 0xC0030023;

/// The host's side of one or more calls. Frame n is taken at time 10 n; frames are stable, in sensor 0, mode 1,
/// EV 0, and carry all needed streams until a test says otherwise.
class Scene {
  public:
    Scene() {
        need().needStreams = {{kImage}, {kHal}, {kApp}};
        need().inAppMeta = &requestMeta;
        requestMeta.set(kEv, int32_t{0});
    }

    Scene& history(FrameNo first, FrameNo last) {
        for (FrameNo frameNo = first; frameNo <= last; ++frameNo) {
            add(frameNo);
        }
        return *this;
    }

    Scene& inflight(FrameNo first, FrameNo last) {
        for (FrameNo frameNo = first; frameNo <= last; ++frameNo) {
            in.inflight[frameNo] = {frameNo, {}};
        }
        return *this;
    }

    /// The frame's results arrive.
    Scene& land(FrameNo frameNo) {
        in.inflight.erase(frameNo);
        add(frameNo);
        return *this;
    }

    Scene& shutterAt(FrameNo frameNo) {
        in.zsdTs = 10 * int64_t{frameNo};
        return *this;
    }

    Scene& request(RequestNo requestNo, int64_t elapsedMs = 0) {
        in.requestNo = requestNo;
        in.elapsedMs = elapsedMs;
        return *this;
    }

    /// The request is number `idx` of a burst of `cnt` that begins at `base`.
    Scene& burst(RequestNo base, int32_t idx, int32_t cnt, int64_t elapsedMs = 0) {
        in.ispHidlFrameIdx = idx;
        in.ispHidlFrameCnt = cnt;
        return request(base + static_cast<uint32_t>(idx), elapsedMs);
    }

    /// Requires `count` frames, with the keys 0, 1, ...
    Scene& frames(int32_t count) {
        for (int32_t key = 1; key < count; ++key) {
            in.requiredFrames[key] = need();
        }
        return *this;
    }

    ISelector::ZslFrameInfo& need() { return in.requiredFrames[0]; }
    ISelector::HistoryFrame& frame(FrameNo frameNo) { return in.history.at(frameNo); }

    /// The frame's metadata in a stream, to be changed; a stream that is new becomes part of the frame.
    Metadata& app(FrameNo frameNo, StreamId id = kApp) {
        frame(frameNo).streamSets.appMetas.insert(id);
        return meta(frame(frameNo).appMetas, id);
    }
    Metadata& hal(FrameNo frameNo, StreamId id = kHal) {
        frame(frameNo).streamSets.halMetas.insert(id);
        return meta(frame(frameNo).halMetas, id);
    }

    /// Carries out the answer's frame operations.
    Scene& carryOut(ISelector::SelectOutputParams const& out) {
        for (auto const& [frameNo, operation] : out.frameOps) {
            frame(frameNo).locked = operation == ISelector::OpT::Lock;
        }
        return *this;
    }

    ISelector::SelectInputParams in;
    Metadata requestMeta;

  private:
    void add(FrameNo frameNo) {
        auto& hf = in.history[frameNo];
        hf.frameNo = frameNo;
        hf.requestNo = frameNo + 1000;
        hf.timestamp = 10 * int64_t{frameNo};
        hf.streamSets.halImages = {kImage};
        Metadata& appMeta = app(frameNo);
        appMeta.set(kEv, int32_t{0});
        appMeta.set(kAfMode, uint8_t{4});
        appMeta.set(kAfState, uint8_t{2});
        appMeta.set(kLensState, uint8_t{0});
        appMeta.set(kAeState, uint8_t{2});
        Metadata& halMeta = hal(frameNo);
        halMeta.set(kSensorId, int32_t{0});
        halMeta.set(kSensorMode, int32_t{1});
        halMeta.set(kSoftAe, int32_t{1});
        halMeta.set(kFrameSync, int64_t{0});
    }

    Metadata& meta(std::map<StreamId, NSCam::IMetadata const*>& streams, StreamId id) {
        auto& pointer = streams[id];
        if (pointer == nullptr) {
            pointer = &mMetadata.emplace_back();
        }
        return const_cast<Metadata&>(static_cast<Metadata const&>(*pointer));
    }

    std::deque<Metadata> mMetadata;  // addresses stay good
};

/// Collects log lines as "D text" while it lives.
class LogCapture {
  public:
    explicit LogCapture(char const* level = "V") {
        NSCam::Utils::Properties::set("log.tag.SampleSelector", level);
        NSCam::Utils::Log::setSink([this](int priority, char const* tag, std::string const& text) {
            EXPECT_STREQ(tag, "SampleSelector");
            lines.push_back(NSCam::Utils::Log::priorityLetter(priority) + (" " + text));
        });
    }
    ~LogCapture() { NSCam::Utils::Log::setSink({}); }
    LogCapture(LogCapture const&) = delete;
    LogCapture& operator=(LogCapture const&) = delete;

    /// All lines since the last call, a line each.
    std::string take() {
        std::string text;
        for (std::string const& line : lines) {
            text += line + "\n";
        }
        lines.clear();
        return text;
    }

    /// How many lines hold the text.
    size_t count(std::string const& text) const;

    std::vector<std::string> lines;
};

/// "{0:88 1:none} L89 U90", the answer and the operations.
inline std::string show(ISelector::SelectOutputParams const& out) {
    EXPECT_TRUE(out.frameNoSet.empty());
    std::string text = "{";
    for (auto const& [key, result] : out.selectedFrames) {
        EXPECT_EQ(result.reserved, 0U);
        text += (text.size() > 1 ? " " : "") + std::to_string(key) + ":" +
                (result.frameNo == kNoFrame ? "none" : std::to_string(result.frameNo));
    }
    text += "}";
    for (auto const& [frameNo, operation] : out.frameOps) {
        text += (operation == ISelector::OpT::Lock ? " L" : " U") + std::to_string(frameNo);
    }
    return text;
}

/// A selector under a forced hint, policy or time-out, with its log. Properties are cleared at both ends; the
/// runtime switch is on (main.cpp), for it is read once in a process.
class SelectorTest : public testing::Test {
  protected:
    SelectorTest();

    /// One call of selector 0, its answer in short form.
    std::string select(Scene const& scene) { return select(scene, *selector); }
    std::string select(Scene const& scene, ISelector& which);

    void force(char const* what, std::string const& value);

    LogCapture log;
    std::shared_ptr<ISelector> selector;
    std::string transcript;
    ISelector::SelectOutputParams last;
};

}  // namespace ZslTest
