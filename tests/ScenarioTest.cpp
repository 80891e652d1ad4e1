// Scenarios told in files. A line that begins with "> " is a row of commands; below it stands what they brought
// about:
//
//   hint | policy | timeout N     forces it; -1 clears the force
//   history A B, inflight A B     frames A to B are in the history, or in flight
//   land N, drop N, unlock N      the frame's result arrives; it leaves the history; the host unlocks it
//   set N TAG VALUE [STREAM]      metadata of history frame N; VALUE - removes the tag
//   null N STREAM                 a null application metadata pointer
//   meta TAG VALUE, nometa        the request's application metadata; it is null
//   need app|hal ID, noneed       the request needs that stream, too; the usual ones alone
//   sensor ID MODE                the request needs that sensor in that mode; ID - : none
//   shutter N, frames N, ev N     shutter at frame N, number of frames, exposure compensation
//   precollect N R, noprecollect  frame N is collected ahead for request R; none is
//   key K                         requires a frame under index K as well
//   request R [ELAPSED]           asks for request R, which has waited ELAPSED ms
//   burst BASE IDX CNT [ELAPSED] [SELECTOR]   asks for a request of a burst, and carries the operations out
//   show all|usual|select|frames|answers      of the log: all, what no rule covers, select()'s, single frames',
//   nothing
//
// "usual" leaves out what select() itself logs, and in lines of the calling request its strategy and log name, and
// shortens the rest (kWords: no word is empty, so that nothing can go unnoticed). Frames of which the same is told
// share a line. Empty answers are left out.
#include <algorithm>
#include <filesystem>
#include <fstream>
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

std::pair<std::string, std::string> const kWords[] = {
    {"D [isRequiredSensorMode] isRequiredSensorMode OK: sensorModes={history={[0]1 } request={}\n", "mode, "},
    {"D [operator()] streamId(0xa): get EV setting=0\nD [isRequiredEV] isRequiredEV OK: EV=0\n", "EV, "},
    {"mode, EV, ", "fits, "},
    {"D [isAFStable] AF ok: afMode=4 afState=2 lensState=0\n", "AF, "},
    {"D [isMatched] [isAESoftStable] tag(0xc0030023) val=1 target=1 bc=1\n", "AE, "},
    {"fits, AF, AE, D [isQualify] hf", "good "},
    {"fits, I [isQualify] TIMEOUT: take hf", "late "},
    {" without checking quality", "!"},
    {"fits, D [isQualify] hf", "fits "},
    {"] OK\n", "]\n"},
    {"fits, W [isAFStable] AF fail: ", "hunts, "},
    {"\nW [operator()] (0xa): AF X", " !"},
    {"\nW [isQualify] hf", " => "},
    {"D [isRequiredSensorMode] isRequiredSensorMode OK: sensorModes=", "modes "},
    {"I [isRequiredEV] isRequiredEV fail: EV(History)=", "has EV "},
    {" does not include tareget EV=", " EV "},
    {"mode, D [operator()] streamId(0xa): get EV setting=", "EV "},
    {"[isMatched] ", "[isM] "},
    {"[ispHidlSelect_MFNR_HDR] DEBUG: ", "hdr: "},
    {"DEBUG: ", ": "},
    {"={.targetFrameNo=", "={"},
    {" .evSetting=", " EV "},
    {" .status=", " "},
    {"4294967295", "none"},
    {"IspHidlReqObj", "burst"},
    {" ss(1,1,1) locked=0]", "-]"},
    {" for further quality check", "?"},
    {"zsl/sample/", "./"}};

void replace(std::string& text, std::string const& what, std::string const& by) {
    for (size_t at = text.find(what); at != std::string::npos; at = text.find(what, at + by.size())) {
        text.replace(at, what.size(), by);
    }
}

bool begins(std::string const& line, std::string const& with) { return line.compare(0, with.size(), with) == 0; }

