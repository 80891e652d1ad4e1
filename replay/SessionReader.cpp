// Session files in our JSON format, see docs/session-format.md.
#include <algorithm>
#include <cmath>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>

#include "Session.h"
#include "TagTable.h"

namespace Replay {

namespace {

using Json = nlohmann::json;

constexpr int64_t kMaxFrames = 100000;
constexpr int64_t kMaxPerRequest = 1024;  // required frames, or requests of a burst
constexpr int64_t kMaxSelectors = 16;
constexpr double kMaxMs = 1e7;  // almost three hours

/// A value of the file with its place, so that every complaint names it.
class Node {
  public:
    Node(Json const& value, std::string file, std::string pointer)
        : mValue(value), mFile(std::move(file)), mPointer(std::move(pointer)) {}

    [[noreturn]] void fail(std::string const& reason) const {
        throw SessionError(mFile + ": " + (mPointer.empty() ? "/" : mPointer) + ": " + reason);
    }

    /// An object without other keys than these: a misspelt key must not pass unnoticed.
    Node const& object(std::initializer_list<char const*> keys) const {
        eachMember([&](std::string const& key, Node const& member) {
            if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
                member.fail("unknown key");
            }
        });
        return *this;
    }

    bool has(char const* key) const { return mValue.contains(key); }

    Node at(char const* key) const {
        if (!has(key)) {
            fail(std::string("missing key '") + key + "'");
        }
        return {mValue.at(key), mFile, mPointer + "/" + key};
    }

    template <typename Visit>
    void eachMember(Visit visit) const {
        if (!mValue.is_object()) {
            fail("expected an object");
        }
        for (auto const& [key, value] : mValue.items()) {
            visit(key, Node(value, mFile, mPointer + "/" + escaped(key)));
        }
    }

    template <typename Visit>
    void eachItem(Visit visit) const {
        if (!mValue.is_array()) {
            fail("expected an array");
        }
        for (size_t index = 0; index < mValue.size(); ++index) {
            visit(Node(mValue[index], mFile, mPointer + "/" + std::to_string(index)));
        }
    }

    int64_t integer(int64_t least, int64_t most) const {
        bool const tooLarge = mValue.is_number_unsigned() &&
                              mValue.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
        int64_t const value = mValue.is_number_integer() && !tooLarge ? mValue.get<int64_t>() : 0;
        if (!mValue.is_number_integer() || tooLarge || value < least || value > most) {
            fail("expected a whole number from " + std::to_string(least) + " to " + std::to_string(most));
        }
        return value;
    }

