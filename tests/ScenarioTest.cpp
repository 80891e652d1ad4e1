// Scenarios told in files. A line that begins with "> " is a row of commands; below it stands what they brought
// about:
//
//   hint | policy | timeout N     forces it; -1 clears the force
//   history A B, inflight A B     frames A to B are in the history, or in flight
//   land N, drop N, unlock N      the frame's result arrives; it leaves the history; the host unlocks it
//   set N TAG VALUE [STREAM]      metadata of history frame N; VALUE - removes the tag
//   null N STREAM                 a null application metadata pointer
//   meta TAG VALUE, nometa        the request's application metadata; it is null
//   need app|hal ID               the request needs that stream, too; ID - : the usual one alone
//   sensor ID MODE                the request needs that sensor in that mode; ID - : none
//   shutter N, frames N, ev N     shutter at frame N, number of frames, exposure compensation
//   precollect N R                frame N is collected ahead for request R; R 0: none is
//   key K                         requires a frame under index K as well
//   request R [ELAPSED]           asks for request R, which has waited ELAPSED ms
//   burst BASE IDX CNT [ELAPSED] [SELECTOR]   asks for a request of a burst, and carries the operations out
//   show all|usual|select|frames|answers      of the log: all, what no rule covers, select()'s, single frames',
//   nothing
//
// Left out is what is as usual; a line that differs stays: override, INFO and dump lines; "[function] [log name] "
// of the strategy called ("multi " and "latest " for those it calls); "(operate at R...)" of the calling request;
// the default policy's names; "R1086 ts:860 ss(1,1,1) locked=0" of frame 86; empty answers and pre-collects; source
// folders. Equal lines are counted, locks share a line, and so do frames: "fits" has sensor 0 in mode 1 and EV 0,
// "ok" passed auto-focus and soft auto-exposure, "unchecked" came after the time-out, "AF X" and "EV X" say why
// not.
#include <algorithm>
#include <filesystem>
#include <fstream>
#include <regex>
#include <sstream>

#include "Scene.h"
#include "replay/model/TagTable.h"

namespace ZslTest {
namespace {

uint32_t tagOf(std::string const& name) {
    static std::map<std::string, uint32_t> const kTags{
        {"ev", kEv},           {"afMode", kAfMode}, {"afState", kAfState},   {"lens", kLensState},
        {"aeState", kAeState}, {"hint", kHint},     {"sensorId", kSensorId}, {"sensorMode", kSensorMode},
        {"softAe", kSoftAe},   {"sync", kFrameSync}};
    EXPECT_EQ(kTags.count(name), 1U) << name;
    return kTags.at(name);
}

void replace(std::string& text, std::string const& what, std::string const& by) {
    text = std::regex_replace(text, std::regex(what), by);
}

void replaceAll(std::string& text, std::string const& what, std::string const& by) {
    for (std::string before; before != text;) {
        before = text;
        replace(text, what, by);
    }
}

/// Frames with the same verdict, one after the other, share a line.
std::string joined(std::string text) {
    replaceAll(text, "((?:^|\n)F\\d[F\\d ]*) (ok|fits|unchecked)\n(F\\d[F\\d ]*) \\2\n", "$1 $3 $2\n");
    return text;
}

class Scenario : public SelectorTest, public testing::WithParamInterface<std::string> {
  protected:
    template <typename T>
    T next() {
        T value{};
        EXPECT_TRUE(words >> value) << words.str();
        return value;
    }

    template <typename T>
    T nextOr(T value) {
        T given{};
        return words >> given ? given : value;
    }

    Metadata& requestMeta() {
        scene.need().inAppMeta = &scene.requestMeta;
        return scene.requestMeta;
    }

    void setTagOf(std::function<Metadata&(bool isApp, std::string const& stream)> const& metadataOf) {
        uint32_t const tag = tagOf(next<std::string>());
        auto const value = next<std::string>();
        Metadata& metadata = metadataOf(tag < kSensorId, nextOr<std::string>(""));
        if (value == "-") {
            metadata.erase(tag);
        } else {
            metadata.set(tag, *Replay::toItems(Replay::findTag(std::to_string(tag))->type, {std::stol(value)}));
        }
    }

    void setFrameTag(FrameNo frameNo) {
        setTagOf([&](bool isApp, std::string const& stream) -> Metadata& {
            StreamId const id = !stream.empty() ? std::stol(stream) : isApp ? kApp : kHal;
            return isApp ? scene.app(frameNo, id) : scene.hal(frameNo, id);
        });
    }

    void setSensor(std::string const& sensorId) {
        scene.need().reqSensorIds = &sensorIds;
        sensorIds.clear();
        scene.in.sensorModes.clear();
        if (sensorId != "-") {
            sensorIds.insert(static_cast<uint32_t>(std::stoul(sensorId)));
            scene.in.sensorModes[*sensorIds.begin()] = next<uint32_t>();
        }
    }