/// The lines that are to be kept; of lines that differ from the frame on, the second continues the first.
template <typename Keep>
std::string linesOf(std::string const& text, Keep const& keep) {
    std::string kept;
    std::string before;
    std::istringstream lines(text);
    for (std::string line; std::getline(lines, line);) {
        if (keep(line)) {
            size_t const frame = std::min(line.find(" [F"), line.size());
            bool const isNext = frame < line.size() && line.compare(0, frame + 3, before, 0, frame + 3) == 0;
            kept += isNext ? "," + line.substr(frame) : (kept.empty() ? "" : "\n") + line;
            before = line;
        }
    }
    return kept + (kept.empty() ? "" : "\n");
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

    void ask() {
        auto const which = nextOr<size_t>(0);
        while (selectors.size() <= which) {
            createCustomSelector(selectors.emplace_back());
            log.take();
        }
        std::string const before = std::exchange(transcript, "");
        select(scene, *selectors[which]);
        transcript = before + show(transcript);
        scene.carryOut(last);
    }

    std::string show(std::string text) {
        if (shown == "answers") {
            return text.substr(text.rfind("=> "));
        }
        replace(text, "=> {}\n", "");
        replace(text, "{ AFStable AESoftStable ZeroShutterDelay ContinuousFrame }", "default");
        if (shown == "usual" || shown == "frames") {
            std::string const name = logName();
            for (char const* const function : {"ispHidlSelect", "ispHidlSelect_Latest",
                                               "ispHidlSelect_LatestWithQuality", "ispHidlSelect_MFNR_HDR"}) {
                replace(text, "[" + (function + ("] " + name)), "");
            }
            replace(text, "[multiFrameSelect] " + name, "multi ");
            replace(text, "[select] " + name + "INFO", "[select] INFO");
            replace(text, "(operate at R" + std::to_string(scene.in.requestNo) + ") ", "");
            for (auto const& [what, by] : kWords) {
                replace(text, what, by);
            }
        }
        return linesOf(text, [&](std::string const& line) { return isShown(line); });
    }

    /// As it should be.
    std::string logName() {
        auto const& in = scene.in;
        int const hint = std::atoi(forced["hint"].c_str());
        char const* const strategies[] = {"multiFrame", "ispHidl", "ispHidlSelect_Latest",
                                          "ispHidlSelect_LatestWithQuality", "ispHidlSelect_MFNR_HDR"};
        std::ostringstream name;
        name << "[r" << in.requestNo << ',' << in.elapsedMs << "/1000ms]<" << strategies[std::max(hint, 0)] << '>';
        if (hint > 0) {
            name << "IspHidl(" << in.ispHidlFrameIdx << '/' << in.ispHidlFrameCnt << ')';
        }
        return name.str() + ' ';
    }

    bool isShown(std::string const& line) const {
        auto const is = [&](std::string const& part) { return line.compare(2, part.size(), part) == 0; };
        if (shown == "all" || begins(line, "=> ")) {
            return true;
        }
        if (shown == "select") {
            return is("[select") || is("[invokeADB");
        }
        return !(is("[select] INFO") || is("[select] : R") || is("[invokeADB") ||
                 is("hdr: curPreCollects(#0)={}") || (shown == "frames" && is("multi")));
    }

    void askForRequest() {
        auto const requestNo = next<RequestNo>();
        scene.request(requestNo, nextOr<int64_t>(0));
        ask();
    }

    void askForBurst() {
        auto const base = next<RequestNo>();
        auto const idx = next<int32_t>();
        auto const cnt = next<int32_t>();
        scene.burst(base, idx, cnt, nextOr<int64_t>(0));
        ask();
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
            {"meta",
             [&] {
                 scene.need().inAppMeta = &scene.requestMeta;
                 setTagOf([&](bool, auto&) -> Metadata& { return scene.requestMeta; });
             }},
            {"nometa", [&] { scene.need().inAppMeta = nullptr; }},
            {"need",
             [&] {
                 auto& needed = scene.need().needStreams;
                 (word() == "app" ? needed.appMetas : needed.halMetas).insert(next<StreamId>());
             }},
            {"noneed",
             [&] {
                 scene.need().needStreams = {{kImage}, {kHal}, {kApp}};
             }},
            {"sensor", [&] { setSensor(word()); }},
            {"shutter", [&] { scene.shutterAt(number()); }},
            {"frames", [&] { scene.frames(next<int32_t>()); }},
            {"ev", [&] { in.targetEv = next<int32_t>(); }},
            {"precollect",
             [&] {
                 pair([&](auto frame, auto request) {
                     in.preCollects[frame] = {request, ISelector::PreCollectStatus::Inflight};
                 });
             }},
            {"noprecollect", [&] { in.preCollects.clear(); }},
            {"key", [&] { in.requiredFrames[next<int32_t>()] = {}; }},
            {"request", [&] { askForRequest(); }},
            {"burst", [&] { askForBurst(); }},
            {"show", [&] { shown = word(); }},
        };
        if (command == "hint" || command == "policy" || command == "timeout") {
            force(command.c_str(), forced[command] = word());
            return;
        }
        ASSERT_EQ(actions.count(command), 1U) << "unknown command " << command;
        actions.at(command)();
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
        for (std::string const function :
             {"ispHidlSelect_Latest", "ispHidlSelect_MFNR_HDR", "tryGetPreCollectHint"}) {
            std::string const before = function + "){#";
            for (size_t at = transcript.find(before); at != std::string::npos; at = transcript.find(before, at)) {
                at += before.size();
                transcript.replace(at, transcript.find(':', at) - at, "*");
            }
        }
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
    EXPECT_EQ(transcript, linesOf(told,
                                  [](std::string const& line) {
                                      return !begins(line, "D ") || begins(line, "D [is") ||
                                             begins(line, "D [operator");
                                  }))
        << path;
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
                         [](auto const& test) { return test.param; });

}  // namespace
}  // namespace ZslTest
