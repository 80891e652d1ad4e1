#include "Scene.h"

#include <algorithm>

namespace ZslTest {

namespace Properties = NSCam::Utils::Properties;

size_t LogCapture::count(std::string const& text) const {
    return static_cast<size_t>(std::count_if(
        lines.begin(), lines.end(), [&](std::string const& line) { return line.find(text) != std::string::npos; }));
}

SelectorTest::SelectorTest() {
    Properties::clear();
    Properties::set("vendor.debug.camera.zsl.runtime.adb", "1");
    Properties::set("log.tag.SampleSelector", "V");
    force("hint", "-1");
    force("policy", "-1");
    force("timeout", "-1");
    createCustomSelector(selector);
    log.take();
}

std::string SelectorTest::select(Scene const& scene, ISelector& which) {
    last = which.select(scene.in);
    transcript += log.take() + "=> " + show(last) + "\n";
    return show(last);
}

void SelectorTest::force(char const* what, std::string const& value) {
    Properties::set(std::string("vendor.debug.camera.zsl.force.") + what, value);
}

}  // namespace ZslTest