    void need(bool isApp) {
        auto const id = next<std::string>();
        auto& streams = isApp ? scene.need().needStreams.appMetas : scene.need().needStreams.halMetas;
        streams = {isApp ? kApp : kHal};
        if (id != "-") {
            streams.insert(std::stol(id));
        }
    }

    void ask(Scene const& asked) {
        auto const which = nextOr<size_t>(0);
        while (selectors.size() <= which) {
            createCustomSelector(selectors.emplace_back());
            log.take();
        }
        std::string const before = std::exchange(transcript, "");
        select(asked, *selectors[which]);
        transcript = before + show(transcript);
        scene.carryOut(last);
    }

    std::string show(std::string text) {
        if (shown == "answers") {
            return text.substr(text.rfind("=> "));
        }
        if (shown == "select") {
            replace(text, "[DIWE] \\[(?!select|invokeADB).*\n", "");
        } else if (shown == "frames") {
            replace(text, "[DIWE] \\[(select|invokeADB|multi).*\n", "");
        }
        replace(text, "=> \\{\\}\n", "");
        replace(text, "\\{ AFStable AESoftStable ZeroShutterDelay ContinuousFrame \\}", "default");
        return shown == "usual" || shown == "frames" ? fold(text) : text;
    }

    void obey(std::string const& command) {
        auto& in = scene.in;
        auto const number = [&] { return next<uint32_t>(); };
        auto const word = [&] { return next<std::string>(); };
        auto const pair = [&](auto act) {
            auto const first = number();
            act(first, number());
        };
        std::map<std::string, std::function<void()>> const actions{
            {"history", [&] { pair([&](auto first, auto final) { scene.history(first, final); }); }},
            {"inflight", [&] { pair([&](auto first, auto final) { scene.inflight(first, final); }); }},
            {"land", [&] { scene.land(number()); }},
            {"drop", [&] { in.history.erase(number()); }},
            {"unlock", [&] { scene.frame(number()).locked = false; }},
            {"set", [&] { setFrameTag(number()); }},
            {"null", [&] { pair([&](auto frame, auto id) { scene.frame(frame).appMetas[id] = nullptr; }); }},
            {"meta", [&] { setTagOf([&](bool, auto&) -> Metadata& { return requestMeta(); }); }},
            {"nometa", [&] { scene.need().inAppMeta = nullptr; }},
            {"need", [&] { need(word() == "app"); }},
            {"sensor", [&] { setSensor(word()); }},
            {"shutter", [&] { scene.shutterAt(number()); }},
            {"frames", [&] { scene.frames(next<int32_t>()); }},
            {"ev", [&] { in.targetEv = next<int32_t>(); }},
            {"precollect", [&] { pair([&](auto frame, auto request) { preCollect(frame, request); }); }},
            {"key", [&] { in.requiredFrames[next<int32_t>()] = {}; }},
            {"request", [&] { askFor(number()); }},
            {"burst", [&] { askBurst(number()); }},
            {"show", [&] { shown = word(); }},
        };
        if (command == "hint" || command == "policy" || command == "timeout") {
            force(command.c_str(), forced[command] = word());
            return;
        }
        ASSERT_EQ(actions.count(command), 1U) << "unknown command " << command;
        actions.at(command)();
    }

    void preCollect(FrameNo frameNo, RequestNo requestNo) {
        if (requestNo == 0) {
            scene.in.preCollects.clear();
        } else {
            scene.in.preCollects[frameNo] = {requestNo, ISelector::PreCollectStatus::Inflight};
        }
    }

    void askFor(RequestNo requestNo) { ask(scene.request(requestNo, nextOr<int64_t>(0))); }

    void askBurst(RequestNo base) {
        auto const idx = next<int32_t>();
        auto const cnt = next<int32_t>();
        ask(scene.burst(base, idx, cnt, nextOr<int64_t>(0)));
    }

    /// Leaves out of a call's log what is as the rules above say.
    std::string fold(std::string text) {
        static std::map<std::string, std::string> const kStrategies{{"1", "ispHidlSelect"},
                                                                    {"2", "ispHidlSelect_Latest"},
                                                                    {"3", "ispHidlSelect_LatestWithQuality"},
                                                                    {"4", "ispHidlSelect_MFNR_HDR"}};
        auto const& in = scene.in;
        auto const strategy = kStrategies.find(forced["hint"]);
        bool const isBurst = strategy != kStrategies.end();
        std::string const name = isBurst ? strategy->second : "multiFrame";
        std::string logName = "\\[r" + std::to_string(in.requestNo) + "," + std::to_string(in.elapsedMs) +
                              "/1000ms\\]<" + (name == "ispHidlSelect" ? "ispHidl" : name) + ">";
        if (isBurst) {
            logName += "IspHidl\\(" + std::to_string(in.ispHidlFrameIdx) + "/" +
                       std::to_string(in.ispHidlFrameCnt) + "\\)";
        }
        replace(text, "I \\[invokeADB\\] .* adb set (hint|policy)[=(]" + std::string("\\d+.*\n"), "");
        replace(text, "I \\[select\\] " + logName + " INFO: .*\n", "");
        replace(text, "D \\[select\\] DEBUG: R" + std::to_string(in.requestNo) + " dump .*\n", "");
        replace(text, "([DIWE]) \\[multiFrameSelect\\] " + logName + " ", "$1 multi ");
        replace(text, "([DIWE]) \\[" + (name == "multiFrame" ? "select" : name) + "\\] " + logName + " ", "$1 ");
        replace(text, "([DIWE]) \\[ispHidlSelect_Latest\\] " + logName + " ", "$1 latest ");
        replace(text, "\\(operate at R" + std::to_string(in.requestNo) + "\\) ", "");
        return foldFrames(text);
    }

