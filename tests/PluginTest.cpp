// The built library as its host meets it: what the file exports and needs, and a life without debug properties.
#include <gtest/gtest.h>
#include <vzrcam/PropertyStore.h>

#include <array>
#include <cstdio>
#include <regex>
#include <set>

#include "CountingNew.h"
#include "Scene.h"
#include "replay/selector/Plugin.h"

namespace {

std::string outputOf(std::string const& command) {
    std::unique_ptr<FILE, int (*)(FILE*)> const pipe(popen(command.c_str(), "r"), pclose);
    std::string text;
    std::array<char, 256> part{};
    while (fgets(part.data(), part.size(), pipe.get()) != nullptr) {
        text += part.data();
    }
    return text;
}

std::set<std::string> matches(std::string const& text, char const* pattern) {
    std::set<std::string> found;
    std::regex const expression(pattern);
    for (std::sregex_iterator match(text.begin(), text.end(), expression), end; match != end; ++match) {
        found.insert((*match)[1]);
    }
    return found;
}

}  // namespace

namespace ZslTest {
namespace {

TEST(PluginFile, ExportsTheFactoryAlone) {
    std::string const symbols = outputOf(std::string(NM) + " -D --defined-only " PLUGIN);
    EXPECT_TRUE(std::regex_match(symbols, std::regex("[0-9a-f]+ T createCustomSelector\n"))) << symbols;
}

TEST(PluginFile, SonameAndNeededLibraries) {
    std::string const dynamic = outputOf(std::string(READELF) + " -d " PLUGIN);
    EXPECT_EQ(matches(dynamic, R"(\(SONAME\).*\[(.*)\])"),
              std::set<std::string>{"libvzrcam_zsl_sampleselector.so"});
    std::set<std::string> const allowed{"libvzrcam_platform.so", "liblog.so.0",    "libstdc++.so.6",
                                        "libc++.so.1",           "libc++abi.so.1", "libunwind.so.1",
                                        "libgcc_s.so.1",         "libm.so.6",      "libc.so.6",
                                        "ld-linux-aarch64.so.1", "libasan.so.8",   "libubsan.so.1"};
    auto const needed = matches(dynamic, R"(\(NEEDED\).*\[(.*)\])");
    EXPECT_EQ(needed.count("libvzrcam_platform.so"), 1U);
    for (std::string const& library : needed) {
        EXPECT_EQ(allowed.count(library), 1U) << library;
    }
    // Undefined are the platform interfaces and what C++ needs; no run-time type information is among them.
    std::string const undefined = outputOf(std::string(NM) + " -DC -u " PLUGIN);
    EXPECT_EQ(matches(undefined, "(typeinfo for NSCam.*)"), std::set<std::string>{});
    EXPECT_EQ(matches(undefined, " (vzrcam_testLog|__android_log_[a-z]+)"),
              (std::set<std::string>{"vzrcam_testLog", "__android_log_print", "__android_log_assert"}));
}

class LoadedPlugin : public testing::Test {
  protected:
    Replay::Plugin plugin{PLUGIN};
    std::shared_ptr<ISelector> selector = plugin.makeSelector();
};

TEST_F(LoadedPlugin, ForcePropertiesCountOnlyBehindTheSwitch) {
    NSCam::Utils::Properties::set("vendor.debug.camera.zsl.force.policy", "0");
    NSCam::Utils::Properties::set("vendor.debug.camera.zsl.force.hint", "2");
    Scene scene;
    scene.history(10, 12).shutterAt(11).request(1);
    EXPECT_EQ(selector->select(scene.in).selectedFrames.at(0).frameNo, 11U);
    NSCam::Utils::Properties::set("vendor.debug.camera.zsl.runtime.adb", "1");  // too late
    EXPECT_EQ(selector->select(scene.in).selectedFrames.at(0).frameNo, 11U);
    EXPECT_STREQ(selector->getName(), "SampleSelector");
}

TEST_F(LoadedPlugin, APendingBurstDoesNotCopyTheHistory) {
    NSCam::Utils::Properties::set("vendor.debug.camera.zsl.runtime.adb", "1");
    NSCam::Utils::Properties::set("log.tag.SampleSelector", "S");
    for (char const* hint : {"1", "2", "3"}) {
        NSCam::Utils::Properties::set("vendor.debug.camera.zsl.force.hint", hint);
        std::set<size_t> counts;
        for (FrameNo const depth : {8U, 64U, 512U}) {
            Scene scene;
            scene.history(1, depth).inflight(depth + 1, depth + 2).shutterAt(depth + 9).burst(100 * depth, 0, 2);
            selector->select(scene.in);  // chooses, where the strategy does so at once
            size_t const before = heapAllocations();
            EXPECT_TRUE(selector->select(scene.in).selectedFrames.empty());
            counts.insert(heapAllocations() - before);
        }
        EXPECT_EQ(counts.size(), 1U) << "hint " << hint;
        RecordProperty(std::string("allocations_hint_") + hint, static_cast<int>(*counts.begin()));
    }
}

/// The calls of a host: a burst that waits for a frame in flight, one whose second frame fails, one that times out.
/// With hint 4 the second one is of HDR frames.
std::deque<Scene> callsOf(char const* hint) {
    struct {
        RequestNo base;
        int32_t idx;
        int64_t elapsedMs;
        bool hasLanded;
        bool isFailing;
    } const steps[] = {{100, 0, 0, false, false},  {100, 1, 5, false, false}, {100, 1, 9, true, false},
                       {200, 0, 0, true, false},   {200, 1, 5, true, true},   {300, 0, 0, true, false},
                       {300, 1, 1000, true, false}};
    std::deque<Scene> calls;
    for (auto const& step : steps) {
        bool const isHdr = *hint == '4' && step.base == 200;
        if (*hint == '4' && step.base == 300) {
            break;  // the phase is as it was
        }
        Scene& scene = calls.emplace_back();
        scene.history(50, 55).inflight(56, 56).shutterAt(step.hasLanded ? 56 : 55);
        if (step.hasLanded) {
            scene.land(56);
        }
        scene.app(54).set(kHint, int32_t{isHdr});
        scene.app(56 - !step.hasLanded).set(kEv, int32_t{step.isFailing});
        scene.requestMeta.set(kHint, int32_t{isHdr});
        scene.frame(55).locked = step.idx == 1;
        scene.burst(step.base, step.idx, 2, step.elapsedMs);
    }
    return calls;
}

class ShortOfMemory : public LoadedPlugin {
  protected:
    /// The answers of a new selector. In call `failing` the allocation after `count` others fails, if there are so
    /// many (hasFailed); then the call is made again.
    std::vector<std::string> answersWith(std::deque<Scene> const& calls, size_t failing, size_t count) {
        selector = plugin.makeSelector();
        std::vector<std::string> answers;
        hasFailed = false;
        for (Scene const& scene : calls) {
            ISelector::SelectOutputParams out;
            try {
                failAllocationAfter(answers.size() == failing ? count : SIZE_MAX / 2);
                out = selector->select(scene.in);
                failAllocationAfter(SIZE_MAX / 2);
            } catch (std::bad_alloc const&) {
                hasFailed = true;
                out = selector->select(scene.in);
            }
            answers.push_back(show(out));
        }
        return answers;
    }

