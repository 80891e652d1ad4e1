// Bytes become a host's life: properties, several selectors, frames with odd metadata, bursts in any order. What
// must hold whatever the host does is checked after every call; a breach aborts.
#include <fuzzer/FuzzedDataProvider.h>
#include <vzrcam/LogSink.h>
#include <vzrcam/Metadata.h>
#include <vzrcam/PropertyStore.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <deque>
#include <memory>
#include <string>
#include <vector>

#include "zsl/policy/ISelector.h"

namespace {

using NSCam::Metadata;
using NSCam::ZslPolicy::FrameNo;
using NSCam::ZslPolicy::ISelector;
using NSCam::ZslPolicy::kNoFrame;
using NSCam::ZslPolicy::RequestNo;
using NSCam::ZslPolicy::StreamId;
using NSCam::ZslPolicy::StreamSets;
namespace Properties = NSCam::Utils::Properties;

constexpr int32_t kMostRequests = 64;
constexpr size_t kMostSteps = 32;
constexpr size_t kMostFrames = 24;

void demand(bool condition, char const* what) {
    if (!condition) {
        std::fprintf(stderr, "BROKEN: %s\n", what);
        std::abort();
    }
}

std::string show(ISelector::SelectOutputParams const& out) {
    std::string text;
    for (auto const& [key, result] : out.selectedFrames) {
        text += std::to_string(key) + ":" + std::to_string(result.frameNo) + "," + std::to_string(result.reserved) +
                " ";
    }
    for (auto const& [frameNo, operation] : out.frameOps) {
        text += std::to_string(static_cast<uint32_t>(operation)) + "@" + std::to_string(frameNo) + " ";
    }
    return text + std::to_string(out.frameNoSet.size());
}

class Life {
  public:
    Life(uint8_t const* bytes, size_t size) : data(bytes, size) {}

    void live() {
        NSCam::Utils::Log::setSink([this](int, char const*, std::string const& text) { lines.push_back(text); });
        // Half the lives keep silent: rendering the log is what costs most of the others. Without hint 4 a call can
        // be lived twice, with open and with closed gates: the phase of that strategy is the process's, and a twin
        // would push it on.
        isTold = data.ConsumeBool();
        hasTwins = isTold && data.ConsumeIntegralInRange(0, 3) == 0;
        setProperty("log.tag.SampleSelector", isTold ? "V" : "S");
        size_t const count = data.ConsumeIntegralInRange<size_t>(1, 3);
        setProperty("vendor.debug.camera.log.zsl.sample", data.ConsumeBool() ? "1" : "0");
        for (size_t index = 0; index < count; ++index) {
            createCustomSelector(selectors[index]);
            createCustomSelector(twins[index]);
        }
        // Request numbers wrap around near the ends.
        nextBase = data.PickValueInArray<RequestNo>({0, 100, 0xFFFFFFFF, 0xFFFFFFFE, 0xFFFFFFC0, 0x7FFFFFFF});
        for (size_t step = 0; step < kMostSteps && data.remaining_bytes() > 0; ++step) {
            liveOn();
            present(data.ConsumeIntegralInRange<size_t>(0, count - 1));
        }
        finish(count);
        NSCam::Utils::Log::setSink({});
    }

  private:
    using Served = std::map<std::string, std::set<RequestNo>>;  // by selector, strategy and base

    void setProperty(std::string const& name, std::string const& value) { Properties::set(name, value); }

    Metadata* makeMetadata(bool isApp) {
        static constexpr uint32_t kAppTags[] = {0x10001, 0x10007, 0x1001F, 0x10020, 0x80009, 0x800B0022};
        static constexpr uint32_t kHalTags[] = {0xC0000005, 0xC0010014, 0xC0030023, 0xC0080004};
        if (data.ConsumeIntegralInRange(0, 15) == 0) {
            return nullptr;
        }
        Metadata& metadata = pool.emplace_back();
        bool const isUsual = data.ConsumeIntegralInRange(0, 3) != 0;
        if (isApp) {
            for (uint32_t const tag : kAppTags) {
                setTag(metadata, tag, isUsual, tag == 0x10001 || tag == 0x800B0022 ? 1 : 0);
            }
        } else {
            for (uint32_t const tag : kHalTags) {
                setTag(metadata, tag, isUsual, tag == 0xC0080004 ? 2 : 1);
            }
        }
        return &metadata;
    }

