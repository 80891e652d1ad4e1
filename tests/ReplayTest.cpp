// The replay tool's readers and its host.
#include <gtest/gtest.h>
#include <vzrcam/PropertyStore.h>

#include <algorithm>
#include <fstream>
#include <sstream>

#include "Host.h"
#include "Report.h"
#include "Scene.h"
#include "Session.h"

namespace ZslTest {
namespace {

using namespace Replay;

std::string readError(std::string const& text) {
    try {
        readSession(text, "s.json");
        return "no error";
    } catch (SessionError const& error) {
        return error.what();
    }
}

TEST(SessionFile, ComplaintsNameFilePlaceAndReason) {
    std::string const frame = R"({"first": 1, "startMs": 0})";
    std::string const good = R"("frames": [)" + frame + R"(], "requests": [{"requestNo": 1, "shutterMs": 0}])";
    EXPECT_EQ(readError("{" + good + "}"), "no error");
    struct {
        std::string text;
        char const* error;
    } const cases[] = {
        {"{", "s.json: byte 2: no JSON"},
        {"[]", "s.json: /: expected an object"},
        {R"({"frames": []})", "s.json: /: missing key 'requests'"},
        {R"({"frames": [], "requests": []})", "s.json: /requests: the session asks for no capture"},
        {R"({"frmes": [], )" + good + "}", "s.json: /frmes: unknown key"},
        {R"({"frames": [{"first": 1, "startMs": -1}], "requests": []})",
         "s.json: /frames/0/startMs: expected a time in milliseconds, 0 or more"},
        {R"({"frames": [{"first": 4294967296, "startMs": 0}], "requests": []})",
         "s.json: /frames/0/first: expected a whole number from 0 to 4294967295"},
        {R"({"frames": [)" + frame + "," + frame + R"(], "requests": []})",
         "s.json: /frames/1: frame numbers must ascend"},
        {R"({"frames": [)" + frame + R"(, {"first": 2, "startMs": 0}], "requests": []})",
         "s.json: /frames/1: start times must ascend"},
        {R"({"frames": [{"first": 1, "count": 3, "startMs": 0}], "requests": []})",
         "s.json: /frames/0: missing key 'periodMs'"},
        {R"({"frames": [{"first": 1, "startMs": 0, "app": {"x": {}}}], "requests": []})",
         "s.json: /frames/0/app/x: the key must be a whole number"},
        {R"({"frames": [{"first": 1, "startMs": 0, "app": {"1": {"a/b": 1}}}], "requests": []})",
         "s.json: /frames/0/app/1/a~1b: unknown tag; use its number"},
        {R"({"frames": [{"first": 1, "startMs": 0, "app": {"1": {"0x77": 1}}}], "requests": []})",
         "s.json: /frames/0/app/1/0x77: the type of this tag is not known"},
        {R"({"frames": [{"first": 1, "startMs": 0, "app": {"1": {"android.lens.state": "FLYING"}}}], "requests": []})",
         "s.json: /frames/0/app/1/android.lens.state: 'FLYING' is no value of the tag"},
        {R"({"frames": [{"first": 1, "startMs": 0, "app": {"1": {"android.lens.state": 256}}}], "requests": []})",
         "s.json: /frames/0/app/1/android.lens.state: a value is out of the tag's range"},
        {R"({"changes": [{"first": 9}], )" + good + "}", "s.json: /changes/0: no such frame"},
        {R"({"frames": [], "requests": [{"requestNo": 1, "shutterMs": 0, "burst": 2, "order": [1, 1]}]})",
         "s.json: /requests/0/order/1: the index stands twice"},
        {R"({"frames": [], "requests": [{"requestNo": 1, "shutterMs": 0, "burst": 2, "order": [1]}]})",
         "s.json: /requests/0/order: expected each index of the burst once"},
        {R"({"frames": [], "requests": [{"requestNo": 1, "shutterMs": 0, "selector": 1}]})",
         "s.json: /requests/0/selector: expected a whole number from 0 to 0"},
        {R"({"frames": [], "requests": [{"requestNo": 1, "shutterMs": 0, "frames": []}]})",
         "s.json: /requests/0/frames: expected at least one frame index"},
        {R"({"frames": [], "requests": [{"requestNo": 1, "shutterMs": 0, "preCollects": {"3": {"requestNo": 1,
             "status": "ready"}}}]})",
         "s.json: /requests/0/preCollects/3/status: expected Register, Inflight"},
    };
    for (auto const& c : cases) {
        EXPECT_EQ(readError(c.text).substr(0, std::string(c.error).size()), c.error);
    }
}

