#include "RecordedInput.h"

#include <fmt/core.h>

namespace Replay {

namespace {

StreamSets readStreams(Node const& node) {
    return {node.at("images").numberSet<StreamId>(), node.at("halMetas").numberSet<StreamId>(),
            node.at("appMetas").numberSet<StreamId>()};
}

/// Metadata as a session file has it: {"65543": {"u8": 4}}.
std::shared_ptr<Metadata const> readTags(Node const& node) {
    auto const metadata = std::make_shared<Metadata>();
    node.eachNumbered<uint32_t>([&](uint32_t number, Node const& typed) {
        typed.eachMember([&](std::string const& type, Node const& value) {
            if (type == "u8") {
                metadata->set(number, value.integer<uint8_t>());
            } else if (type == "i32") {
                metadata->set(number, value.integer<int32_t>());
            } else if (type == "i64") {
                metadata->set(number, value.integer<int64_t>());
            } else {
                value.fail("unknown type; expected u8, i32 or i64");
            }
        });
    });
    return metadata;
}

/// Calls `visit` with each number of a list of runs, [[first, last], ...].
void eachOfRuns(Node const& node, std::function<void(Node const&, int64_t)> const& visit) {
    node.eachItem([&](Node const& run) {
        auto const ends = run.numbers<int64_t>(2);
        if (ends[0] < 1 || ends[1] < ends[0] || ends[1] - ends[0] > 1000000 || ends[1] == kMaxI64) {
            run.fail("no run of numbers");
        }
        for (int64_t number = ends[0]; number <= ends[1]; ++number) {
            visit(run, number);
        }
    });
}

/// Keeps of `known` what the call has used.
template <typename Map>
void keep(Map& known, std::set<int64_t> const& used) {
    for (auto entry = known.begin(); entry != known.end();) {
        entry = used.count(entry->first) != 0 ? std::next(entry) : known.erase(entry);
    }
}

}  // namespace

std::shared_ptr<Metadata const> KnownInputs::metaOf(Node const& number) const {
    int64_t const wanted = number.integer<int64_t>();
    auto const found = mTags.find(wanted);
    if (wanted != 0 && found == mTags.end()) {
        number.fail(fmt::format("metadata {} was not defined before", wanted));
    }
    return wanted == 0 ? nullptr : found->second;
}

void KnownInputs::readFrame(Node const& node, KnownFrame& known) const {
    node.object(
        {"key", "frameNo", "requestNo", "timestamp", "images", "halMetas", "appMetas", "app", "hal", "locked"});
    known.key = node.at("key").integer<uint32_t>();
    ISelector::HistoryFrame& frame = known.frame;
    frame.frameNo = node.at("frameNo").integer<uint32_t>();
    frame.requestNo = node.at("requestNo").integer<uint32_t>();
    frame.timestamp = node.at("timestamp").integer<int64_t>();
    frame.streamSets = readStreams(node);
    frame.locked = node.at("locked").integer(0, 1) == 1;
    for (auto const& [name, metas] : {std::pair("app", &frame.appMetas), std::pair("hal", &frame.halMetas)}) {
        auto* const target = metas;
        node.at(name).eachNumbered<StreamId>([&](StreamId id, Node const& meta) {
            known.metas.push_back(metaOf(meta));
            (*target)[id] = known.metas.back().get();
        });
    }
}

void KnownInputs::readNew(Node const& line, RecordedInput& input) {
    line.at("tags").eachNumbered<int64_t>(
        [&](int64_t number, Node const& tags) { mTags[number] = readTags(tags); });
    Node const fresh = line.at("new").object({"history", "inflight"});
    fresh.at("history").eachNumbered<int64_t>([&](int64_t number, Node const& node) {
        KnownFrame known;
        readFrame(node, known);
        input.toldFrames.insert(known.key);
        mHistory[number] = std::move(known);
    });
    fresh.at("inflight").eachNumbered<int64_t>([&](int64_t number, Node const& node) {
        node.object({"key", "frameNo", "images", "halMetas", "appMetas"});
        mInflight[number] = {node.at("key").integer<uint32_t>(),
                             {node.at("frameNo").integer<uint32_t>(), readStreams(node)}};
    });
}

void KnownInputs::readRequest(Node const& node, RecordedInput& input) const {
    ISelector::SelectInputParams& in = input.in;
    in.requestNo = node.at("requestNo").integer<uint32_t>();
    in.elapsedMs = node.at("elapsedMs").integer<int64_t>();
    in.zsdTs = node.at("zsdTs").integer<int64_t>();
    in.targetEv = node.at("targetEv").integer<int32_t>();
    auto const burst = node.at("ispHidl").numbers<int32_t>(2);
    in.ispHidlFrameIdx = burst[0];
    in.ispHidlFrameCnt = burst[1];
    node.at("required").eachNumbered<int32_t>([&](int32_t index, Node const& required) {
        required.object({"images", "halMetas", "appMetas", "meta", "sensorIds", "host"});
        auto& info = in.requiredFrames[index];
        info.needStreams = readStreams(required);
        input.metas.push_back(metaOf(required.at("meta")));
        info.inAppMeta = input.metas.back().get();
        if (required.has("sensorIds")) {
            auto const ids = required.at("sensorIds").numberSet<uint32_t>();
            input.sensorIds.push_back(std::make_unique<std::set<uint32_t>>(ids));
            info.reqSensorIds = input.sensorIds.back().get();
        }
    });
    node.at("sensorModes").eachNumbered<uint32_t>([&](uint32_t sensor, Node const& mode) {
        in.sensorModes[sensor] = mode.integer<uint32_t>();
    });
    node.at("preCollects").eachNumbered<FrameNo>([&](FrameNo frameNo, Node const& value) {
        auto const pair = value.numbers<uint32_t>(2);
        in.preCollects[frameNo] = {pair[0], static_cast<ISelector::PreCollectStatus>(pair[1])};
    });
}

void KnownInputs::read(Node const& line, RecordedInput& input) {
    readNew(line, input);
    Node const node = line.at("in").object({"requestNo", "elapsedMs", "zsdTs", "targetEv", "ispHidl", "required",
                                            "sensorModes", "preCollects", "history", "inflight"});
    readRequest(node, input);
    std::set<int64_t> used;
    eachOfRuns(node.at("history"), [&](Node const& run, int64_t number) {
        auto const entry = mHistory.find(number);
        if (entry == mHistory.end()) {
            run.fail(fmt::format("history frame {} was not defined before", number));
        }
        KnownFrame const& known = entry->second;
        input.in.history[known.key] = known.frame;
        input.metas.insert(input.metas.end(), known.metas.begin(), known.metas.end());
        used.insert(number);
    });
    keep(mHistory, used);
    used.clear();
    eachOfRuns(node.at("inflight"), [&](Node const& run, int64_t number) {
        auto const entry = mInflight.find(number);
        if (entry == mInflight.end()) {
            run.fail(fmt::format("frame in flight {} was not defined before", number));
        }
        input.in.inflight[entry->second.key] = entry->second.frame;
        used.insert(number);
    });
    keep(mInflight, used);
    std::set<std::shared_ptr<Metadata const>> const metas(input.metas.begin(), input.metas.end());
    for (auto entry = mTags.begin(); entry != mTags.end();) {
        entry = metas.count(entry->second) != 0 ? std::next(entry) : mTags.erase(entry);
    }
}

}  // namespace Replay
