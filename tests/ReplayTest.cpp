// The replay tool's readers and its host.
#include <filesystem>
#include <nlohmann/json.hpp>

#include "Desk.h"
#include "Scene.h"
#include "replay/input/PhoneDump.h"
#include "replay/input/RecordedCalls.h"
#include "replay/input/RecordedSession.h"
#include "replay/model/InputError.h"
#include "replay/model/Units.h"

namespace ZslTest {
namespace {

using namespace Replay;
using ZslTest::kAeState, ZslTest::kAfMode, ZslTest::kAfState, ZslTest::kLensState;

std::string readError(std::string const& text) {
    try {
        readSession(text, "s.json");
        return "no error";
    } catch (InputError const& error) {
        return error.what();
    }
}

/// A line has a place in a session, what is put there, and behind "=>" what the reader says of it.
TEST(SessionFile, ComplaintsNameFilePlaceAndReason) {
    EXPECT_EQ(readError("{").substr(0, 23), "s.json: byte 2: no JSON");
    std::istringstream lines(textOf(DATA "/bad-sessions.txt"));
    for (std::string line; std::getline(lines, line);) {
        size_t const arrow = line.find(" => ");
        size_t const blank = line.find(' ');
        auto session = nlohmann::json::parse(R"({"frames": [{"first": 1, "startMs": 0, "app": {"1": {}}}],
            "requests": [{"requestNo": 1, "shutterMs": 0, "preCollects": {}}]})");
        session[nlohmann::json::json_pointer(blank == 1 ? "" : line.substr(0, blank))] =
            nlohmann::json::parse(line.substr(blank, arrow - blank));
        std::string const error = (line[arrow + 4] == ':' ? line.substr(0, blank) : "") + line.substr(arrow + 4);
        EXPECT_EQ(readError(session.dump()).substr(0, error.size() + 8), "s.json: " + error) << line;
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

TEST(PhoneDump, FramesAndShutterPresses) {
    SessionSet const dump = readPhoneDump(textOf(DATA "/watch-dump.txt"), "dump", {});
    ASSERT_EQ(dump.sessions.size(), 2U);
    EXPECT_EQ(dump.notes,
              (std::vector<std::string>{"21:com.example.two: no result line, so no frame to choose from; left out",
                                        "4 damaged or foreign lines skipped"}));
    Session const& one = dump.sessions[0];
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
    EXPECT_EQ(dump.sessions[1].requests.at(0).requestNo, 4U);

    DumpOptions options;
    options.asBursts = true;
    SessionSet const bursts = readPhoneDump(textOf(DATA "/watch-dump.txt"), "dump", options);
    EXPECT_EQ(bursts.sessions[0].requests[0].burstCnt, 1);
    EXPECT_EQ(bursts.sessions[0].requests[2].burstIdx, 1);
    EXPECT_EQ(bursts.sessions[0].requests[2].burstCnt, 2);
}

uint8_t valueOf(Session const& session, uint32_t tag) {
    uint8_t value = 99;
    NSCam::IMetadata::getEntry(&session.frames.back().appMetas.begin()->second, tag, value, 0);
    return value;
}

TEST(PhoneDump, WhatIsNeverNamedIsAssumedAndSaid) {
    DumpOptions options;
    options.judgedTags = {kAfMode, kAfState, kLensState, kAeState};
    SessionSet dump = readPhoneDump(textOf(DATA "/watch-dump.txt"), "dump", options);
    std::string const one = "0:com.example.one never names android.";
    std::string const two = "20:com.example.two never names android.";
    std::vector<std::string> notes{
        one + "control.aeState: taken as CONVERGED, so every frame passes the auto-exposure check",
        one + "lens.state: taken as STATIONARY, so afMode and afState decide the auto-focus check",
        two + "control.afMode: taken as OFF, so every frame passes the auto-focus check",
        two + "control.afState: taken as INACTIVE, so afMode decides the auto-focus check",
        two + "lens.state: taken as STATIONARY, so afMode and afState decide the auto-focus check"};
    dump.notes.resize(notes.size());
    EXPECT_EQ(dump.notes, notes);
    EXPECT_EQ(valueOf(dump.sessions[0], kAfMode), 4);
    EXPECT_EQ(valueOf(dump.sessions[0], kAeState), 2);
    EXPECT_EQ(valueOf(dump.sessions[1], kAfMode), 0);
    EXPECT_EQ(valueOf(dump.sessions[1], kAeState), 3);

    options.assume = {{kAfMode, std::nullopt}, {kLensState, 1}};
    options.client = "20:com.example.two";
    dump = readPhoneDump(textOf(DATA "/watch-dump.txt"), "dump", options);
    EXPECT_EQ(dump.sessions.size(), 1U);
    EXPECT_EQ(dump.notes[0],
              two + "control.afMode: taken as absent, so no frame passes the auto-focus check (--assume)");
    EXPECT_EQ(valueOf(dump.sessions[0], kAfMode), 99);
    EXPECT_EQ(valueOf(dump.sessions[0], kLensState), 1);
}

TEST(PhoneDump, UnusableFiles) {
    std::string const capture = "0:a f1:5ns: RES:android.control.captureIntent: [STILL_CAPTURE]\n";
    for (std::string const& text :
         {std::string(), std::string("hello\nworld\n"), std::string("0:a f1:5ns: RES:android.lens.state: [MOVING]"),
          capture + "0:a f4294967294:9ns: RES:android.lens.state: [MOVING]\n",
          capture + "0:a f1026:9ns: REQ:android.control.captureIntent: [PREVIEW]\n"}) {
        EXPECT_THROW(readPhoneDump(text, "dump", {}), InputError) << text;
    }
    EXPECT_TRUE(readPhoneDump(capture, "dump", {}).notes.empty());
    EXPECT_EQ(
        readPhoneDump(capture + "0:a f9:1500000ns: RES:android.lens.state: [MOVING]", "dump", {}).notes,
        std::vector<std::string>{"0:a: f1 to f9 in 1.500 ms, no sensor is that quick: a frame number or a time "
                                 "is damaged"});
    DumpOptions options;
    options.client = "0:b";
    EXPECT_THROW(readPhoneDump(capture, "dump", options), InputError);
}

/// A call of a recording: a request for a frame, of which the answer is `selected`. `told` are history frames.
std::string callLine(int number, int elapsedMs, std::string const& told, std::string const& selected = "") {
    return R"({"call":)" + std::to_string(number) + R"(,"selector":1,"ns":)" + std::to_string(number * 1000000) +
           R"(,"tookNs":1,"tags":{"1":{},"2":{"7":{"u8":)" + std::to_string(number) + R"(}}},"new":{"history":{)" +
           told + R"(},"inflight":{}},"in":{"requestNo":7,"elapsedMs":)" + std::to_string(elapsedMs) +
           R"(,"zsdTs":5,"targetEv":0,"ispHidl":[-1,-1],"required":{"0":{"images":[],"halMetas":[],"appMetas":[],)" +
           R"("meta":0}},"sensorModes":{},"preCollects":{},"history":[[1,1]],"inflight":[]},"out":{"selected":{)" +
           selected + "},\"operations\":{},\"frameNoSet\":[]}}\n";
}

std::string toldFrame(char const* timestamp, char const* meta) {
    return std::string(R"("1":{"key":3,"frameNo":3,"requestNo":3,"timestamp":)") + timestamp +
           R"(,"images":[],"halMetas":[],"appMetas":[],"app":{"1":)" + meta + R"(},"hal":{},"locked":0})";
}

TEST(Recording, WrittenAnewNumbersUsedAgainAndWhatIsNotPlayed) {
    // A byte order mark, blanks and another order of keys change nothing.
    std::string const head =
        "\xef\xbb\xbf \n{\"version\": 1, \"format\" : \"zsl-recording\", \"plugin\": \"\", \"process\": 1, "
        "\"startedAtMs\": 0, \"ns\": 0, \"properties\": {}}\n{\"made\":1,\"ns\":0}\n";
    ASSERT_TRUE(isRecording(head.substr(3)));
    // R7 waits, is served, and comes again; then another R7 comes while it waits. The frame changes, and comes back
    // with another timestamp.
    std::string const calls = callLine(1, 0, toldFrame("1", "1")) +
                              callLine(2, 5, toldFrame("1", "2"), R"("0":[3,0])") + callLine(3, 9, "") +
                              callLine(4, 2, "");
    SessionSet const set = readRecordedSessions(head + calls + callLine(5, 4, toldFrame("2", "1")), "r");
    EXPECT_EQ(set.notes,
              (std::vector<std::string>{
                  "r, selector 1: 1 frames, the first of them F3, come back after they had gone, or with another "
                  "timestamp: played is what came first",
                  "r, selector 1: 1 frames, the first of them F3, have changed since they landed: they are played "
                  "as they "
                  "landed"}));
    Session const& session = set.sessions.at(0);
    EXPECT_EQ(session.requests.size(), 3U);
    std::vector<size_t> presented;
    for (Tick const& tick : session.ticks) {
        presented.push_back(tick.request);
    }
    EXPECT_EQ(presented, (std::vector<size_t>{0, 0, 1, 2, 2}));

    auto const errorOf = [](std::string const& text) -> std::string {
        try {
            readRecordedSessions(text, "r");
            return "none";
        } catch (InputError const& error) {
            return error.what();
        }
    };
    EXPECT_EQ(errorOf(head), "r: the recording has no call for a frame");
    EXPECT_EQ(errorOf("{\"frames\": []}"),
              "r: this is no recording, whose first line names the format \"zsl-recording\"");
    std::string const start = R"({"format":"zsl-recording","version":)";
    EXPECT_EQ(errorOf(start + R"(3,"new":1})"),
              "r: line 1: /version: version 3; this program reads versions 1 and 2");
    EXPECT_EQ(errorOf(start + R"(1,"plugin":"","process":1,"startedAtMs":0,"ns":0,"properties":{"a b":1}})"),
              "r: line 1: /properties/a b: this is no name of a property");
}

/// What reasons are read from the lines of a call.
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
    EXPECT_EQ(outcome.state, RequestState::NonZsl);
    EXPECT_EQ(outcome.calls, 10U);
    EXPECT_EQ(outcome.waitedNs, 43100000);
    EXPECT_EQ(outcome.offsetsNs, std::vector<int64_t>{-21000000});
    EXPECT_EQ(outcome.locks, 3U);
    EXPECT_EQ(result.lockedAtEnd, 1U);
}

/// Of each request: chosen frames, * after the time-out, offsets and wait in ms, calls, locks, unlocks; all
/// refusals.
std::string rowsOf(SessionResult const& result) {
    std::ostringstream rows;
    std::map<std::string, size_t> refusals;
    for (Outcome const& outcome : result.outcomes) {
        rows << "; R" << outcome.request->requestNo << ' ';
        for (auto const& [index, frameNo] : outcome.chosen) {
            rows << (frameNo == kNoFrame ? "none" : "F" + std::to_string(frameNo))
                 << (outcome.hasTimedOut ? "* " : " ");
        }
        for (int64_t const offset : outcome.offsetsNs) {
            rows << toMs(offset) << "ms ";
        }
        rows << toMs(outcome.waitedNs) << "ms " << outcome.calls << ' ' << outcome.locks << ' ' << outcome.unlocks;
        for (auto const& [reason, calls] : outcome.refusals) {
            refusals[reason] += calls;
        }
    }
    for (auto const& [reason, calls] : refusals) {
        rows << ", " << calls << " x " << reason;
    }
    return rows.str();
}

/// Every bundled session ends as it did when its description was checked.
TEST(BundledSessions, EndAsDescribed) {
    std::set<std::filesystem::path> const paths(std::filesystem::directory_iterator(SESSIONS), {});
    std::string played;
    for (auto const& path : paths) {
        Session session;
        played += path.stem().string() + rowsOf(playFile(path, session).result) + "\n";
    }
    expectFile("bundled-sessions.txt", played);
}

}  // namespace
}  // namespace ZslTest
