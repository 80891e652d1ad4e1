// Recordings in a folder of their own, for tests of the recorder.
#pragma once

#include <gtest/gtest.h>
#include <vzrcam/LogSink.h>
#include <vzrcam/PropertyStore.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>

#include "Scene.h"
#include "replay/input/RecordedCalls.h"
#include "replay/selector/Plugin.h"

namespace ZslTest {

using namespace Replay;
namespace Properties = NSCam::Utils::Properties;

class Recording : public testing::Test {
  protected:
    Recording() : mFolder(std::filesystem::temp_directory_path() / ("zsl-test-" + std::to_string(getpid()))) {
        std::filesystem::create_directory(mFolder);
        setenv("ZSL_RECORD_DIR", mFolder.c_str(), 1);
        Properties::set("vendor.debug.camera.zsl.record", "1");
        NSCam::Utils::Log::setSink([](int, char const*, std::string const&) {});
    }

    void TearDown() override {
        mRecorder.reset();
        std::filesystem::remove_all(mFolder);
    }

    /// The recordings, one for each selector, by its number. The recorder is unloaded: then all is written.
    std::vector<std::vector<std::string>> series() {
        mRecorder.reset();
        std::map<std::pair<size_t, std::string>, std::string> files;  // the longer number is the larger one
        for (auto const& file : std::filesystem::directory_iterator(mFolder)) {
            std::string const name = file.path().filename();
            std::string const number = name.substr(name.rfind('-'));
            files[{number.size(), number + name}] = file.path();
        }
        std::vector<std::string> paths;
        paths.reserve(files.size());
        for (auto const& file : files) {
            paths.push_back(file.second);
        }
        return seriesOf(paths);
    }

    /// What was told and how many calls the last number stands for.
    struct Told {
        std::vector<RecordedEvent> events;
        std::vector<RecordedCall const*> calls;
        size_t gaps = 0;
        uint64_t lastCall = 0;
        uint64_t parts = 0;
    };
    static Told read(std::vector<std::string> const& files) {
        Told told;
        std::optional<RecordingPart> before;
        for (std::string const& path : files) {
            std::ifstream in(path);
            RecordingReader reader(in, path, before);
            while (auto event = reader.next()) {
                told.events.push_back(std::move(*event));
            }
            before = reader.part();
            told.lastCall = before->lastCall;
            told.parts = before->number;
        }
        for (RecordedEvent const& event : told.events) {
            if (auto const* const call = std::get_if<RecordedCall>(&event)) {
                told.calls.push_back(call);
            }
            told.gaps += std::holds_alternative<RecordedGap>(event) ? 1 : 0;
        }
        return told;
    }

    std::filesystem::path mFolder;
    std::optional<Plugin> mRecorder{RECORDER};
};

}  // namespace ZslTest
