#include "Scene.h"

#include <algorithm>
#include <cstdlib>
#include <fstream>
#include <regex>
#include <sstream>

#include "zsl/policy/Rendering.h"

namespace ZslTest {

namespace Properties = NSCam::Utils::Properties;

namespace {

/// Everything a selector might change in its input.
std::string fingerprint(ISelector::SelectInputParams const& in) {
    std::ostringstream text;
    text << in.requestNo << ' ' << in.elapsedMs << ' ' << in.zsdTs << ' ' << in.targetEv << ' '
         << in.ispHidlFrameIdx << ' ' << in.ispHidlFrameCnt << ' ' << NSCam::ZslPolicy::toString(in.preCollects)
         << NSCam::ZslPolicy::toString(in.sensorModes);
    for (auto const& [key, info] : in.requiredFrames) {
        text << key << ':' << NSCam::ZslPolicy::toString(info.needStreams, false);
    }
    for (auto const& [key, frame] : in.history) {
        text << key << NSCam::ZslPolicy::toString(frame);
    }
    for (auto const& [key, frame] : in.inflight) {
        text << key << '=' << frame.frameNo << ' ';
    }
    return text.str();
}

std::string frameText(FrameNo frameNo) { return frameNo == kNoFrame ? "none" : std::to_string(frameNo); }

}  // namespace

size_t LogCapture::count(std::string const& text) const {
    return static_cast<size_t>(std::count_if(
        lines.begin(), lines.end(), [&](std::string const& line) { return line.find(text) != std::string::npos; }));
}

std::string show(ISelector::SelectOutputParams const& out) {
    EXPECT_TRUE(out.frameNoSet.empty());
    std::string text = "{";
    for (auto const& [key, result] : out.selectedFrames) {
        EXPECT_EQ(result.reserved, 0U);
        text += (text.size() > 1 ? " " : "") + std::to_string(key) + ":" + frameText(result.frameNo);
    }
    text += "}";
    for (auto const& [frameNo, operation] : out.frameOps) {
        text += (operation == ISelector::OpT::Lock ? " L" : " U") + std::to_string(frameNo);
    }
    return text;
}

SelectorTest::SelectorTest() {
    force("hint", "-1");
    force("policy", "-1");
    force("timeout", "-1");
    createCustomSelector(selector);
    log.take();
}

std::string SelectorTest::select(Scene const& scene, ISelector& which) {
    std::string const before = fingerprint(scene.in);
    last = which.select(scene.in);
    EXPECT_EQ(fingerprint(scene.in), before);
    transcript += log.take() + "=> " + show(last) + "\n";
    return show(last);
}

std::string SelectorTest::serve(Scene& scene) {
    std::string answer = select(scene);
    scene.carryOut(last);
    return answer;
}

void SelectorTest::force(char const* what, std::string const& value) {
    Properties::set(std::string("vendor.debug.camera.zsl.force.") + what, value);
}

void SelectorTest::expectTranscript() {
    auto const* const info = testing::UnitTest::GetInstance()->current_test_info();
    std::string const path = std::string(TRANSCRIPTS) + "/" + info->test_suite_name() + "." + info->name() + ".txt";
    // Lines without a fixed location code carry the source line, which any edit moves.
    static std::regex const kFloatingLine(
        R"((\{#)\d+(:zsl/sample/SampleSelector\}|:zsl/sample/include/SampleUtils\}))");
    static std::regex const kFloating(
        R"(ispHidlSelect_Latest\)\{|ispHidlSelect_MFNR_HDR\)\{|tryGetPreCollectHint\)\{|tryGetEVSetting\)\{)");
    std::istringstream raw(transcript);
    std::string actual;
    for (std::string line; std::getline(raw, line);) {
        actual +=
            (std::regex_search(line, kFloating) ? std::regex_replace(line, kFloatingLine, "$1*$2") : line) + "\n";
    }
    if (std::getenv("ZSL_UPDATE_TRANSCRIPTS") != nullptr) {
        std::ofstream(path) << actual;
    }
    std::ifstream file(path);
    std::ostringstream expected;
    expected << file.rdbuf();
    EXPECT_EQ(actual, expected.str()) << path;
}

}  // namespace ZslTest
