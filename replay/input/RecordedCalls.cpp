#include "RecordedCalls.h"

#include <fmt/core.h>

#include <algorithm>

#include "replay/model/Settings.h"

namespace Replay {

namespace {

constexpr std::string_view kFormat = "zsl-recording";
constexpr std::string_view kBlanks = " \t\r\n";

RecordedProperties readProperties(Node const& node) {
    RecordedProperties properties;
    node.eachMember([&](std::string const& name, Node const& value) {
        if (name.empty() || name.find_first_of(" \t\r\n=") != std::string::npos) {
            value.fail("this is no name of a property");
        }
        properties[name] = std::to_string(value.integer<int64_t>());
    });
    return properties;
}

ISelector::SelectOutputParams readOutput(Node const& node) {
    node.object({"selected", "operations", "frameNoSet"});
    ISelector::SelectOutputParams out;
    node.at("selected").eachNumbered<int32_t>([&](int32_t index, Node const& value) {
        auto const pair = value.numbers<uint32_t>(2);
        out.selectedFrames[index] = {pair[0], pair[1]};
    });
    node.at("operations").eachNumbered<FrameNo>([&](FrameNo frameNo, Node const& value) {
        out.frameOps[frameNo] = static_cast<ISelector::OpT>(value.integer(0, 1));
    });
    out.frameNoSet = node.at("frameNoSet").numberSet<uint32_t>();
    return out;
}

}  // namespace

bool isRecording(std::string_view text) {
    // Whoever wrote the first line anew may have put blanks into it, and the keys into another order.
    constexpr std::string_view kKey = "\"format\"";
    constexpr size_t kLongestHeader = 65536;
    text.remove_prefix(std::min(text.find_first_not_of(kBlanks), text.size()));
    std::string_view const line = text.substr(0, std::min(text.find('\n'), kLongestHeader));
    if (line.empty() || line.front() != '{') {
        return false;
    }
    for (size_t key = line.find(kKey); key != std::string_view::npos; key = line.find(kKey, key + 1)) {
        size_t const colon = line.find_first_not_of(kBlanks, key + kKey.size());
        size_t const value = colon == std::string_view::npos ? colon : line.find_first_not_of(kBlanks, colon + 1);
        if (value != std::string_view::npos && line[colon] == ':' && line[value] == '"' &&
            line.compare(value + 1, kFormat.size() + 1, std::string(kFormat) + '"') == 0) {
            return true;
        }
    }
    return false;
}

std::optional<JsonDocument> RecordingReader::nextLine() {
    std::string text;
    while (std::getline(mIn, text)) {
        ++mLine;
        bool const isWhole = !mIn.eof();  // its end was written
        if (mLine == 1 && text.compare(0, 3, "\xef\xbb\xbf") == 0) {
            text.erase(0, 3);  // a byte order mark says nothing in UTF-8
        }
        if (text.find_first_not_of(kBlanks) == std::string::npos) {
            continue;
        }
        if (!mHasHeader && !isRecording(text)) {
            throw InputError(mFile + ": this is no recording, whose first line names the format \"zsl-recording\"");
        }
        std::string const place = fmt::format("{}: line {}", mFile, mLine);
        try {
            return JsonDocument(text, place);
        } catch (InputError const&) {
            if (isWhole || !mHasHeader) {
                throw;
            }
            mNotes.push_back(place + " is torn: the recording ended while it was written");
        }
    }
    if (mIn.bad()) {
        throw InputError(fmt::format("{}: cannot be read after line {}", mFile, mLine));
    }
    return std::nullopt;
}

RecordedProperties RecordingReader::readHeader(Node const& line) {
    mPart.version = line.at("version").integer<int64_t>();
    if (mPart.version == 2) {
        return readPartHeader(line);
    }
    if (mPart.version != 1) {
        line.at("version").fail(fmt::format("version {}; this program reads versions 1 and 2", mPart.version));
    }
    line.object({"format", "version", "plugin", "process", "startedAtMs", "ns", "properties"});
    return readProperties(line.at("properties"));
}

RecordedProperties RecordingReader::readPartHeader(Node const& line) {
    line.object({"format", "version", "plugin", "process", "selector", "madeNs", "part", "startedAtMs", "ns",
                 "properties"});
    mSelector = static_cast<uint64_t>(line.at("selector").integer(1, kMaxI64));
    mPart.selector = fmt::format("{}/{}/{}", line.at("process").integer<int64_t>(), mSelector,
                                 line.at("madeNs").integer<int64_t>());
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
        auto const document = nextLine();
        if (!document) {
            return endOfFile();
        }
        Node const line = document->root();
        if (mHasEnded) {
            line.fail("a line follows the last one");
        }
        if (!mHasHeader) {
            mHasHeader = true;
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
    if (!mHasHeader) {
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
        mNotes.push_back(fmt::format("{}: the recording ended at its greatest size, line {}", mFile, mLine));
    }
}

void RecordingReader::readLost(Node const& line) {
    auto const count = static_cast<uint64_t>(line.object({"lost"}).at("lost").integer(1, kMaxI64 / 2));
    mPart.lastCall += count;
    addGap(fmt::format("{} calls before it are not recorded", count));
}

void RecordingReader::addGap(std::string reason) {
    mEvents.push_back(RecordedGap{mSelector, mPart.lastCall + 1, std::move(reason)});
}

/// Every call has the number behind that of the one before.
void RecordingReader::checkNumber(Node const& number) {
    auto const found = static_cast<uint64_t>(number.integer(1, kMaxI64));
    if (!mHasCall && mPart.number > 1 && (!mBefore || found != mPart.lastCall + 1)) {
        mPart.lastCall = found - 1;
        addGap(mBefore ? "calls before it are not in the files" : "earlier files are missing");
    }
    if (found != mPart.lastCall + 1) {
        number.fail(
            fmt::format("expected call {}: a line is missing, doubled or not in its place", mPart.lastCall + 1));
    }
    mPart.lastCall = found;
    mHasCall = true;
}

/// The properties as the plug-in sees them.
RecordedProperties RecordingReader::properties() const {
    RecordedProperties properties = mProperties;
    if (mSwitch && *mSwitch >= 0) {
        properties[kRuntimeSwitch] = std::to_string(*mSwitch);
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
                            "what the plug-in has read of " + std::string(kRuntimeSwitch) + " is unknown"});
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
    known->second.read(line, call.input);
    call.out = readOutput(line.at("out"));
    bool const hasChange = line.has("changedTo");
    mEvents.push_back(std::move(call));
    if (hasChange) {
        mEvents.push_back(properties());
    }
}

}  // namespace Replay