TEST(SessionFile, FramesChangesAndBursts) {
    Session const session = readSession(R"({
        "streams": {"images": [1], "app": [10], "hal": [20]},
        "frames": [{"first": 5, "count": 3, "startMs": 100, "periodMs": 33.5, "resultAfterMs": 50,
                    "app": {"10": {"android.control.afMode": "MACRO", "0x1234": {"i64": [7, 8]}}}}],
        "changes": [{"first": 6, "last": 7, "resultAfterMs": 200,
                     "app": {"10": {"android.control.afMode": null, "65537": -3}}}],
        "requests": [{"requestNo": 4294967295, "shutterMs": 10, "submitMs": 20, "burst": 2, "intervalMs": 5,
                      "order": [1, 0], "sensorModes": {"2": 4}, "frames": [-1, 4]}]})",
                                        "s")
                                .sessions.at(0);
    ASSERT_EQ(session.frames.size(), 3U);
    EXPECT_EQ(session.frames[1].startNs, 133500000);
    EXPECT_EQ(session.frames[0].resultNs, 150000000);
    EXPECT_EQ(session.frames[2].resultNs, 367000000);
    uint8_t mode = 0;
    int64_t wide = 0;
    int32_t ev = 0;
    EXPECT_TRUE(NSCam::IMetadata::getEntry(&session.frames[0].appMetas.at(10), kAfMode, mode, 0));
    EXPECT_EQ(mode, 2);
    EXPECT_TRUE(NSCam::IMetadata::getEntry(&session.frames[2].appMetas.at(10), 0x1234, wide, 1));
    EXPECT_EQ(wide, 8);
    EXPECT_FALSE(NSCam::IMetadata::getEntry(&session.frames[2].appMetas.at(10), kAfMode, mode, 0));
    EXPECT_TRUE(NSCam::IMetadata::getEntry(&session.frames[2].appMetas.at(10), kEv, ev, 0));
    EXPECT_EQ(ev, -3);
    ASSERT_EQ(session.requests.size(), 2U);
    Request const& second = session.requests[0];
    EXPECT_EQ(second.requestNo, 0U);  // wraps around
    EXPECT_EQ(second.burstIdx, 1);
    EXPECT_EQ(second.burstCnt, 2);
    EXPECT_EQ(second.shutterNs, 15000000);
    EXPECT_EQ(second.submitNs, 25000000);
    EXPECT_EQ(second.frameIndices, (std::vector<int32_t>{-1, 4}));
    EXPECT_EQ(second.sensorIds, std::set<uint32_t>{2});
}

constexpr char const* kDump = R"(Client: com.example.one (active)
0:com.example.one  f10:1000000000ns:   RES:android.control.afMode: [CONTINUOUS_PICTURE]
0:com.example.one  f10:1000000000ns:   RES:android.control.captureIntent: [PREVIEW]
0:com.example.one  f11:1040000000ns:   RES:android.control.captureIntent: [STILL_CAPTURE]
0:com.example.one  f11:1040000000ns:   RES:android.control.aeExposureCompensation: [-30 ]
0:com.example.one  f20:1400000000ns:   RES:android.control.afState: [PASSIVE_FOCUSED]
0:com.example.one  f12:1021000000ns:   REQ:android.control.captureIntent: [PREVIEW]
0:com.example.one  f12:1021000000ns:   REQ: output stream ids: 3 1
0:com.example.one  f15:1150000000ns:   REQ:android.control.captureIntent: [ZERO_SHUTTER_LAG]
0:com.example.one  f15:1150000000ns:   REQ: output stream ids: 2
0:com.example.one  f17:1230000000ns:   REQ:android.control.captureIntent: [VIDEO_RECORD]
0:com.example.one  f18:damaged
0:com.example.one  f18:1230000000ns:   REQ:android.control.captureIntent: [UNHEARD_OF]
0:com.example.one  f18:1230000000ns:   RES:android.control.afMode: [300 ]
a foreign line
0:com.example.one  f19:1360000000ns:   RES:android.flash.mode: [OFF]

Client: com.example.two (cached)
Cached @ 08-20 12:00:38
20:com.example.two  f3:500ns:          RES:android.control.aeState: [LOCKED]
20:com.example.two  f4:500ns:          REQ:android.control.captureIntent: [VIDEO_SNAPSHOT]
21:com.example.two  f4:600ns:          REQ:android.control.captureIntent: [STILL_CAPTURE]
)";

