// Scenarios told in files: what the host holds, what it asks, what the selector logs and answers. A line that
// begins with "> " is a command; the lines below it are what it brought about. Commands:
//
//   hint | policy | timeout N     forces it; -1 clears the force
//   history A B, inflight A B     frames A to B are in the history, or in flight
//   land N, drop N, unlock N      the frame's result arrives; it leaves the history; the host unlocks it
//   set N TAG VALUE [STREAM]      metadata of history frame N; VALUE - removes the tag
//   null N STREAM                 the application metadata pointer of a stream of frame N is null
//   meta TAG VALUE, meta null     the request's application metadata
//   need app|hal ID               the request needs that stream as well
//   carry N                       frame N carries all streams it has metadata of
//   sensor ID MODE                the request needs that sensor in that mode; ID - clears the sensors
//   shutter N, frames N, ev N     the request: shutter at frame N, number of frames, exposure compensation
//   precollect N R                frame N is collected ahead for request R, in flight
//   key K                         requires a frame under index K as well
//   request R ELAPSED             asks for request R, which has waited ELAPSED ms
//   burst BASE IDX CNT ELAPSED [SELECTOR]
//                                 asks for request IDX of the burst, and carries the operations out
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "Scene.h"

namespace ZslTest {
namespace {

struct TagWord {
    char const* name;
    uint32_t tag;
    bool isApp;
    int bytes;
};

constexpr TagWord kTagWords[] = {
    {"ev", kEv, true, 4},           {"afMode", kAfMode, true, 1},      {"afState", kAfState, true, 1},
    {"lens", kLensState, true, 1},  {"aeState", kAeState, true, 1},    {"hint", kHint, true, 4},
    {"softAe", kSoftAe, false, 4},  {"sensorId", kSensorId, false, 4}, {"sensorMode", kSensorMode, false, 4},
    {"sync", kFrameSync, false, 8},
};

class Scenario : public SelectorTest, public testing::WithParamInterface<std::string> {
  protected:
    template <typename T>
    T next() {
        T value{};
        EXPECT_TRUE(words >> value) << words.str();
        return value;
    }

    static void setTag(Metadata& metadata, TagWord const& word, std::string const& value) {
        if (value == "-") {
            metadata.erase(word.tag);
        } else if (word.bytes == 1) {
            metadata.set(word.tag, static_cast<uint8_t>(std::stoi(value)));
        } else if (word.bytes == 4) {
            metadata.set(word.tag, static_cast<int32_t>(std::stoi(value)));
        } else {
            metadata.set(word.tag, static_cast<int64_t>(std::stoll(value)));
        }
    }

    static TagWord const& tagOf(std::string const& name) {
        auto const* const word = std::find_if(std::begin(kTagWords), std::end(kTagWords),
                                              [&](TagWord const& entry) { return entry.name == name; });
        EXPECT_NE(word, std::end(kTagWords)) << name;
        return *word;
    }

    void setFrameTag() {
        auto const frameNo = next<FrameNo>();
        TagWord const& word = tagOf(next<std::string>());
        auto const value = next<std::string>();
        StreamId stream = word.isApp ? kApp : kHal;
        words >> stream;
        setTag(word.isApp ? scene.app(frameNo, stream) : scene.hal(frameNo, stream), word, value);
    }

    void setRequestTag() {
        auto const name = next<std::string>();
        scene.need().inAppMeta = name == "null" ? nullptr : &scene.requestMeta;
        if (name != "null") {
            setTag(scene.requestMeta, tagOf(name), next<std::string>());
        }
    }

    void setSensor(std::string const& sensorId, uint32_t mode) {
        scene.need().reqSensorIds = &sensorIds;
        if (sensorId == "-") {
            sensorIds.clear();
            scene.in.sensorModes.clear();
        } else {
            auto const id = static_cast<uint32_t>(std::stoul(sensorId));
            sensorIds.insert(id);
            scene.in.sensorModes[id] = mode;
        }
    }

    void askBurst() {
        auto const base = next<RequestNo>();
        auto const idx = next<int32_t>();
        auto const cnt = next<int32_t>();
        scene.burst(base, idx, cnt, next<int64_t>());
        size_t which = 0;
        words >> which;
        while (selectors.size() <= which) {
            createCustomSelector(selectors.emplace_back());
            log.take();
        }
        select(scene, *selectors[which]);
        scene.carryOut(last);
    }

