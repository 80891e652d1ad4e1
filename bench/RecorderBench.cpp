// What the recorder costs: a call of hint 0 on the bare selector, through the recorder, and recorded; a frame lands
// and the oldest leaves between two calls. And what a host's calls wait for a disk whose every write takes 200 ms.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vzrcam/LogSink.h>
#include <vzrcam/Metadata.h>
#include <vzrcam/PropertyStore.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>
#include <vector>

#include "zsl/policy/ISelector.h"

namespace {

using NSCam::Metadata;
using NSCam::ZslPolicy::FrameNo;
using NSCam::ZslPolicy::ISelector;
using Clock = std::chrono::steady_clock;

std::atomic<bool> isDiskSlow{false};

}  // namespace

/// Comes before the C library's for the recorder, too. The bench writes nothing itself while the disk is slow.
extern "C" ssize_t writeHere(int descriptor, void const* data, size_t size) __asm__("write");
extern "C" ssize_t writeHere(int descriptor, void const* data, size_t size) {
    if (isDiskSlow) {
        std::this_thread::sleep_for(std::chrono::milliseconds(200));
    }
    return syscall(SYS_write, descriptor, data, size);
}

namespace {

std::shared_ptr<ISelector> makeSelector(char const* path, bool isRecorded) {
    NSCam::Utils::Properties::set("vendor.debug.camera.zsl.record", isRecorded ? "1" : "0");
    void* const library = dlopen(path, RTLD_NOW);
    std::shared_ptr<ISelector> selector;
    if (library != nullptr) {
        reinterpret_cast<decltype(&createCustomSelector)>(dlsym(library, "createCustomSelector"))(selector);
    }
    return selector;
}

/// A host with a full history, a pending request, and a new frame for every call. As in a camera, each frame has
/// metadata of its own.
class Host {
  public:
    Host() {
        mIn.requiredFrames[0].needStreams = {{1}, {200}, {100}};
        while (mNext < kDepth) {
            land();
        }
    }

    ISelector::SelectInputParams const& next() {
        mIn.history.erase(mIn.history.begin());
        land();
        mIn.requestNo = mNext;
        mIn.zsdTs = (mNext - 3) * INT64_C(33000000);
        return mIn;
    }

  private:
    struct Results {
        Results() {
            app.set(0x10007, uint8_t{4});
            app.set(0x10020, uint8_t{2});
            app.set(0x80009, uint8_t{0});
            app.set(0x10001, int32_t{0});
            hal.set(0xC0000005, int32_t{0});
            hal.set(0xC0010014, int32_t{1});
            hal.set(0xC0030023, int32_t{1});
        }
        Metadata app;
        Metadata hal;
    };

    void land() {
        ++mNext;
        Results const& results = mResults[mNext % kDepth];
        mIn.history[mNext] = {mNext,
                              mNext,
                              mNext * INT64_C(33000000),
                              {{100, &results.app}},
                              {{200, &results.hal}},
                              {{1}, {200}, {100}},
                              false};
        mIn.inflight.clear();
        mIn.inflight[mNext + 1] = {mNext + 1, {{1}, {200}, {100}}};
    }

    static constexpr FrameNo kDepth = 30;
    std::vector<Results> mResults{kDepth};
    ISelector::SelectInputParams mIn;
    FrameNo mNext = 0;
};

void call(benchmark::State& state, char const* path, bool isRecorded) {
    auto const selector = makeSelector(path, isRecorded);
    if (selector == nullptr) {
        state.SkipWithError("no selector");
        return;
    }
    Host host;
    int calls = 0;
    for (auto step : state) {
        benchmark::DoNotOptimize(selector->select(host.next()).selectedFrames.size());
        if (++calls % 1000 == 0) {  // no camera is that quick: the writer keeps up
            state.PauseTiming();
            std::this_thread::sleep_for(std::chrono::milliseconds(60));
            state.ResumeTiming();
        }
    }
}

/// How long so many hosts' calls take, each with a thread and a selector of its own and a call a millisecond.
void callOnSlowDisk(benchmark::State& state, char const* path, bool isRecorded) {
    constexpr size_t kCalls = 2000;
    for (auto step : state) {
        std::vector<std::vector<Clock::duration>> took(static_cast<size_t>(state.range(0)));
        std::vector<std::thread> threads;
        threads.reserve(took.size());
        isDiskSlow = true;
        for (auto& mine : took) {
            threads.emplace_back([&mine, selector = makeSelector(path, isRecorded)] {
                Host host;
                for (size_t calls = 0; calls < kCalls && selector != nullptr; ++calls) {
                    auto const& in = host.next();
                    auto const begin = Clock::now();
                    selector->select(in);
                    mine.push_back(Clock::now() - begin);
                    std::this_thread::sleep_for(std::chrono::milliseconds(1));
                }
            });
        }
        std::vector<Clock::duration> all;
        for (size_t thread = 0; thread < threads.size(); ++thread) {
            threads[thread].join();
            all.insert(all.end(), took[thread].begin(), took[thread].end());
        }
        isDiskSlow = false;
        std::sort(all.begin(), all.end());
        for (auto const& [name, place] :
             {std::pair("us_50%", 0.5), std::pair("us_99.9%", 0.999), std::pair("us_worst", 1.0)}) {
            auto const index =
                std::min(all.size() - 1, static_cast<size_t>(place * static_cast<double>(all.size())));
            state.counters[name] = std::chrono::duration<double, std::micro>(all.at(index)).count();
        }
    }
}

}  // namespace

// zsl-recorder-bench [BENCHMARK_OPTION...]: the recording goes to ZSL_RECORD_DIR.
int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    NSCam::Utils::Log::setSink([](int, char const*, std::string const&) {});
    NSCam::Utils::Properties::set("log.tag.SampleSelector", "S");
    struct {
        char const* name;
        char const* library;
        bool isRecorded;
    } const ways[] = {{"bare", SELECTOR, false}, {"off", RECORDER, false}, {"on", RECORDER, true}};
    for (auto const& way : ways) {
        benchmark::RegisterBenchmark(way.name,
                                     [=](benchmark::State& state) { call(state, way.library, way.isRecorded); });
    }
    for (auto const& way : ways) {
        std::string const name = std::string("slowDisk/") + way.name;
        benchmark::RegisterBenchmark(
            name.c_str(), [=](benchmark::State& state) { callOnSlowDisk(state, way.library, way.isRecorded); })
            ->Arg(1)
            ->Arg(8)
            ->Iterations(1);
    }
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
