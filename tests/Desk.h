// Sessions played on the plug-in that is linked in.
#pragma once

#include <gtest/gtest.h>
#include <vzrcam/PropertyStore.h>

#include <fstream>
#include <sstream>

#include "replay/input/SessionReader.h"
#include "replay/report/Report.h"

namespace ZslTest {

inline std::string textOf(std::string const& path) {
    std::ostringstream text;
    text << std::ifstream(path).rdbuf();
    EXPECT_FALSE(text.str().empty()) << path;
    return text.str();
}

/// Plays a session file under its own properties. `session` has to outlive the result.
inline Replay::PlayedSession playFile(std::string const& path, Replay::Session& session,
                                      Replay::HostOptions options = {}, bool explain = false) {
    namespace Properties = NSCam::Utils::Properties;
    session = Replay::readSession(textOf(path), path).sessions.at(0);
    Properties::clear();
    Properties::set("vendor.debug.camera.zsl.runtime.adb", "1");  // read once in a process; harmless where not set
    for (auto const& [name, value] : session.properties) {
        Properties::set(name, value);
    }
    options.makeSelector = [] {
        std::shared_ptr<Replay::ISelector> selector;
        createCustomSelector(selector);
        return selector;
    };
    return Replay::playInProcess(session, options, explain);
}

/// Compares with a file under tests/data, or writes it if the environment asks for that.
inline void expectFile(std::string const& name, std::string const& text) {
    if (std::getenv("ZSL_UPDATE") != nullptr) {
        std::ofstream(DATA "/" + name) << text;
    }
    EXPECT_EQ(text, textOf(DATA "/" + name));
}

}  // namespace ZslTest
