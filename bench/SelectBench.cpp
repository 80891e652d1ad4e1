// select() for every hint over history depths, with all gates closed and with all open to a sink that discards;
// next to each the floor of the same answer. Each reports its heap allocations a call.
#include <benchmark/benchmark.h>
#include <vzrcam/LogSink.h>
#include <vzrcam/Metadata.h>
#include <vzrcam/PropertyStore.h>

#include <algorithm>
#include <chrono>
#include <deque>
#include <memory>
#include <string>
#include <string_view>

#include "CountingNew.h"
#include "Floor.h"
#include "zsl/sample/Log.h"

namespace ZslBench {
namespace {

using NSCam::Metadata;
namespace Properties = NSCam::Utils::Properties;

constexpr int32_t kBurst = 8;  // requests of a burst

enum Gates { kClosed, kOpen };

void setGates(Gates gates) { Properties::set("log.tag.SampleSelector", gates == kOpen ? "V" : "S"); }

/// A stable scene: app stream 10, HAL stream 20, image stream 1; sensor 0 in mode 1.
struct Host {
    explicit Host(int64_t depth) {
        for (FrameNo frameNo = 1; frameNo <= depth; ++frameNo) {
            Metadata& app = metadata.emplace_back();
            app.set(0x10001, int32_t{0});
            app.set(0x10007, uint8_t{4});
            app.set(0x10020, uint8_t{2});
            app.set(0x1001F, uint8_t{2});
            app.set(0x80009, uint8_t{0});
            Metadata& hal = metadata.emplace_back();
            hal.set(0xC0000005, int32_t{0});
            hal.set(0xC0010014, int32_t{1});
            hal.set(0xC0030023, int32_t{1});
            in.history[frameNo] = {frameNo, frameNo, 10 * int64_t{frameNo}, {{10, &app}}, {{20, &hal}},
                                   streams, false};
        }
        requestMeta.set(0x10001, int32_t{0});
        ISelector::ZslFrameInfo& need = in.requiredFrames[0];
        need.needStreams = streams;
        need.inAppMeta = &requestMeta;
        need.reqSensorIds = &sensors;
        in.sensorModes = {{0, 1}};
        in.zsdTs = 10 * (depth - 1);
    }

    void require(int32_t count) {
        for (int32_t key = 1; key < count; ++key) {
            in.requiredFrames[key] = in.requiredFrames.at(0);
        }
    }

    void burst(RequestNo base, int32_t idx) {
        in.ispHidlFrameIdx = idx;
        in.ispHidlFrameCnt = kBurst;
        in.requestNo = base + static_cast<uint32_t>(idx);
    }