    /// The judgements of single frames, locks and repeated lines.
    static std::string foldFrames(std::string text) {
        std::string const sensor =
            "D \\[isRequiredSensorMode\\] isRequiredSensorMode OK: "
            "sensorModes=\\{history=\\{\\[0\\]1 \\} request=\\{\\}\n";
        replace(text,
                sensor +
                    "D \\[operator\\(\\)\\] streamId\\(0xa\\): get EV setting=0\n"
                    "D \\[isRequiredEV\\] isRequiredEV OK: EV=0\n",
                "fits, ");
        std::string const verdict = " \\[isQualify\\] hf\\[(F\\d+)\\] ";
        replace(text,
                "fits, D \\[isAFStable\\] AF ok: afMode=4 afState=2 lensState=0\n"
                "D \\[isMatched\\] \\[isAESoftStable\\] tag\\(0xc0030023\\) val=1 target=1 bc=1\nD" +
                    verdict + "OK\n",
                "$1 ok\n");
        replace(text, "fits, D" + verdict + "OK\n", "$1 fits\n");
        replace(text, "fits, I \\[isQualify\\] TIMEOUT: take hf\\[(F\\d+)\\] without checking quality\n",
                "$1 unchecked\n");
        replace(text,
                "fits, W \\[isAFStable\\] AF fail: (afMode=4 afState=\\d lensState=0)\n"
                "W \\[operator\\(\\)\\] \\(0xa\\): AF X\nW" +
                    verdict + "AF X\n",
                "$2 AF X: $1\n");
        replace(text,
                sensor +
                    "D \\[operator\\(\\)\\] streamId\\(0xa\\): get EV setting=(-?\\d+)\n"
                    "I \\[isRequiredEV\\] isRequiredEV fail: EV\\(History\\)=\\1, EV\\(Target\\)=(-?\\d+)\nW" +
                    verdict + "does not include tareget EV=\\2\n",
                "$3 EV X: $1, not $2\n");
        replace(text, "(D multi select #(\\d+)/(\\d+) hfs)\nD multi PENDING: sel\\(#\\2\\) < zf\\(#\\3\\)\n",
                "$1, PENDING\n");
        replace(text, "hf\\[(F(\\d\\d)) R10\\2 ts:\\2(?:0) ss\\(1,1,1\\) locked=0\\]", "$1");
        replace(text, "zsl/sample/(SampleSelector|include/SampleUtils)\\}", "$1}");
        replace(text, "D .* curPreCollects\\(#0\\)=\\{\\}\n", "");
        text = "\n" + text;
        replaceAll(text, "(\nD (UN|)LOCK: .*)\nD \\2LOCK: ((?:R\\d+ \\[)?hF\\d+)(\\]| for .*|)(?=\n)", "$1, $3$4");
        replace(text, "(\n[DIWE] .*)\\1\\1(?=\n)", "$1 (x3)");
        replace(text, "(\n[DIWE] .*)\\1(?=\n)", "$1 (x2)");
        text.erase(0, 1);
        return joined(text);
    }

    /// Obeys the commands of the file; tells what came of them in the transcript.
    void play() {
        std::ifstream file(path);
        for (std::string line; std::getline(file, line); told += line + "\n") {
            if (line.compare(0, 1, "#") == 0 || line.compare(0, 2, "> ") == 0) {
                transcript += line + "\n";
            }
            std::istringstream row(line.compare(0, 2, "> ") == 0 ? line.substr(2) : "");
            for (std::string command; std::getline(row, command, ';');) {
                words = std::istringstream(command);
                obey(next<std::string>());
            }
        }
        EXPECT_FALSE(told.empty()) << path;
        // Lines without a fixed location code carry the source line, which any edit moves.
        replace(transcript,
                "((?:ispHidlSelect_Latest|ispHidlSelect_MFNR_HDR|tryGetPreCollectHint)\\)\\{#)\\d+:", "$1*:");
    }

    std::string path = std::string(SCENARIOS) + "/" + GetParam() + ".txt";
    std::string told;  // what the file says
    std::string shown = "usual";
    std::map<std::string, std::string> forced;
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
    replace(told, "D (?!\\[is[A-Z]|\\[operator).*\n", "");
    EXPECT_EQ(transcript, joined(told)) << path;
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