    /// Of the right type (0 u8, 1 i32, 2 i64) with a small value, or missing, empty or of any type and value.
    void setTag(Metadata& metadata, uint32_t tag, bool isUsual, int type) {
        int64_t value = 0;
        if (isUsual) {
            value = data.ConsumeIntegralInRange<uint8_t>(0, 6);
            value = tag == 0x10001 || tag == 0xC0000005 ? value / 4 : value;
        } else {
            int const kind = data.ConsumeIntegralInRange(0, 4);
            if (kind == 3) {
                return;
            }
            if (kind == 4) {
                metadata.set(tag, std::vector<int32_t>{});
                return;
            }
            type = kind;
            value = data.ConsumeIntegral<int64_t>();
        }
        switch (type) {
            case 0: metadata.set(tag, static_cast<uint8_t>(value)); break;
            case 1: metadata.set(tag, static_cast<int32_t>(value)); break;
            default: metadata.set(tag, value); break;
        }
    }

    std::set<StreamId> someStreams() {
        static std::array<std::set<StreamId>, 5> const kSets{{{1}, {1, 2}, {}, {2}, {-5, 1}}};
        return kSets[data.ConsumeIntegralInRange<size_t>(0, data.ConsumeBool() ? 0 : kSets.size() - 1)];
    }

    void addFrame(FrameNo frameNo) {
        ISelector::HistoryFrame frame;
        frame.frameNo = frameNo;
        frame.requestNo = frameNo;
        frame.timestamp = data.ConsumeIntegralInRange(0, 9) == 0 ? data.ConsumeIntegral<int64_t>()
                                                                 : 10 * static_cast<int64_t>(frameNo);
        frame.streamSets = {someStreams(), someStreams(), someStreams()};
        for (StreamId const id : frame.streamSets.appMetas) {
            frame.appMetas[id] = makeMetadata(true);
        }
        for (StreamId const id : frame.streamSets.halMetas) {
            frame.halMetas[id] = makeMetadata(false);
        }
        frame.locked = data.ConsumeIntegralInRange(0, 9) == 0;
        in.history[frameNo] = frame;
    }

    void liveOn() {
        int const events = data.ConsumeIntegralInRange(0, 4);
        for (int count = 0; count < events; ++count) {
            switch (data.ConsumeIntegralInRange(0, 5)) {
                case 0:
                case 1: addFrame(nextFrame++); break;
                case 2:
                    in.inflight[nextFrame] = {nextFrame, {}};
                    ++nextFrame;
                    break;
                case 3:
                    if (!in.inflight.empty()) {
                        addFrame(in.inflight.begin()->first);
                        in.inflight.erase(in.inflight.begin());
                    }
                    break;
                case 4:
                    if (!in.history.empty()) {
                        in.history.erase(data.ConsumeBool() ? in.history.begin() : std::prev(in.history.end()));
                    }
                    break;
                default:
                    if (data.ConsumeIntegralInRange(0, 9) == 0) {
                        in.history.clear();
                        in.inflight.clear();
                    } else {
                        in.preCollects[nextFrame - 1] = {
                            data.ConsumeIntegral<RequestNo>(),
                            static_cast<ISelector::PreCollectStatus>(data.ConsumeIntegralInRange<uint32_t>(0, 6))};
                    }
            }
        }
        while (in.history.size() > kMostFrames) {
            in.history.erase(in.history.begin());
        }
        if (data.ConsumeIntegralInRange(0, 7) == 0) {
            static constexpr char const* kPolicies[] = {
                "-1", "0", "196613", "15", "131087", "65541", "16777221", "4294967295", "9223372036854775807"};
            setProperty("vendor.debug.camera.zsl.force.policy", data.PickValueInArray(kPolicies));
            static constexpr char const* kTimeouts[] = {"-1", "1000", "0", "50", "9223372036854775807"};
            setProperty("vendor.debug.camera.zsl.force.timeout", data.PickValueInArray(kTimeouts));
        }
        if (data.ConsumeIntegralInRange(0, 5) == 0) {
            hint = data.ConsumeIntegralInRange(0, 6) - 1;
            if (hint == 4 && hasTwins) {
                hint = 3;
            }
            setProperty("vendor.debug.camera.zsl.force.hint", std::to_string(hint));
        }
    }