    NSCam::ZslPolicy::StreamSets streams{{1}, {20}, {10}};
    std::set<uint32_t> sensors{0};
    std::deque<Metadata> metadata;
    Metadata requestMeta;
    ISelector::SelectInputParams in;
};

std::shared_ptr<ISelector> makeSelector(int hint) {
    Properties::set("vendor.debug.camera.zsl.force.hint", std::to_string(hint));
    std::shared_ptr<ISelector> selector;
    createCustomSelector(selector);
    return selector;
}

/// Times call() and counts its allocations.
template <typename Call>
void measure(benchmark::State& state, Call call) {
    size_t const before = heapAllocations();
    for (auto _ : state) {
        auto out = call();
        benchmark::DoNotOptimize(out);
    }
    state.counters["allocs"] =
        benchmark::Counter(static_cast<double>(heapAllocations() - before), benchmark::Counter::kAvgIterations);
}

void check(bool condition, benchmark::State& state, char const* what) {
    if (!condition) {
        state.SkipWithError(what);
    }
}

void continuous(benchmark::State& state, int32_t frames, Gates gates) {
    setGates(gates);
    Host host(state.range(0));
    host.require(frames);
    auto const selector = makeSelector(0);
    auto const isSame = [](auto const& left, auto const& right) {
        return left.first == right.first && left.second.frameNo == right.second.frameNo;
    };
    auto const selected = selector->select(host.in).selectedFrames;
    auto const expected = floorContinuous(host.in).selectedFrames;
    check(std::equal(selected.begin(), selected.end(), expected.begin(), expected.end(), isSame), state,
          "not the frames of the floor");
    measure(state, [&] { return selector->select(host.in); });
}

void continuousFloor(benchmark::State& state, int32_t frames) {
    Host host(state.range(0));
    host.require(frames);
    measure(state, [&] { return floorContinuous(host.in); });
}

/// The frames of the burst's requests, the newest of the history.
std::vector<std::pair<RequestNo, FrameNo>> newest(Host const& host, RequestNo base) {
    std::vector<std::pair<RequestNo, FrameNo>> assigned;
    FrameNo const last = host.in.history.rbegin()->first;
    for (uint32_t index = 0; index < kBurst; ++index) {
        assigned.emplace_back(base + index, last - kBurst + 1 + index);
    }
    return assigned;
}

/// A burst that is assigned the newest frames; then every request but the first is refused.
void refused(benchmark::State& state, int hint, Gates gates) {
    setGates(gates);
    Host host(state.range(0));
    host.in.zsdTs = 10 * state.range(0);
    auto const selector = makeSelector(hint);
    host.burst(100, 0);
    check(selector->select(host.in).selectedFrames.size() == 1, state, "not served");
    host.burst(100, 4);
    check(selector->select(host.in).selectedFrames.empty(), state, "not refused");
    measure(state, [&] { return selector->select(host.in); });
}

void refusedFloor(benchmark::State& state, bool isVerified) {
    Host host(state.range(0));
    host.burst(100, 4);
    auto assigned = newest(host, 100);
    assigned.erase(assigned.begin());
    measure(state, [&] { return floorBurst(host.in, assigned, false, isVerified); });
}

/// A burst that waits: FIFO for the frame of the shutter, the others for frames in flight.
void waits(benchmark::State& state, int hint, Gates gates) {
    setGates(gates);
    Host host(state.range(0));
    auto const depth = static_cast<FrameNo>(state.range(0));
    host.in.zsdTs = 10 * int64_t{depth} + 1;
    for (FrameNo frameNo = depth + 1; frameNo <= depth + kBurst + 1; ++frameNo) {
        host.in.inflight[frameNo] = {frameNo, host.streams};
    }
    auto const selector = makeSelector(hint);
    host.burst(100, 0);
    selector->select(host.in);
    check(selector->select(host.in).selectedFrames.empty(), state, "does not wait");
    measure(state, [&] { return selector->select(host.in); });
}

void waitsFloor(benchmark::State& state, int hint) {
    Host host(state.range(0));
    host.in.zsdTs = 10 * state.range(0) + 1;
    host.burst(100, 0);
    auto assigned = newest(host, 100);
    for (auto& entry : assigned) {
        entry.second += 1000;  // in flight
    }
    if (hint == 1) {
        measure(state, [&] { return floorContinuous(host.in); });
    } else {
        measure(state, [&] { return floorBurst(host.in, assigned, true, true); });
    }
}

/// The calls that serve requests 1 to 7 of a burst from its mapping, a mean call an iteration.
void serves(benchmark::State& state, int hint, Gates gates) {
    using Clock = std::chrono::steady_clock;
    setGates(gates);
    Host host(state.range(0));
    host.in.zsdTs = 10 * state.range(0);
    auto const selector = makeSelector(hint);
    RequestNo base = 100;
    size_t allocations = 0;
    for (auto _ : state) {
        host.burst(base, 0);
        selector->select(host.in);
        size_t const before = heapAllocations();
        auto const start = Clock::now();
        for (int32_t idx = 1; idx < kBurst; ++idx) {
            host.in.ispHidlFrameIdx = idx;
            host.in.requestNo = base + static_cast<uint32_t>(idx);
            auto out = selector->select(host.in);
            benchmark::DoNotOptimize(out);
        }
        state.SetIterationTime(std::chrono::duration<double>(Clock::now() - start).count() / (kBurst - 1));
        allocations += heapAllocations() - before;
        base += kBurst;
    }
    state.counters["allocs"] =
        benchmark::Counter(static_cast<double>(allocations) / (kBurst - 1), benchmark::Counter::kAvgIterations);
}

void servesFloor(benchmark::State& state, bool isVerified) {
    Host host(state.range(0));
    host.burst(100, 4);  // the middle one: as many frames still to lock as the mean call has
    auto assigned = newest(host, 100);
    assigned.erase(assigned.begin(), assigned.begin() + 4);
    measure(state, [&] { return floorBurst(host.in, assigned, true, isVerified); });
}

/// The HDR phase: a request that waits for a frame with the hint looks through the whole history.
void hdrWaits(benchmark::State& state, Gates gates) {
    setGates(gates);
    Host host(state.range(0));
    auto const selector = makeSelector(4);
    host.in.ispHidlFrameIdx = 0;
    host.in.ispHidlFrameCnt = 1;
    host.in.requestNo = 50;
    selector->select(host.in);  // a noise-reduction burst of one changes the phase
    host.requestMeta.set(0x800B0022, int32_t{1});
    host.in.requestNo = 100;
    check(selector->select(host.in).selectedFrames.empty(), state, "does not wait");
    measure(state, [&] { return selector->select(host.in); });
    Metadata hint;
    hint.set(0x800B0022, int32_t{1});
    host.in.history.begin()->second.appMetas[10] = &hint;
    selector->select(host.in);  // back to the first phase
}

void hdrWaitsFloor(benchmark::State& state) {
    Host host(state.range(0));
    measure(state, [&] {
        ISelector::SelectOutputParams out;
        for (auto const& entry : host.in.history) {
            for (auto const& stream : entry.second.appMetas) {
                int32_t hint = 0;
                if (NSCam::IMetadata::getEntry<int32_t>(stream.second, 0x800B0022, hint, 0) && hint > 0) {
                    out.selectedFrames[1] = {entry.first, 0};
                    return out;
                }
            }
        }
        return out;
    });
}

/// One refused log line with a costly argument.
void refusedLine(benchmark::State& state) {
    setGates(kClosed);
    int value = 0;
    for (auto _ : state) {
        benchmark::DoNotOptimize(value);
        ZSL_LOGD("[%s] %s", "bench", std::string(100, static_cast<char>('a' + value)).c_str());
    }
}

void addAll(bool areBursts) {
    auto const add = [](std::string const& name, auto function) {
        auto* const bench = benchmark::RegisterBenchmark(name.c_str(), function);
        return bench->ArgName("depth")->Arg(8)->Arg(30)->Arg(128)->Arg(512);
    };
    if (!areBursts) {
        for (int32_t const frames : {1, 3}) {
            std::string const name = frames == 1 ? "hint0/1 frame/" : "hint0/3 frames/";
            add(name + "closed", [=](benchmark::State& s) { continuous(s, frames, kClosed); });
            add(name + "open", [=](benchmark::State& s) { continuous(s, frames, kOpen); });
            add(name + "floor", [=](benchmark::State& s) { continuousFloor(s, frames); });
        }
        benchmark::RegisterBenchmark("log/refusedLine", refusedLine);
        return;
    }
    for (int const hint : {1, 2, 3}) {
        std::string const name = "hint" + std::to_string(hint);
        for (Gates const gates : {kClosed, kOpen}) {
            std::string const mode = gates == kClosed ? "closed" : "open";
            auto const named = [&](std::string what) { return what.insert(0, name).append(mode); };
            add(named("/waits/"), [=](benchmark::State& s) { waits(s, hint, gates); });
            add(named("/refused/"), [=](benchmark::State& s) { refused(s, hint, gates); });
            add(named("/serves/"), [=](benchmark::State& s) { serves(s, hint, gates); })->UseManualTime();
        }
        bool const isVerified = hint == 2;
        add(name + "/waits/floor", [=](benchmark::State& s) { waitsFloor(s, hint); });
        add(name + "/refused/floor", [=](benchmark::State& s) { refusedFloor(s, isVerified); });
        add(name + "/serves/floor", [=](benchmark::State& s) { servesFloor(s, isVerified); });
    }
    add("hint4/hdrWaits/closed", [](benchmark::State& s) { hdrWaits(s, kClosed); });
    add("hint4/hdrWaits/open", [](benchmark::State& s) { hdrWaits(s, kOpen); });
    add("hint4/hdrWaits/floor", hdrWaitsFloor);
}

}  // namespace
}  // namespace ZslBench

// zsl-bench [--bursts] [BENCHMARK_OPTION...]: hint 0 with the debug switch off, as in a product; with --bursts
// hints 1 to 4, which need the switch, and with it every call reads three properties. It is read once in a process.
int main(int argc, char** argv) {
    auto* const end = std::remove(argv, argv + argc, std::string_view("--bursts"));
    bool const areBursts = end != argv + argc;
    argc = static_cast<int>(end - argv);
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv)) {
        return 2;
    }
    NSCam::Utils::Log::setSink([](int, char const*, std::string const&) {});
    NSCam::Utils::Properties::set("vendor.debug.camera.zsl.runtime.adb", areBursts ? "1" : "0");
    ZslBench::addAll(areBursts);
    benchmark::RunSpecifiedBenchmarks();
    return 0;
}