    bool hasFailed = false;
};

/// A call that memory ends early is as if it had not been: it takes nothing with it, and the next one serves.
TEST_F(ShortOfMemory, AFailedCallChangesNothing) {
    NSCam::Utils::Properties::set("vendor.debug.camera.zsl.runtime.adb", "1");
    NSCam::Utils::Log::setSink([](int, char const*, std::string const&) {});
    size_t total = 0;
    for (std::string const hint : {"0", "1", "2", "3", "4"}) {
        NSCam::Utils::Properties::set("vendor.debug.camera.zsl.force.hint", hint);
        auto const calls = callsOf(hint.c_str());
        for (char const* gate : {"V", "S"}) {
            NSCam::Utils::Properties::set("log.tag.SampleSelector", gate);
            auto const answers = answersWith(calls, calls.size(), 0);
            for (size_t failing = 0; failing < calls.size(); ++failing) {
                size_t failures = 0;
                while (answersWith(calls, failing, failures) == answers && hasFailed) {
                    ++failures;
                }
                EXPECT_FALSE(hasFailed)
                    << "hint " << hint << ", gate " << gate << ", call " << failing
                    << ": not the answers of a life without allocation " << failures << " of that call failing";
                total += failures;
            }
        }
    }
    NSCam::Utils::Log::setSink({});
    EXPECT_GT(total, 500U);
}

TEST(PluginLoading, WhatIsWrongIsNamed) {
    EXPECT_THROW(Replay::Plugin("/nonexistent/library.so"), Replay::PluginError);
    try {
        Replay::Plugin const plugin("libc.so.6");
        ADD_FAILURE();
    } catch (Replay::PluginError const& error) {
        EXPECT_STREQ(error.what(), "the plug-in libc.so.6 has no createCustomSelector");
    }
}

}  // namespace
}  // namespace ZslTest