    void fillRequest() {
        if (data.ConsumeIntegralInRange(0, 3) == 0) {
            base = nextBase;
            nextBase += data.ConsumeIntegralInRange<RequestNo>(0, 6);
            burstCnt = data.ConsumeIntegralInRange(0, 3) != 0 ? data.ConsumeIntegralInRange(1, 5)
                                                              : data.ConsumeIntegralInRange(-1, kMostRequests);
            burstIdx = 0;
        } else if (data.ConsumeBool()) {
            burstIdx = data.ConsumeIntegralInRange(-1, kMostRequests);
        } else {
            burstIdx = burstIdx + 1 < burstCnt ? burstIdx + 1 : 0;
        }
        in.ispHidlFrameIdx = burstIdx;
        in.ispHidlFrameCnt = burstCnt;
        in.requestNo = base + static_cast<RequestNo>(burstIdx);
        int const wait = data.ConsumeIntegralInRange(0, 9);
        in.elapsedMs = wait == 0 ? 1000 : wait == 1 ? data.ConsumeIntegral<int64_t>() : wait;
        in.zsdTs = wait == 2 ? data.ConsumeIntegral<int64_t>()
                             : 10 * static_cast<int64_t>(nextFrame) - data.ConsumeIntegralInRange(0, 200);
        in.targetEv = wait == 3 ? data.ConsumeIntegral<int32_t>() : 0;
        in.sensorModes.clear();
        for (uint32_t sensor = data.ConsumeIntegralInRange<uint32_t>(0, 12); sensor > 9; --sensor) {
            in.sensorModes[sensor - 10] = data.ConsumeIntegralInRange<uint32_t>(0, 6);
        }
        in.requiredFrames.clear();
        int const entries = data.ConsumeIntegralInRange(0, 15);
        for (int entry = 0; entry < (entries > 2 ? 1 : entries); ++entry) {
            int32_t const key = data.ConsumeIntegralInRange(0, 3) != 0 ? entry : data.ConsumeIntegral<int32_t>();
            ISelector::ZslFrameInfo& info = in.requiredFrames[key];
            info.needStreams = {someStreams(), someStreams(), someStreams()};
            info.inAppMeta = requestMeta;
            info.reqSensorIds = data.ConsumeBool() ? &sensors : nullptr;
        }
        if (data.ConsumeIntegralInRange(0, 3) == 0) {
            requestMeta = makeMetadata(true);
        }
    }

    void present(size_t which) {
        fillRequest();
        lines.clear();
        auto const out = selectors[which]->select(in);
        if (hasTwins) {
            setProperty("log.tag.SampleSelector", data.ConsumeBool() ? "S" : "W");
            demand(show(twins[which]->select(in)) == show(out), "the answer depends on the log level");
            setProperty("log.tag.SampleSelector", "V");
        }
        demand(out.frameNoSet.empty(), "frameNoSet is not empty");
        for (auto const& [key, result] : out.selectedFrames) {
            demand(result.reserved == 0, "reserved is not 0");
            demand(result.frameNo == kNoFrame || in.history.count(result.frameNo) != 0,
                   "an unknown frame was chosen");
        }
        for (auto const& [frameNo, operation] : out.frameOps) {
            demand(in.history.count(frameNo) != 0, "an operation for an unknown frame");
            bool const isUnlock = operation == ISelector::OpT::Unlock;
            demand(in.history.at(frameNo).locked == isUnlock, "an operation that changes nothing");
        }
        checkAnswer(out);
        if (isTold) {
            checkLines(which, out);
        }
        for (auto const& [frameNo, operation] : out.frameOps) {
            in.history.at(frameNo).locked = operation == ISelector::OpT::Lock;
        }
        for (auto const& [key, result] : out.selectedFrames) {
            if (result.frameNo != kNoFrame && data.ConsumeBool()) {
                in.history.at(result.frameNo).locked = false;
            }
        }
    }

    static bool contains(std::string const& text, char const* part) { return text.find(part) != std::string::npos; }

    bool isBurst() const { return in.ispHidlFrameIdx >= 0 && in.ispHidlFrameCnt >= 1 && hint >= 1 && hint <= 4; }

    /// A request of a burst is served alone, any other gets frames for what it requires, and no operations.
    void checkAnswer(ISelector::SelectOutputParams const& out) {
        if (isBurst()) {
            demand(out.selectedFrames.size() <= 1, "more than one request served in a call");
            return;
        }
        for (auto const& entry : out.selectedFrames) {
            demand(in.requiredFrames.count(entry.first) != 0, "an answer nobody asked for");
        }
        demand(out.frameOps.empty(), "the continuous selection locks");
    }

