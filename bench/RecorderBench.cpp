// What the recorder costs: a call of hint 0 on the bare selector, through the recorder, and recorded; a frame lands
// and the oldest leaves between two calls.
#include <benchmark/benchmark.h>
#include <dlfcn.h>
#include <vzrcam/LogSink.h>
#include <vzrcam/Metadata.h>
#include <vzrcam/PropertyStore.h>

#include <cstdlib>

#include "zsl/policy/ISelector.h"

namespace {

using NSCam::Metadata;
using NSCam::ZslPolicy::FrameNo;
using NSCam::ZslPolicy::ISelector;

std::shared_ptr<ISelector> makeSelector(char const* path, bool isRecorded) {
    NSCam::Utils::Properties::set("vendor.debug.camera.zsl.record", isRecorded ? "1" : "0");
    void* const library = dlopen(path, RTLD_NOW);
    std::shared_ptr<ISelector> selector;
    if (library != nullptr) {
        reinterpret_cast<decltype(&createCustomSelector)>(dlsym(library, "createCustomSelector"))(selector);
    }
    return selector;
}

/// A host with a full history, a pending request, and a new frame for every call.
class Host {
  public:
    Host() {
        mApp.set(0x10007, uint8_t{4});
        mApp.set(0x10020, uint8_t{2});
        mApp.set(0x80009, uint8_t{0});
        mApp.set(0x10001, int32_t{0});
        mHal.set(0xC0000005, int32_t{0});
        mHal.set(0xC0010014, int32_t{1});
        mHal.set(0xC0030023, int32_t{1});
        mIn.requiredFrames[0].needStreams = {{1}, {200}, {100}};
        while (mNext < 30) {
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
    void land() {
        ++mNext;
        mIn.history[mNext] = {
            mNext, mNext, mNext * INT64_C(33000000), {{100, &mApp}}, {{200, &mHal}}, {{1}, {200}, {100}}, false};
        mIn.inflight.clear();
        mIn.inflight[mNext + 1] = {mNext + 1, {{1}, {200}, {100}}};
    }

    Metadata mApp;
    Metadata mHal;
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
    for (auto step : state) {
        benchmark::DoNotOptimize(selector->select(host.next()).selectedFrames.size());
    }
}

}  // namespace

// zsl-recorder-bench [BENCHMARK_OPTION...]: the recording goes to ZSL_RECORD_DIR.
int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    NSCam::Utils::Log::setSink([](int, char const*, std::string const&) {});
    NSCam::Utils::Properties::set("log.tag.SampleSelector", "S");
    NSCam::Utils::Properties::set("vendor.debug.camera.zsl.record.mb", "100000");
    benchmark::RegisterBenchmark("bare", [](benchmark::State& state) { call(state, SELECTOR, false); });
    benchmark::RegisterBenchmark("off", [](benchmark::State& state) { call(state, RECORDER, false); });
    benchmark::RegisterBenchmark("on", [](benchmark::State& state) { call(state, RECORDER, true); });
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