TEST(PhoneDump, FramesAndShutterPresses) {
    Recording const recording = readPhoneDump(kDump, "dump", {});
    ASSERT_EQ(recording.sessions.size(), 2U);
    EXPECT_EQ(recording.notes,
              (std::vector<std::string>{"21:com.example.two: no result line, so no frame to choose from; left out",
                                        "android.lens.state is not in the dump: the lens is taken as stationary",
                                        "4 damaged or foreign lines skipped"}));
    Session const& one = recording.sessions[0];
    EXPECT_EQ(one.name, "0:com.example.one");
    ASSERT_EQ(one.frames.size(), 11U);
    EXPECT_EQ(one.frames[2].startNs, 1080000000);  // f12, between f11 and f19
    EXPECT_EQ(one.frames[2].resultNs, 1146000000);
    EXPECT_EQ(one.frames[2].images, (std::set<StreamId>{1, 3}));
    EXPECT_EQ(one.frames[6].images, (std::set<StreamId>{2}));
    uint8_t value = 99;
    auto const& appMeta = [&](size_t index) { return &one.frames[index].appMetas.begin()->second; };
    EXPECT_TRUE(NSCam::IMetadata::getEntry(appMeta(9), kAfMode, value, 0) && value == 4);
    EXPECT_FALSE(NSCam::IMetadata::getEntry(appMeta(9), kAfState, value, 0));  // not known yet
    EXPECT_TRUE(NSCam::IMetadata::getEntry(appMeta(10), kAfState, value, 0) && value == 2);
    EXPECT_TRUE(NSCam::IMetadata::getEntry(appMeta(0), kLensState, value, 0) && value == 0);

    ASSERT_EQ(one.requests.size(), 3U);  // f11 by its result, f15 and f16 by the request
    EXPECT_EQ(one.requests[0].requestNo, 11U);
    EXPECT_EQ(one.requests[0].shutterNs, 1040000000);
    EXPECT_EQ(one.requests[0].ev, -30);
    EXPECT_EQ(one.requests[1].shutterNs, 1150000000);
    EXPECT_EQ(one.requests[2].shutterNs, 1190000000);  // between f15 and f17
    EXPECT_EQ(one.requests[1].burstIdx, -1);
    EXPECT_EQ(recording.sessions[1].requests.at(0).requestNo, 4U);

    DumpOptions options;
    options.asBursts = true;
    Recording const bursts = readPhoneDump(kDump, "dump", options);
    EXPECT_EQ(bursts.sessions[0].requests[0].burstCnt, 1);
    EXPECT_EQ(bursts.sessions[0].requests[2].burstIdx, 1);
    EXPECT_EQ(bursts.sessions[0].requests[2].burstCnt, 2);
}

TEST(PhoneDump, UnusableFiles) {
    EXPECT_THROW(readPhoneDump("", "dump", {}), SessionError);
    EXPECT_THROW(readPhoneDump("hello\nworld\n", "dump", {}), SessionError);
    EXPECT_THROW(readPhoneDump("0:a f1:5ns: RES:android.lens.state: [MOVING]\n"
                               "0:a f4294967294:9ns: RES:android.lens.state: [MOVING]\n",
                               "dump", {}),
                 SessionError);
    Recording const withLens = readPhoneDump("0:a f1:5ns: RES:android.lens.state: [MOVING]", "dump", {});
    EXPECT_TRUE(withLens.notes.empty());
    uint8_t value = 0;
    EXPECT_TRUE(
        NSCam::IMetadata::getEntry(&withLens.sessions[0].frames[0].appMetas.begin()->second, kLensState, value, 0));
    EXPECT_EQ(value, 1);
}

/// A selector that says what the test wants it to say.
class Puppet : public ISelector {
  public:
    char const* getName() const override { return "Puppet"; }
    SelectOutputParams select(SelectInputParams const& in) override { return onSelect(in); }
    std::function<SelectOutputParams(SelectInputParams const&)> onSelect;
};