    template <typename T>
    T integer() const {
        return static_cast<T>(integer(std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
    }

    /// A time in milliseconds as nanoseconds.
    int64_t milliseconds() const {
        double const ms = mValue.is_number() ? mValue.get<double>() : -1;
        if (!(ms >= 0 && ms <= kMaxMs)) {
            fail("expected a time in milliseconds, 0 or more");
        }
        return std::llround(ms * kNsPerMs);
    }

    std::string text() const {
        if (!mValue.is_string()) {
            fail("expected a text");
        }
        return mValue.get<std::string>();
    }

    bool isText() const { return mValue.is_string(); }
    bool isArray() const { return mValue.is_array(); }
    bool isObject() const { return mValue.is_object(); }
    bool isNull() const { return mValue.is_null(); }

    /// The whole number that a key of this object stands for.
    int64_t keyAsInteger(std::string const& key, int64_t least, int64_t most) const {
        auto const value = parseInteger(key);
        if (!value || *value < least || *value > most) {
            fail("the key must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
        }
        return *value;
    }

  private:
    static std::string escaped(std::string const& key) {
        std::string text;
        for (char const c : key) {
            text += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
        }
        return text;
    }

    Json const& mValue;
    std::string mFile;
    std::string mPointer;
};

constexpr int64_t kMaxU32 = std::numeric_limits<uint32_t>::max();
constexpr int64_t kMaxI64 = std::numeric_limits<int64_t>::max();
constexpr int64_t kMinI64 = std::numeric_limits<int64_t>::min();

template <typename T>
std::set<T> readNumberSet(Node const& node) {
    std::set<T> numbers;
    node.eachItem([&](Node const& item) { numbers.insert(item.integer<T>()); });
    return numbers;
}

StreamSets readStreamSets(Node const& node) {
    node.object({"images", "app", "hal"});
    StreamSets streams;
    if (node.has("images")) {
        streams.halImages = readNumberSet<StreamId>(node.at("images"));
    }
    if (node.has("app")) {
        streams.appMetas = readNumberSet<StreamId>(node.at("app"));
    }
    if (node.has("hal")) {
        streams.halMetas = readNumberSet<StreamId>(node.at("hal"));
    }
    return streams;
}

int64_t readTagValue(Node const& node, Tag const* tag) {
    if (!node.isText()) {
        return node.integer(kMinI64, kMaxI64);
    }
    auto const value = tag != nullptr ? valueOfWord(*tag, node.text()) : std::nullopt;
    if (!value) {
        node.fail("'" + node.text() + "' is no value of the tag");
    }
    return *value;
}

void readTagItems(Node const& node, Tag const* tag, TagType type, uint32_t number, Metadata& metadata) {
    std::vector<int64_t> values;
    if (node.isArray()) {
        node.eachItem([&](Node const& item) { values.push_back(readTagValue(item, tag)); });
    } else {
        values.push_back(readTagValue(node, tag));
    }
    auto items = toItems(type, values);
    if (!items) {
        node.fail("a value is out of the tag's range");
    }
    metadata.set(number, std::move(*items));
}

/// One tag: a value, a list of values, an object that names the type, or null to remove it.
void readTag(std::string const& key, Node const& node, Metadata& metadata) {
    Tag const* const tag = findTag(key);
    if (tag == nullptr && !parseInteger(key)) {
        node.fail("unknown tag; use its number");
    }
    uint32_t const number =
        tag != nullptr ? tag->number : static_cast<uint32_t>(node.keyAsInteger(key, 0, kMaxU32));
    if (node.isNull()) {
        metadata.erase(number);
    } else if (node.isObject()) {
        static constexpr struct {
            char const* name;
            TagType type;
        } kTypes[] = {{"u8", TagType::U8}, {"i32", TagType::I32}, {"i64", TagType::I64}};
        node.object({"u8", "i32", "i64"});
        bool isRead = false;
        for (auto const& [name, type] : kTypes) {
            if (node.has(name)) {
                readTagItems(node.at(name), tag, type, number, metadata);
                isRead = true;
            }
        }
        if (!isRead) {
            node.fail("expected a type: u8, i32 or i64");
        }
    } else if (tag != nullptr) {
        readTagItems(node, tag, tag->type, number, metadata);
    } else {
        node.fail("the type of this tag is not known; write {\"i32\": value}, u8 or i64");
    }
}

void readMetadata(Node const& node, Metadata& metadata) {
    node.eachMember([&](std::string const& key, Node const& member) { readTag(key, member, metadata); });
}

/// Metadata by stream, merged into what the streams hold.
void readStreamMetadata(Node const& node, std::map<StreamId, Metadata>& metas) {
    node.eachMember([&](std::string const& key, Node const& member) {
        readMetadata(member, metas[member.keyAsInteger(key, kMinI64, kMaxI64)]);
    });
}

void readFrameContent(Node const& node, Frame& frame) {
    if (node.has("resultAfterMs")) {
        frame.resultNs = frame.startNs + node.at("resultAfterMs").milliseconds();
    }
    if (node.has("images")) {
        frame.images = readNumberSet<StreamId>(node.at("images"));
    }
    if (node.has("app")) {
        readStreamMetadata(node.at("app"), frame.appMetas);
    }
    if (node.has("hal")) {
        readStreamMetadata(node.at("hal"), frame.halMetas);
    }
}

void readFrames(Node const& node, StreamSets const& streams, std::vector<Frame>& frames) {
    node.object({"first", "count", "startMs", "periodMs", "resultAfterMs", "requestNo", "images", "app", "hal"});
    int64_t const first = node.at("first").integer(0, kMaxU32);
    int64_t const count = node.has("count") ? node.at("count").integer(1, kMaxFrames) : 1;
    int64_t const startNs = node.at("startMs").milliseconds();
    int64_t const periodNs = count > 1 ? node.at("periodMs").milliseconds() : 0;
    int64_t const requestNo = node.has("requestNo") ? node.at("requestNo").integer(0, kMaxU32) : first;
    if (static_cast<int64_t>(frames.size()) + count > kMaxFrames) {
        node.fail("more than " + std::to_string(kMaxFrames) + " frames in the session");
    }
    if (first + count - 1 > kMaxU32 || (!frames.empty() && first <= frames.back().frameNo)) {
        node.fail("frame numbers must ascend");
    }
    Frame frame;
    frame.images = streams.halImages;
    for (StreamId const id : streams.appMetas) {
        frame.appMetas[id];
    }
    for (StreamId const id : streams.halMetas) {
        frame.halMetas[id];
    }
    for (int64_t index = 0; index < count; ++index) {
        frame.frameNo = static_cast<FrameNo>(first + index);
        frame.requestNo = static_cast<RequestNo>(requestNo + index);
        frame.startNs = startNs + index * periodNs;
        frame.resultNs = frame.startNs + DumpOptions{}.resultAfterNs;
        if (index == 0) {
            readFrameContent(node, frame);
        } else {
            frame.resultNs = frame.startNs + (frames.back().resultNs - frames.back().startNs);
        }
        if (!frames.empty() && frame.startNs <= frames.back().startNs) {
            node.fail("start times must ascend with the frame numbers");
        }
        frames.push_back(frame);
    }
}

void applyChange(Node const& node, std::vector<Frame>& frames) {
    node.object({"first", "last", "resultAfterMs", "images", "app", "hal"});
    int64_t const first = node.at("first").integer(0, kMaxU32);
    int64_t const last = node.has("last") ? node.at("last").integer(first, kMaxU32) : first;
    bool isApplied = false;
    for (Frame& frame : frames) {
        if (frame.frameNo >= first && frame.frameNo <= last) {
            readFrameContent(node, frame);
            isApplied = true;
        }
    }
    if (!isApplied) {
        node.fail("no such frame");
    }
}

ISelector::PreCollectSelectInfo readPreCollect(Node const& node) {
    static constexpr char const* kStatus[] = {"Register", "Inflight", "Ready", "Select", "Timeout"};
    node.object({"requestNo", "status"});
    std::string const word = node.at("status").text();
    auto const* const status = std::find(std::begin(kStatus), std::end(kStatus), word);
    if (status == std::end(kStatus)) {
        node.at("status").fail("expected Register, Inflight, Ready, Select or Timeout");
    }
    return {static_cast<RequestNo>(node.at("requestNo").integer(0, kMaxU32)),
            static_cast<ISelector::PreCollectStatus>(status - std::begin(kStatus))};
}

/// The order in which the host presents the requests of a burst: each index once.
std::vector<size_t> readOrder(Node const& node, size_t count) {
    std::vector<size_t> order;
    node.eachItem([&](Node const& item) {
        auto const index = static_cast<size_t>(item.integer(0, static_cast<int64_t>(count) - 1));
        if (std::find(order.begin(), order.end(), index) != order.end()) {
            item.fail("the index stands twice");
        }
        order.push_back(index);
    });
    if (order.size() != count) {
        node.fail("expected each index of the burst once");
    }
    return order;
}

Request readRequest(Node const& node, Session const& session, StreamSets const& streams) {
    Request request;
    request.requestNo = static_cast<RequestNo>(node.at("requestNo").integer(0, kMaxU32));
    request.shutterNs = node.at("shutterMs").milliseconds();
    request.submitNs = node.has("submitMs") ? node.at("submitMs").milliseconds() : request.shutterNs;
    request.needStreams = node.has("need") ? readStreamSets(node.at("need")) : streams;
    if (node.has("frames")) {
        Node const frames = node.at("frames");
        request.frameIndices.clear();
        if (frames.isArray()) {
            auto const indices = readNumberSet<int32_t>(frames);
            request.frameIndices.assign(indices.begin(), indices.end());
        } else {
            int64_t const count = frames.integer(1, kMaxPerRequest);
            for (int32_t index = 0; index < count; ++index) {
                request.frameIndices.push_back(index);
            }
        }
        if (request.frameIndices.empty()) {
            frames.fail("expected at least one frame index");
        }
    }
    if (node.has("sensorModes")) {
        node.at("sensorModes").eachMember([&](std::string const& key, Node const& mode) {
            auto const sensor = static_cast<uint32_t>(mode.keyAsInteger(key, 0, kMaxU32));
            request.sensorModes[sensor] = static_cast<uint32_t>(mode.integer(0, kMaxU32));
            request.sensorIds.insert(sensor);
        });
    }
    if (node.has("sensorIds")) {
        request.sensorIds = readNumberSet<uint32_t>(node.at("sensorIds"));
    }
    if (node.has("ev")) {
        request.ev = node.at("ev").integer<int32_t>();
    }
    if (node.has("appMeta")) {
        readMetadata(node.at("appMeta"), request.appMeta);
    }
    if (node.has("preCollects")) {
        node.at("preCollects").eachMember([&](std::string const& key, Node const& member) {
            auto const frameNo = static_cast<FrameNo>(member.keyAsInteger(key, 0, kMaxU32));
            request.preCollects[frameNo] = readPreCollect(member);
        });
    }
    if (node.has("selector")) {
        request.selector =
            static_cast<size_t>(node.at("selector").integer(0, static_cast<int64_t>(session.selectors) - 1));
    }
    return request;
}

void readRequests(Node const& node, StreamSets const& streams, Session& session) {
    node.object({"requestNo", "shutterMs", "submitMs", "frames", "need", "sensorModes", "sensorIds", "ev",
                 "appMeta", "preCollects", "selector", "burst", "intervalMs", "order"});
    Request const request = readRequest(node, session, streams);
    if (!node.has("burst")) {
        session.requests.push_back(request);
        return;
    }
    int64_t const count = node.at("burst").integer(1, kMaxPerRequest);
    int64_t const intervalNs = node.has("intervalMs") ? node.at("intervalMs").milliseconds() : 0;
    std::vector<Request> burst;
    for (int64_t index = 0; index < count; ++index) {
        Request member = request;
        member.requestNo += static_cast<uint32_t>(index);
        member.shutterNs += index * intervalNs;
        member.submitNs += index * intervalNs;
        member.burstIdx = static_cast<int32_t>(index);
        member.burstCnt = static_cast<int32_t>(count);
        burst.push_back(member);
    }
    if (node.has("order")) {
        for (size_t const index : readOrder(node.at("order"), burst.size())) {
            session.requests.push_back(burst[index]);
        }
    } else {
        session.requests.insert(session.requests.end(), burst.begin(), burst.end());
    }
}

}  // namespace

Recording readSession(std::string const& text, std::string const& file) {
    Json document;
    try {
        document = Json::parse(text);
    } catch (Json::parse_error const& error) {
        throw SessionError(file + ": byte " + std::to_string(error.byte) + ": no JSON: " + error.what());
    } catch (Json::exception const& error) {  // a number that no type can hold
        throw SessionError(file + ": no JSON: " + error.what());
    }
    Node const root(document, file, "");
    root.object({"description", "properties", "selectors", "streams", "frames", "changes", "requests"});
    Recording recording;
    Session session;
    session.name = file;
    if (root.has("description")) {
        session.name = root.at("description").text();
    }
    if (root.has("selectors")) {
        session.selectors = static_cast<size_t>(root.at("selectors").integer(1, kMaxSelectors));
    }
    if (root.has("properties")) {
        root.at("properties").eachMember([&](std::string const& key, Node const& value) {
            session.properties.emplace_back(key, value.text());
        });
    }
    StreamSets const streams = root.has("streams") ? readStreamSets(root.at("streams")) : StreamSets{};
    root.at("frames").eachItem([&](Node const& node) { readFrames(node, streams, session.frames); });
    if (root.has("changes")) {
        root.at("changes").eachItem([&](Node const& node) { applyChange(node, session.frames); });
    }
    root.at("requests").eachItem([&](Node const& node) { readRequests(node, streams, session); });
    if (session.requests.empty()) {
        root.at("requests").fail("the session asks for no capture");
    }
    recording.sessions.push_back(std::move(session));
    return recording;
}

}  // namespace Replay