    void obey(std::string const& command) {
        if (command == "hint" || command == "policy" || command == "timeout") {
            force(command.c_str(), next<std::string>());
        } else if (command == "history" || command == "inflight") {
            auto const first = next<FrameNo>();
            auto const final = next<FrameNo>();
            command == "history" ? scene.history(first, final) : scene.inflight(first, final);
        } else if (command == "land") {
            scene.land(next<FrameNo>());
        } else if (command == "drop") {
            scene.in.history.erase(next<FrameNo>());
        } else if (command == "unlock") {
            scene.frame(next<FrameNo>()).locked = false;
        } else if (command == "set") {
            setFrameTag();
        } else if (command == "null") {
            auto const frameNo = next<FrameNo>();
            scene.frame(frameNo).appMetas[next<StreamId>()] = nullptr;
        } else if (command == "meta") {
            setRequestTag();
        } else if (command == "need") {
            auto& need = scene.need().needStreams;
            auto& streams = next<std::string>() == "app" ? need.appMetas : need.halMetas;
            streams.insert(next<StreamId>());
        } else if (command == "carry") {
            auto& frame = scene.frame(next<FrameNo>());
            std::for_each(frame.appMetas.begin(), frame.appMetas.end(),
                          [&](auto const& entry) { frame.streamSets.appMetas.insert(entry.first); });
            std::for_each(frame.halMetas.begin(), frame.halMetas.end(),
                          [&](auto const& entry) { frame.streamSets.halMetas.insert(entry.first); });
        } else if (command == "sensor") {
            auto const sensorId = next<std::string>();
            setSensor(sensorId, next<uint32_t>());
        } else if (command == "shutter") {
            scene.shutterAt(next<FrameNo>());
        } else if (command == "frames") {
            scene.frames(next<int32_t>());
        } else if (command == "ev") {
            scene.in.targetEv = next<int32_t>();
        } else if (command == "precollect") {
            auto const frameNo = next<FrameNo>();
            scene.in.preCollects[frameNo] = {next<RequestNo>(), ISelector::PreCollectStatus::Inflight};
        } else if (command == "key") {
            scene.in.requiredFrames[next<int32_t>()] = {};
        } else if (command == "request") {
            auto const requestNo = next<RequestNo>();
            select(scene.request(requestNo, next<int64_t>()), *selectors[0]);
        } else {
            ASSERT_EQ(command, "burst") << "unknown command";
            askBurst();
        }
    }

    /// Obeys the commands of the file; tells what came of them in the transcript.
    void play() {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line); told += line + "\n") {
            if (line.compare(0, 1, "#") == 0) {
                transcript += line + "\n";
            } else if (line.compare(0, 2, "> ") == 0) {
                transcript += line + "\n";
                words = std::istringstream(line.substr(2));
                obey(next<std::string>());
            }
        }
        EXPECT_FALSE(told.empty()) << path;
        // Lines without a fixed location code carry the source line, which any edit moves.
        static std::regex const kFloating(
            R"(((?:ispHidlSelect_Latest|ispHidlSelect_MFNR_HDR|tryGetPreCollectHint|tryGetEVSetting)\)\{#)\d+:)");
        transcript = std::regex_replace(transcript, kFloating, "$1*:");
    }

    std::string path = std::string(SCENARIOS) + "/" + GetParam() + ".txt";
    std::string told;  // what the file says
    Scene scene;
    std::set<uint32_t> sensorIds;
    std::istringstream words;
    std::vector<std::shared_ptr<ISelector>> selectors{selector};
};

TEST_P(Scenario, LogsAndAnswersAsTold) {
    play();
    if (std::getenv("ZSL_UPDATE") != nullptr) {
        std::ofstream(path) << transcript;
    }
    EXPECT_EQ(transcript, told) << path;
}

/// Without the selector's log level its own DEBUG lines go, and nothing else changes.
TEST_P(Scenario, TheSameWithoutTheSelectorsDebugLines) {
    NSCam::Utils::Properties::set("vendor.debug.camera.log.zsl.sample", "0");
    createCustomSelector(selectors[0]);
    log.take();
    play();
    NSCam::Utils::Properties::set("vendor.debug.camera.log.zsl.sample", "1");
    std::regex const memberLine(R"(D \[(select|multiFrameSelect|ispHidlSelect\w*)\] .*\n)");
    EXPECT_EQ(transcript, std::regex_replace(told, memberLine, "")) << path;
}

std::vector<std::string> scenarios() {
    std::vector<std::string> names;
    for (auto const& entry : std::filesystem::directory_iterator(SCENARIOS)) {
        names.push_back(entry.path().stem());
    }
    std::sort(names.begin(), names.end());
    return names;
}

INSTANTIATE_TEST_SUITE_P(Told, Scenario, testing::ValuesIn(scenarios()),
                         [](auto const& test) { return std::regex_replace(test.param, std::regex("-"), "_"); });

}  // namespace
}  // namespace ZslTest