TEST(ReplayHost, HistoryLocksAndKeptFrames) {
    Session const session = readSession(R"({
        "frames": [{"first": 1, "count": 10, "startMs": 0, "periodMs": 10, "resultAfterMs": 25}],
        "requests": [{"requestNo": 7, "shutterMs": 31, "submitMs": 41.9, "frames": 2}]})",
                                        "s")
                                .sessions.at(0);
    std::vector<std::string> seen;
    auto puppet = std::make_shared<Puppet>();
    puppet->onSelect = [&](ISelector::SelectInputParams const& in) {
        std::string text = std::to_string(in.elapsedMs) + ":";
        for (auto const& [frameNo, frame] : in.history) {
            text += " " + std::to_string(frameNo) + (frame.locked ? "L" : "");
        }
        text += " |";
        for (auto const& entry : in.inflight) {
            text += " " + std::to_string(entry.first);
        }
        seen.push_back(text);
        ISelector::SelectOutputParams out;
        if (seen.size() == 1) {
            out.frameOps = {{1, ISelector::OpT::Lock}, {99, ISelector::OpT::Lock}};
            out.selectedFrames[0] = {2, 0};  // half an answer: frame 2 must stay
        } else if (in.elapsedMs < 40) {
            out.selectedFrames[0] = {2, 0};
        } else {
            out.frameOps = {{3, ISelector::OpT::Lock}};
            out.selectedFrames = {{0, {2, 0}}, {1, {kNoFrame, 0}}};
        }
        return out;
    };
    HostOptions options;
    options.historyDepth = 3;
    options.makeSelector = [&] { return puppet; };
    SessionResult const result = play(session, options);
    EXPECT_EQ(seen, (std::vector<std::string>{"0: 1 2 | 3 4 5", "3: 1L 2 3 | 4 5", "8: 1L 2 3 | 4 5 6",
                                              "13: 1L 2 4 | 5 6", "18: 1L 2 4 | 5 6 7", "23: 1L 2 5 | 6 7",
                                              "28: 1L 2 5 | 6 7 8", "33: 1L 2 6 | 7 8", "38: 1L 2 6 | 7 8 9",
                                              "43: 1L 2 7 | 8 9"}));
    Outcome const& outcome = result.outcomes.at(0);
    EXPECT_TRUE(outcome.isAnswered);
    EXPECT_TRUE(outcome.isNonZsl());
    EXPECT_EQ(outcome.calls, 10U);
    EXPECT_EQ(outcome.waitedNs, 43100000);
    EXPECT_EQ(outcome.offsetsNs, std::vector<int64_t>{-21000000});
    EXPECT_EQ(outcome.locks, 3U);
    EXPECT_EQ(result.lockedAtEnd, 1U);
}

/// Every bundled session prints what it printed when its description was checked.
class BundledSession : public testing::TestWithParam<char const*> {};

TEST_P(BundledSession, PrintsItsTable) {
    std::string const path = std::string(SESSIONS) + "/" + GetParam() + ".json";
    std::ifstream file(path);
    std::ostringstream text;
    text << file.rdbuf();
    Recording const recording = readSession(text.str(), path);
    Session const& session = recording.sessions.at(0);
    NSCam::Utils::Properties::clear();
    for (auto const& [name, value] : session.properties) {
        NSCam::Utils::Properties::set(name, value);
    }
    HostOptions options;
    options.makeSelector = [] {
        std::shared_ptr<ISelector> selector;
        createCustomSelector(selector);
        return selector;
    };
    std::vector<PlayedSession> const played{{&session, play(session, options)}};
    std::ostringstream table;
    printTable(table, recording, played);
    std::string const expectedPath = std::string(TRANSCRIPTS) + "/session-" + GetParam() + ".txt";
    if (std::getenv("ZSL_UPDATE_TRANSCRIPTS") != nullptr) {
        std::ofstream(expectedPath) << table.str();
    }
    std::ostringstream expected;
    expected << std::ifstream(expectedPath).rdbuf();
    EXPECT_EQ(table.str(), expected.str());
}

INSTANTIATE_TEST_SUITE_P(Shipped, BundledSession,
                         testing::Values("exposure-converging", "fifo-late-frame", "fifo-out-of-order",
                                         "fifo-time-out", "focus-hunting", "late-frame", "latest-in-flight",
                                         "latest-time-out", "latest-verify-fails", "mfnr-hdr", "mfnr-hdr-time-out",
                                         "quality-none-passes", "quality-older-passes", "quality-time-out",
                                         "stable-scene", "time-out", "two-selectors", "two-sensors"),
                         [](auto const& test) {
                             std::string name = test.param;
                             std::replace(name.begin(), name.end(), '-', '_');
                             return name;
                         });

}  // namespace
}  // namespace ZslTest