    /// What the log tells of the call must agree with its answer.
    void checkLines(size_t which, ISelector::SelectOutputParams const& out) {
        std::string strategy;
        for (std::string const& line : lines) {
            bool const isBurstLine = line.compare(0, 14, "[ispHidlSelect") == 0;
            if (isBurstLine && contains(line, "EMPLACE: new")) {
                strategy = line.substr(0, line.find(']'));
                served.erase(std::to_string(which) + strategy + std::to_string(in.requestNo));
            }
            if (isBurstLine && !contains(line, "MFNR_HDR]")) {
                strategy = line.substr(0, line.find(']'));
            }
            demand(!contains(line, "[Fatal]"), "a fatal line");
        }
        if (!isBurst()) {
            return;
        }
        if (out.selectedFrames.count(0) != 0) {
            std::string key = std::to_string(which) + "[ispHidlSelect";
            key += hint == 1 ? "" : hint == 3 ? "_LatestWithQuality" : "_Latest";
            key += std::to_string(in.requestNo - static_cast<RequestNo>(in.ispHidlFrameIdx));
            demand(served[key].insert(in.requestNo).second, "a request was served twice");
        }
        checkFirstOperations(out);
    }

    /// The first LOCK or UNLOCK line of a frame is its operation. The latest-frame strategy unlocks frames that
    /// fail verification without a line.
    void checkFirstOperations(ISelector::SelectOutputParams const& out) {
        std::set<FrameNo> seen;
        for (std::string const& line : lines) {
            bool const isUnlock = contains(line, " UNLOCK: ");
            size_t const frame = line.rfind("hF");
            if ((!isUnlock && !contains(line, " LOCK: ")) || frame == std::string::npos) {
                continue;
            }
            auto const frameNo = static_cast<FrameNo>(std::strtoul(line.c_str() + frame + 2, nullptr, 10));
            demand(out.frameOps.count(frameNo) != 0, "a line of an operation that was not asked");
            if (seen.insert(frameNo).second && (hint == 1 || hint == 3)) {
                bool const asked = out.frameOps.at(frameNo) == ISelector::OpT::Unlock;
                demand(asked == isUnlock, "the first operation did not win");
            }
        }
    }

    /// Leaves the process as it was found: phase and properties.
    void finish(size_t count) {
        setProperty("vendor.debug.camera.zsl.force.policy", "-1");
        setProperty("vendor.debug.camera.zsl.force.timeout", "1000");
        setProperty("vendor.debug.camera.zsl.force.hint", "4");
        ISelector::SelectInputParams close;
        Metadata hinted;
        hinted.set(0x800B0022, int32_t{1});
        hinted.set(0x10001, int32_t{0});
        Metadata plain;
        close.ispHidlFrameIdx = 0;
        close.ispHidlFrameCnt = 1;
        close.elapsedMs = 1000;
        close.history[1].frameNo = 1;
        close.history[1].appMetas[1] = &hinted;
        std::shared_ptr<ISelector> last;
        createCustomSelector(last);
        // A request of each phase ends it, whatever was counted before; twice, for the phase it begins in.
        for (RequestNo round = 0; round < 2; ++round) {
            close.requestNo = 10 * round;
            close.requiredFrames[0].inAppMeta = &plain;
            last->select(close);
            close.requiredFrames[0].inAppMeta = &hinted;
            last->select(close);
        }
        for (size_t index = 0; index < count; ++index) {
            selectors[index].reset();
            twins[index].reset();
        }
        setProperty("vendor.debug.camera.zsl.force.hint", "-1");
    }

    FuzzedDataProvider data;
    std::array<std::shared_ptr<ISelector>, 3> selectors;
    std::array<std::shared_ptr<ISelector>, 3> twins;  // the same lives with closed gates
    bool isTold = false;
    bool hasTwins = false;
    int hint = -1;
    std::deque<Metadata> pool;
    Metadata* requestMeta = nullptr;
    std::set<uint32_t> sensors{0, 1, 2};
    ISelector::SelectInputParams in;
    FrameNo nextFrame = 1;
    RequestNo nextBase = 0;
    RequestNo base = 0;
    int32_t burstIdx = -1;
    int32_t burstCnt = -1;
    std::vector<std::string> lines;
    Served served;
};

}  // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    Properties::set("vendor.debug.camera.zsl.runtime.adb", "1");
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(uint8_t const* data, size_t size) {
    Life(data, size).live();
    return 0;
}
