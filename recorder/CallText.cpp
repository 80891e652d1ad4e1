#include "CallText.h"

#include <vzrcam/IMetadata.h>

#include <algorithm>

namespace NSCam::Recorder {

Tag const kTags[kTagCount] = {
    {0x10001, "i32"},     // exposure compensation
    {0x10007, "u8"},      // auto-focus mode
    {0x1001F, "u8"},      // auto-exposure state
    {0x10020, "u8"},      // auto-focus state
    {0x80009, "u8"},      // lens state
    {0x800B0022, "i32"},  // pre-collect hint
    {0xC0000005, "i32"},  // sensor
    {0xC0010014, "i32"},  // sensor mode
    {0xC0030023, "i32"},  // soft auto-exposure state
    {0xC0080004, "i64"},  // frame synchronisation
};

namespace {

template <typename T>
std::optional<int64_t> read(IMetadata const* meta, uint32_t tag) {
    T value = 0;
    return IMetadata::getEntry<T>(meta, tag, value, 0) ? std::optional<int64_t>(value) : std::nullopt;
}

TagValues valuesOf(IMetadata const* meta) {
    TagValues values;
    for (size_t index = 0; index < kTagCount; ++index) {
        Tag const& tag = kTags[index];
        values[index] = tag.type[0] == 'u'   ? read<uint8_t>(meta, tag.number)
                        : tag.type[1] == '3' ? read<int32_t>(meta, tag.number)
                                             : read<int64_t>(meta, tag.number);
    }
    return values;
}

template <typename Number>
void append(std::string& text, Number number) {
    text += std::to_string(number);
}

/// `"name":`, with a comma in front unless it is the first of its object.
void key(std::string& text, char const* name) {
    text += text.empty() || text.back() == '{' ? "\"" : ",\"";
    text += name;
    text += "\":";
}

template <typename Numbers>
void appendList(std::string& text, char const* name, Numbers const& numbers) {
    key(text, name);
    text += '[';
    for (auto const number : numbers) {
        text += text.back() == '[' ? "" : ",";
        append(text, number);
    }
    text += ']';
}

void appendStreams(std::string& text, ZslPolicy::StreamSets const& streams) {
    appendList(text, "images", streams.halImages);
    appendList(text, "halMetas", streams.halMetas);
    appendList(text, "appMetas", streams.appMetas);
}

template <typename Number>
void appendNumber(std::string& text, char const* name, Number number) {
    key(text, name);
    append(text, number);
}

/// Numbers in use as runs, [[first, last], ...].
void appendRuns(std::string& text, char const* name, std::vector<size_t> const& numbers) {
    key(text, name);
    text += '[';
    for (size_t first = 0; first < numbers.size();) {
        size_t last = first;
        while (last + 1 < numbers.size() && numbers[last + 1] == numbers[last] + 1) {
            ++last;
        }
        text += text.back() == '[' ? "[" : ",[";
        append(text, numbers[first]);
        text += ',';
        append(text, numbers[last]);
        text += ']';
        first = last + 1;
    }
    text += ']';
}

void appendOutput(std::string& text, ISelector::SelectOutputParams const& out) {
    text += "{\"selected\":{";
    for (auto const& [index, result] : out.selectedFrames) {
        key(text, std::to_string(index).c_str());
        text += '[';
        append(text, result.frameNo);
        text += ',';
        append(text, result.reserved);
        text += ']';
    }
    text += "},\"operations\":{";
    for (auto const& [frameNo, operation] : out.frameOps) {
        appendNumber(text, std::to_string(frameNo).c_str(), static_cast<uint32_t>(operation));
    }
    text += '}';
    appendList(text, "frameNoSet", out.frameNoSet);
    text += '}';
}

}  // namespace

/// The number of the metadata's values; 0 for a null pointer.
size_t CallText::numberOf(IMetadata const* meta) {
    if (meta == nullptr) {
        return 0;
    }
    TagValues const values = valuesOf(meta);
    auto const used = mUsedTags.find(values);
    if (used != mUsedTags.end()) {
        return used->second;
    }
    auto const known = mTags.find(values);
    size_t const number = known != mTags.end() ? known->second : ++mLastTags;
    mUsedTags.emplace(values, number);
    if (known == mTags.end()) {
        key(mNewTags, std::to_string(number).c_str());
        mNewTags += '{';
        for (size_t index = 0; index < kTagCount; ++index) {
            if (values[index]) {
                key(mNewTags, std::to_string(kTags[index].number).c_str());
                mNewTags += std::string("{\"") + kTags[index].type + "\":" + std::to_string(*values[index]) + '}';
            }
        }
        mNewTags += '}';
    }
    return number;
}

void CallText::appendMetas(std::string& text, char const* name, std::map<int64_t, IMetadata const*> const& metas) {
    key(text, name);
    text += '{';
    for (auto const& [id, meta] : metas) {
        appendNumber(text, std::to_string(id).c_str(), numberOf(meta));
    }
    text += '}';
}

std::string CallText::contentOf(uint32_t frameKey, ISelector::HistoryFrame const& frame) {
    std::string text = "{";
    appendNumber(text, "key", frameKey);
    appendNumber(text, "frameNo", frame.frameNo);
    appendNumber(text, "requestNo", frame.requestNo);
    appendNumber(text, "timestamp", frame.timestamp);
    appendStreams(text, frame.streamSets);
    appendMetas(text, "app", frame.appMetas);
    appendMetas(text, "hal", frame.halMetas);
    appendNumber(text, "locked", frame.locked ? 1 : 0);
    return text += '}';
}

std::string CallText::contentOf(uint32_t frameKey, ISelector::InflightFrame const& frame) {
    std::string text = "{";
    appendNumber(text, "key", frameKey);
    appendNumber(text, "frameNo", frame.frameNo);
    appendStreams(text, frame.streamSets);
    return text += '}';
}

/// Appends the frames that are new or changed, and what they and the others are referred to by.
template <typename Frame>
void CallText::appendFrames(std::string& text, char const* name, std::map<uint32_t, Frame> const& frames,
                            Frames& known, size_t& last, std::string& references) {
    key(text, name);
    text += '{';
    Frames used;
    std::vector<size_t> numbers;
    for (auto const& [frameKey, frame] : frames) {
        std::string content = contentOf(frameKey, frame);
        auto const before = known.find(frameKey);
        bool const isKnown = before != known.end() && before->second.content == content;
        size_t const number = isKnown ? before->second.number : ++last;
        if (!isKnown) {
            key(text, std::to_string(number).c_str());
            text += content;
        }
        numbers.push_back(number);
        used[frameKey] = {number, std::move(content)};
    }
    text += '}';
    known.swap(used);
    appendRuns(references, name, numbers);
}

void CallText::appendInput(std::string& text, ISelector::SelectInputParams const& in,
                           std::string const& references) {
    text += '{';
    appendNumber(text, "requestNo", in.requestNo);
    appendNumber(text, "elapsedMs", in.elapsedMs);
    appendNumber(text, "zsdTs", in.zsdTs);
    appendNumber(text, "targetEv", in.targetEv);
    appendList(text, "ispHidl", std::array<int32_t, 2>{in.ispHidlFrameIdx, in.ispHidlFrameCnt});
    key(text, "required");
    text += '{';
    for (auto const& [index, info] : in.requiredFrames) {
        key(text, std::to_string(index).c_str());
        text += '{';
        appendStreams(text, info.needStreams);
        appendNumber(text, "meta", numberOf(info.inAppMeta));
        if (info.reqSensorIds != nullptr) {
            appendList(text, "sensorIds", *info.reqSensorIds);
        }
        appendList(text, "host", std::array<uint64_t, 2>{info.hostWord0, info.hostWord1});
        text += '}';
    }
    text += '}';
    key(text, "sensorModes");
    text += '{';
    for (auto const& [sensor, mode] : in.sensorModes) {
        appendNumber(text, std::to_string(sensor).c_str(), mode);
    }
    text += '}';
    key(text, "preCollects");
    text += '{';
    for (auto const& [frameNo, info] : in.preCollects) {
        appendList(text, std::to_string(frameNo).c_str(),
                   std::array<uint32_t, 2>{info.requestNo, static_cast<uint32_t>(info.status)});
    }
    text += "},";
    text += references;
    text += '}';
}

void CallText::append(std::string& text, ISelector::SelectInputParams const& in,
                      ISelector::SelectOutputParams const& out) {
    mUsedTags.clear();
    mNewTags.clear();
    std::string frames;
    std::string references;
    appendFrames(frames, "history", in.history, mHistory, mLastFrame, references);
    appendFrames(frames, "inflight", in.inflight, mInflight, mLastInflight, references);
    std::string input;
    appendInput(input, in, references);
    mTags.swap(mUsedTags);
    text += "\"tags\":{" + mNewTags + "},\"new\":{" + frames + "},\"in\":" + input + ",\"out\":";
    appendOutput(text, out);
}

}  // namespace NSCam::Recorder
