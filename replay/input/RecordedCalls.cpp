#include "RecordedCalls.h"

namespace Replay {

namespace {

constexpr char const* kSwitchProperty = "vendor.debug.camera.zsl.runtime.adb";
constexpr char const* kHead = "{\"format\":\"zsl-recording\"";

StreamSets readStreams(Node const& node) {
    return {readNumberSet<StreamId>(node.at("images")), readNumberSet<StreamId>(node.at("halMetas")),
            readNumberSet<StreamId>(node.at("appMetas"))};
}

RecordedProperties readProperties(Node const& node) {
    RecordedProperties properties;
    node.eachMember([&](std::string const& name, Node const& value) {
        properties[name] = std::to_string(value.integer<int64_t>());
    });
    return properties;
}

template <typename T>
T keyOf(Node const& node, std::string const& key) {
    return static_cast<T>(node.keyAsInteger(key, std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
}

/// Metadata as a session file has it: {"65543": {"u8": 4}}.
std::shared_ptr<Metadata const> readTags(Node const& node) {
    auto const metadata = std::make_shared<Metadata>();
    node.eachMember([&](std::string const& tag, Node const& typed) {
        auto const number = static_cast<uint32_t>(node.keyAsInteger(tag, 0, kMaxU32));
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

ISelector::SelectOutputParams readOutput(Node const& node) {
    node.object({"selected", "operations", "frameNoSet"});
    ISelector::SelectOutputParams out;
    node.at("selected").eachMember([&](std::string const& index, Node const& value) {
        auto const pair = readNumbers<uint32_t>(value, 2);
        out.selectedFrames[keyOf<int32_t>(node, index)] = {pair[0], pair[1]};
    });
    node.at("operations").eachMember([&](std::string const& frameNo, Node const& value) {
        out.frameOps[keyOf<uint32_t>(node, frameNo)] = static_cast<ISelector::OpT>(value.integer(0, 1));
    });
    out.frameNoSet = readNumberSet<uint32_t>(node.at("frameNoSet"));
    return out;
}

/// Calls `visit` with each number of a list of runs, [[first, last], ...].
template <typename Visit>
void eachOfRuns(Node const& node, Visit visit) {
    node.eachItem([&](Node const& run) {
        auto const ends = readNumbers<int64_t>(run, 2);
        if (ends[0] < 1 || ends[1] < ends[0] || ends[1] - ends[0] > 1000000) {
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

bool isRecording(std::string const& text) {
    return text.compare(0, std::char_traits<char>::length(kHead), kHead) == 0;
}

std::optional<nlohmann::json> RecordingReader::nextLine() {
    std::string text;
    while (std::getline(mIn, text)) {
        ++mLine;
        bool const isWhole = !mIn.eof();  // its end was written
        if (text.find_first_not_of(" \t\r") == std::string::npos) {
            continue;
        }
        std::string const place = mFile + ": line " + std::to_string(mLine);
        try {
            return parseJson(text, place);
        } catch (InputError const&) {
            if (isWhole || mLine == 1) {
                throw;
            }
            mNotes.push_back(place + " is torn: the recording ended while it was written");
        }
    }
    return std::nullopt;
}

RecordedProperties RecordingReader::readHeader(Node const& line) {
    if (line.at("format").text() != "zsl-recording") {
        line.at("format").fail("this is no recording");
    }
    mPart.version = line.at("version").integer<int64_t>();
    if (mPart.version == 2) {
        return readPartHeader(line);
    }
    if (mPart.version != 1) {
        line.at("version").fail("this program reads versions 1 and 2");
    }
    line.object({"format", "version", "plugin", "process", "startedAtMs", "ns", "properties"});
    return readProperties(line.at("properties"));
}

RecordedProperties RecordingReader::readPartHeader(Node const& line) {
    line.object({"format", "version", "plugin", "process", "selector", "madeNs", "part", "startedAtMs", "ns",
                 "properties"});
    mSelector = static_cast<uint64_t>(line.at("selector").integer(1, kMaxI64));
    mPart.selector = std::to_string(line.at("process").integer<int64_t>()) + "/" + std::to_string(mSelector) + "/" +
                     std::to_string(line.at("madeNs").integer<int64_t>());
    mPart.number = static_cast<uint64_t>(line.at("part").integer(1, kMaxI64));
    mProperties = readProperties(line.at("properties"));
    if (mPart.number > 1) {
        mKnown[mSelector];
        if (mBefore) {
            mPart.lastCall = mBefore->lastCall;
        } else {
            mEvents.push_back(RecordedSelector{mSelector, true, line.at("madeNs").integer<int64_t>()});
        }
    }
    return mProperties;
}

std::optional<RecordedEvent> RecordingReader::next() {
    while (mEvents.empty()) {
        auto event = nextOfFile();
        if (event || mEvents.empty()) {
            return event;
        }
    }
    RecordedEvent event = std::move(mEvents.front());
    mEvents.pop_front();
    return event;
}

/// Reads a line: its event, or those put into mEvents; nothing and none at the end.
std::optional<RecordedEvent> RecordingReader::nextOfFile() {
    while (mEvents.empty()) {
        auto const json = nextLine();
        if (!json) {
            return endOfFile();
        }
        Node const line(*json, mFile + ": line " + std::to_string(mLine), "");
        if (mHasEnded) {
            line.fail("there is a line behind the last");
        }
        if (mLine == 1) {
            return readHeader(line);
        }
        if (line.has("call")) {
            readCall(line);
        } else if (line.has("lost")) {
            readLost(line);
        } else if (line.has("properties") && mPart.version == 1) {
            line.object({"properties"});
            return readProperties(line.at("properties"));
        } else if (line.has("made") || line.has("gone")) {
            readSelector(line);
        } else {
            readEnd(line);
        }
    }
    return std::nullopt;
}

std::optional<RecordedEvent> RecordingReader::endOfFile() {
    if (mLine == 0) {
        throw InputError(mFile + ": empty; expected a recording");
    }
    if (mPart.version == 2 && !mHasEnded) {
        mHasEnded = true;
        mNotes.push_back(mFile + ": the recording ends before its selector is gone");
    }
    return std::nullopt;
}

void RecordingReader::readSelector(Node const& line) {
    bool const isMade = line.has("made");
    char const* const kind = isMade ? "made" : "gone";
    line.object({kind, "ns"});
    auto const number = static_cast<uint64_t>(line.at(kind).integer(1, kMaxI64));
    if (isMade == (mKnown.count(number) != 0) || (mPart.version == 2 && number != mSelector)) {
        line.at(kind).fail(isMade ? "this selector was made before" : "there is no such selector");
    }
    if (isMade) {
        mKnown[number];
    } else {
        mKnown.erase(number);
        mHasEnded = mPart.version == 2;
    }
    mEvents.push_back(RecordedSelector{number, isMade, line.at("ns").integer<int64_t>()});
}

void RecordingReader::readEnd(Node const& line) {
    line.object({"ended", "mostBytes"});
    mHasEnded = true;
    mPart.isContinued = line.at("ended").text() == "continued";
    if (!mPart.isContinued) {
        mNotes.push_back(mFile + ": the recording ended at its greatest size, line " + std::to_string(mLine));
    }
}

void RecordingReader::readLost(Node const& line) {
    auto const count = static_cast<uint64_t>(line.object({"lost"}).at("lost").integer(1, kMaxI64 / 2));
    mPart.lastCall += count;
    addGap(std::to_string(count) + " calls before it are not recorded");
}

void RecordingReader::addGap(std::string reason) {
    mEvents.push_back(RecordedGap{mSelector, mPart.lastCall + 1, std::move(reason)});
}

/// Every call has the number behind that of the one before.
void RecordingReader::checkNumber(Node const& number) {
    auto const found = static_cast<uint64_t>(number.integer(1, kMaxI64));
    if (!mHasCall && mPart.number > 1 && (!mBefore || found != mPart.lastCall + 1)) {
        mPart.lastCall = found - 1;
        addGap(mBefore ? "calls before it are not in the files" : "the files before are not there");
    }
    if (found != mPart.lastCall + 1) {
        number.fail("expected call " + std::to_string(mPart.lastCall + 1) +
                    ": a line is missing, doubled or not in its place");
    }
    mPart.lastCall = found;
    mHasCall = true;
}

/// The properties as the plug-in sees them.
RecordedProperties RecordingReader::properties() const {
    RecordedProperties properties = mProperties;
    if (mSwitch && *mSwitch >= 0) {
        properties[kSwitchProperty] = std::to_string(*mSwitch);
    }
    return properties;
}

/// What version 2 tells of a call besides.
void RecordingReader::readFacts(Node const& line, RecordedCall& call) {
    call.selector = mSelector;
    call.thread = line.at("thread").integer<int64_t>();
    mOthers = line.has("others") ? line.at("others").integer(0, kMaxI64) : mOthers;
    if (line.has("properties")) {
        mProperties = readProperties(line.at("properties"));
    }
    if (line.has("runtimeSwitch")) {
        bool const wasKnown = mSwitch.value_or(0) >= 0;
        mSwitch = line.at("runtimeSwitch").integer(-1, 1);
        if (*mSwitch < 0 && wasKnown) {
            mEvents.push_back(
                RecordedGap{mSelector, call.number,
                            "what the plug-in has read of " + std::string(kSwitchProperty) + " is unknown"});
        }
    }
    if (line.has("properties") || line.has("runtimeSwitch")) {
        mEvents.push_back(properties());
    }
    if (line.has("changedTo")) {
        mEvents.push_back(RecordedGap{mSelector, call.number, "a property changed during it"});
        mProperties = readProperties(line.at("changedTo"));
    }
    auto const hint = mProperties.find("vendor.debug.camera.zsl.force.hint");
    call.isOfSharedState =
        mOthers > 0 && mSwitch.value_or(1) != 0 && hint != mProperties.end() && hint->second == "4";
}

std::shared_ptr<Metadata const> RecordingReader::metaOf(Node const& number, Metas const& tags) {
    int64_t const wanted = number.integer<int64_t>();
    auto const found = tags.find(wanted);
    if (wanted != 0 && found == tags.end()) {
        number.fail("metadata " + std::to_string(wanted) + " was not told before");
    }
    return wanted == 0 ? nullptr : found->second;
}

void RecordingReader::readNew(Node const& line, Known& known) {
    line.at("tags").eachMember([&](std::string const& number, Node const& tags) {
        known.tags[keyOf<int64_t>(line, number)] = readTags(tags);
    });
    Node const fresh = line.at("new").object({"history", "inflight"});
    fresh.at("history").eachMember([&](std::string const& number, Node const& node) {
        node.object(
            {"key", "frameNo", "requestNo", "timestamp", "images", "halMetas", "appMetas", "app", "hal", "locked"});
        KnownFrame entry;
        entry.key = node.at("key").integer<uint32_t>();
        entry.frame.frameNo = node.at("frameNo").integer<uint32_t>();
        entry.frame.requestNo = node.at("requestNo").integer<uint32_t>();
        entry.frame.timestamp = node.at("timestamp").integer<int64_t>();
        entry.frame.streamSets = readStreams(node);
        entry.frame.locked = node.at("locked").integer(0, 1) == 1;
        for (auto const& [name, metas] :
             {std::pair("app", &entry.frame.appMetas), std::pair("hal", &entry.frame.halMetas)}) {
            Node const streams = node.at(name);
            auto* const target = metas;
            streams.eachMember([&](std::string const& id, Node const& meta) {
                entry.metas.push_back(metaOf(meta, known.tags));
                (*target)[keyOf<int64_t>(streams, id)] = entry.metas.back().get();
            });
        }
        known.history[keyOf<int64_t>(line, number)] = std::move(entry);
    });
    fresh.at("inflight").eachMember([&](std::string const& number, Node const& node) {
        node.object({"key", "frameNo", "images", "halMetas", "appMetas"});
        known.inflight[keyOf<int64_t>(line, number)] = {
            node.at("key").integer<uint32_t>(), {node.at("frameNo").integer<uint32_t>(), readStreams(node)}};
    });
}

void RecordingReader::readInput(Node const& node, Known& known, RecordedInput& input) {
    node.object({"requestNo", "elapsedMs", "zsdTs", "targetEv", "ispHidl", "required", "sensorModes", "preCollects",
                 "history", "inflight"});
    ISelector::SelectInputParams& in = input.in;
    in.requestNo = node.at("requestNo").integer<uint32_t>();
    in.elapsedMs = node.at("elapsedMs").integer<int64_t>();
    in.zsdTs = node.at("zsdTs").integer<int64_t>();
    in.targetEv = node.at("targetEv").integer<int32_t>();
    auto const burst = readNumbers<int32_t>(node.at("ispHidl"), 2);
    in.ispHidlFrameIdx = burst[0];
    in.ispHidlFrameCnt = burst[1];
    node.at("required").eachMember([&](std::string const& index, Node const& required) {
        required.object({"images", "halMetas", "appMetas", "meta", "sensorIds", "host"});
        auto& info = in.requiredFrames[keyOf<int32_t>(node, index)];
        info.needStreams = readStreams(required);
        input.metas.push_back(metaOf(required.at("meta"), known.tags));
        info.inAppMeta = input.metas.back().get();
        if (required.has("sensorIds")) {
            input.sensorIds.push_back(
                std::make_unique<std::set<uint32_t>>(readNumberSet<uint32_t>(required.at("sensorIds"))));
            info.reqSensorIds = input.sensorIds.back().get();
        }
    });
    node.at("sensorModes").eachMember([&](std::string const& sensor, Node const& mode) {
        in.sensorModes[keyOf<uint32_t>(node, sensor)] = mode.integer<uint32_t>();
    });
    node.at("preCollects").eachMember([&](std::string const& frameNo, Node const& value) {
        auto const pair = readNumbers<uint32_t>(value, 2);
        in.preCollects[keyOf<uint32_t>(node, frameNo)] = {pair[0],
                                                          static_cast<ISelector::PreCollectStatus>(pair[1])};
    });
    std::set<int64_t> used;
    eachOfRuns(node.at("history"), [&](Node const& run, int64_t number) {
        auto const entry = known.history.find(number);
        if (entry == known.history.end()) {
            run.fail("history frame " + std::to_string(number) + " was not told before");
        }
        in.history[entry->second.key] = entry->second.frame;
        input.metas.insert(input.metas.end(), entry->second.metas.begin(), entry->second.metas.end());
        used.insert(number);
    });
    keep(known.history, used);
    used.clear();
    eachOfRuns(node.at("inflight"), [&](Node const& run, int64_t number) {
        auto const entry = known.inflight.find(number);
        if (entry == known.inflight.end()) {
            run.fail("frame in flight " + std::to_string(number) + " was not told before");
        }
        in.inflight[entry->second.key] = entry->second.frame;
        used.insert(number);
    });
    keep(known.inflight, used);
    std::set<std::shared_ptr<Metadata const>> const metas(input.metas.begin(), input.metas.end());
    for (auto entry = known.tags.begin(); entry != known.tags.end();) {
        entry = metas.count(entry->second) != 0 ? std::next(entry) : known.tags.erase(entry);
    }
}

void RecordingReader::readCall(Node const& line) {
    RecordedCall call;
    if (mPart.version == 1) {
        line.object({"call", "selector", "ns", "tookNs", "tags", "new", "in", "out"});
        call.selector = static_cast<uint64_t>(line.at("selector").integer(1, kMaxI64));
    } else {
        line.object({"call", "ns", "tookNs", "thread", "properties", "changedTo", "runtimeSwitch", "others", "tags",
                     "new", "in", "out"});
    }
    checkNumber(line.at("call"));
    call.number = mPart.lastCall;
    call.ns = line.at("ns").integer<int64_t>();
    call.tookNs = line.at("tookNs").integer<int64_t>();
    if (mPart.version == 2) {
        readFacts(line, call);
    }
    auto const known = mKnown.find(call.selector);
    if (known == mKnown.end()) {
        (mPart.version == 1 ? line.at("selector") : line.at("call")).fail("there is no such selector");
    }
    readNew(line, known->second);
    readInput(line.at("in"), known->second, call.input);
    call.out = readOutput(line.at("out"));
    bool const hasChange = line.has("changedTo");
    mEvents.push_back(std::move(call));
    if (hasChange) {
        mEvents.push_back(properties());
    }
}

}  // namespace Replay
