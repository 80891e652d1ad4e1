#include "Scene.h"

#include <algorithm>
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

}  // namespace

size_t LogCapture::count(std::string const& text) const {
    return static_cast<size_t>(std::count_if(
        lines.begin(), lines.end(), [&](std::string const& line) { return line.find(text) != std::string::npos; }));
}

SelectorTest::SelectorTest() {
    Properties::set("vendor.debug.camera.zsl.runtime.adb", "1");
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

void SelectorTest::force(char const* what, std::string const& value) {
    Properties::set(std::string("vendor.debug.camera.zsl.force.") + what, value);
}

}  // namespace ZslTest
