#include "SessionReader.h"

#include <fmt/core.h>

#include <algorithm>

#include "Expansion.h"
#include "MetadataReader.h"

namespace Replay {

namespace {

constexpr int64_t kMaxSelectors = 16;

int64_t integerOr(Node const& node, char const* key, int64_t least, int64_t most, int64_t otherwise) {
    return node.has(key) ? node.at(key).integer(least, most) : otherwise;
}

int64_t millisecondsOr(Node const& node, char const* key, int64_t otherwise) {
    return node.has(key) ? node.at(key).milliseconds() : otherwise;
}

std::set<StreamId> streamsOf(Node const& node, char const* key) {
    return node.has(key) ? node.at(key).numberSet<StreamId>() : std::set<StreamId>();
}

StreamSets readStreamSets(Node const& node) {
    node.object({"images", "app", "hal"});
    return {streamsOf(node, "images"), streamsOf(node, "hal"), streamsOf(node, "app")};
}

void readFrameContent(Node const& node, Frame& frame) {
    frame.resultNs = frame.startNs + millisecondsOr(node, "resultAfterMs", frame.resultNs - frame.startNs);
    if (node.has("images")) {
        frame.images = node.at("images").numberSet<StreamId>();
    }
    if (node.has("app")) {
        readStreamMetadata(node.at("app"), frame.appMetas);
    }
    if (node.has("hal")) {
        readStreamMetadata(node.at("hal"), frame.halMetas);
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

/// The keys of a request's frames: so many from 0 on, or those of a list.
std::vector<int32_t> readFrameIndices(Node const& node) {
    std::vector<int32_t> indices;
    if (node.isArray()) {
        auto const listed = node.numberSet<int32_t>();
        indices.assign(listed.begin(), listed.end());
    } else {
        int64_t const count = node.integer(1, kMaxRun);
        for (int32_t index = 0; index < count; ++index) {
            indices.push_back(index);
        }
    }
    if (indices.empty()) {
        node.fail("expected at least one frame index");
    }
    return indices;
}

/// The order in which the host presents the requests of a burst: each index once.
std::vector<size_t> readOrder(Node const& node, size_t count) {
    std::vector<size_t> order;
    node.eachItem([&](Node const& item) {
        auto const index = static_cast<size_t>(item.integer(0, static_cast<int64_t>(count) - 1));
        if (std::find(order.begin(), order.end(), index) != order.end()) {
            item.fail("the index appears twice");
        }
        order.push_back(index);
    });
    if (order.size() != count) {
        node.fail("expected each index of the burst once");
    }
    return order;
}

class Reader {
  public:
    explicit Reader(size_t textSize) : mExpansion(textSize) {}

    Session read(Node const& root, std::string const& file) {
        root.object({"description", "properties", "selectors", "streams", "frames", "changes", "requests"});
        mSession.name = root.has("description") ? root.at("description").text() : file;
        mSession.selectors = static_cast<size_t>(integerOr(root, "selectors", 1, kMaxSelectors, 1));
        if (root.has("properties")) {
            root.at("properties").eachMember([&](std::string const& key, Node const& value) {
                mSession.properties.emplace_back(key, value.text());
            });
        }
        if (root.has("streams")) {
            mStreams = readStreamSets(root.at("streams"));
        }
        root.at("frames").eachItem([&](Node const& node) { readFrames(node); });
        if (root.has("changes")) {
            root.at("changes").eachItem([&](Node const& node) { applyChange(node); });
        }
        root.at("requests").eachItem([&](Node const& node) { readRequests(node); });
        if (mSession.requests.empty()) {
            root.at("requests").fail("the session asks for no capture");
        }
        return std::move(mSession);
    }

  private:
    /// A run of frames.
    void readFrames(Node const& node) {
        node.object(
            {"first", "count", "startMs", "periodMs", "resultAfterMs", "requestNo", "images", "app", "hal"});
        std::vector<Frame>& frames = mSession.frames;
        int64_t const first = node.at("first").integer(0, kMaxU32);
        int64_t const count = integerOr(node, "count", 1, kMaxFrames, 1);
        int64_t const startNs = node.at("startMs").milliseconds();
        int64_t const periodNs = count > 1 ? node.at("periodMs").milliseconds() : 0;
        int64_t const requestNo = integerOr(node, "requestNo", 0, kMaxU32, first);
        if (static_cast<int64_t>(frames.size()) + count > kMaxFrames) {
            node.fail(fmt::format("more than {} frames in the session", kMaxFrames));
        }
        if (first + count - 1 > kMaxU32 || (!frames.empty() && first <= frames.back().frameNo)) {
            node.fail("frame numbers must ascend");
        }
        if ((!frames.empty() && startNs <= frames.back().startNs) || (count > 1 && periodNs == 0)) {
            node.fail("start times must ascend with the frame numbers");
        }
        Frame frame;
        frame.startNs = startNs;
        frame.resultNs = startNs + kUsualResultDelayNs;
        frame.images = mStreams.halImages;
        for (StreamId const id : mStreams.appMetas) {
            frame.appMetas[id];
        }
        for (StreamId const id : mStreams.halMetas) {
            frame.halMetas[id];
        }
        readFrameContent(node, frame);
        mExpansion.add(valuesOf(frame), static_cast<size_t>(count), node.place());
        for (int64_t index = 0; index < count; ++index) {
            frame.frameNo = static_cast<FrameNo>(first + index);
            frame.requestNo = static_cast<RequestNo>(requestNo + index);
            frames.push_back(frame);
            frame.startNs += periodNs;
            frame.resultNs += periodNs;
        }
    }

    /// What differs for some of the frames.
    void applyChange(Node const& node) {
        node.object({"first", "last", "resultAfterMs", "images", "app", "hal"});
        int64_t const first = node.at("first").integer(0, kMaxU32);
        int64_t const last = integerOr(node, "last", first, kMaxU32, first);
        auto& frames = mSession.frames;
        auto const begin = std::lower_bound(frames.begin(), frames.end(), first,
                                            [](Frame const& frame, int64_t no) { return frame.frameNo < no; });
        if (begin == frames.end() || begin->frameNo > last) {
            node.fail("no such frame");
        }
        std::string const place = node.place();
        Frame change;
        readFrameContent(node, change);
        size_t const values = valuesOf(change);
        for (auto frame = begin; frame != frames.end() && frame->frameNo <= last; ++frame) {
            mExpansion.add(values, place);
            readFrameContent(node, *frame);
        }
    }

    Request readRequest(Node const& node) const {
        Request request;
        request.requestNo = static_cast<RequestNo>(node.at("requestNo").integer(0, kMaxU32));
        request.shutterNs = node.at("shutterMs").milliseconds();
        request.submitNs = millisecondsOr(node, "submitMs", request.shutterNs);
        request.needStreams = node.has("need") ? readStreamSets(node.at("need")) : mStreams;
        if (node.has("frames")) {
            request.frameIndices = readFrameIndices(node.at("frames"));
        }
        if (node.has("sensorModes")) {
            node.at("sensorModes").eachNumbered<uint32_t>([&](uint32_t sensor, Node const& mode) {
                request.sensorModes[sensor] = mode.integer<uint32_t>();
                request.sensorIds.insert(sensor);
            });
        }
        if (node.has("sensorIds")) {
            request.sensorIds = node.at("sensorIds").numberSet<uint32_t>();
        }
        if (node.has("ev")) {
            request.ev = node.at("ev").integer<int32_t>();
        }
        if (node.has("appMeta")) {
            readMetadata(node.at("appMeta"), request.appMeta);
        }
        if (node.has("preCollects")) {
            node.at("preCollects").eachNumbered<FrameNo>([&](FrameNo frameNo, Node const& member) {
                request.preCollects[frameNo] = readPreCollect(member);
            });
        }
        request.selector =
            static_cast<size_t>(integerOr(node, "selector", 0, static_cast<int64_t>(mSession.selectors) - 1, 0));
        return request;
    }

    /// A request or a burst of requests.
    void readRequests(Node const& node) {
        node.object({"requestNo", "shutterMs", "submitMs", "frames", "need", "sensorModes", "sensorIds", "ev",
                     "appMeta", "preCollects", "selector", "burst", "intervalMs", "order"});
        Request request = readRequest(node);
        auto const count = static_cast<size_t>(integerOr(node, "burst", 1, kMaxRun, 1));
        auto& requests = mSession.requests;
        if (requests.size() + count > static_cast<size_t>(kMaxRequests)) {
            node.fail(fmt::format("more than {} requests in the session", kMaxRequests));
        }
        mExpansion.add(valuesOf(request), count, node.place());
        if (!node.has("burst")) {
            requests.push_back(std::move(request));
            return;
        }
        mBurstRequests += count;
        if (mBurstRequests > static_cast<size_t>(kMaxBurstRequests)) {
            node.fail(fmt::format("more than {} requests of bursts in the session", kMaxBurstRequests));
        }
        int64_t const intervalNs = millisecondsOr(node, "intervalMs", 0);
        std::vector<Request> burst;
        for (size_t index = 0; index < count; ++index) {
            request.burstIdx = static_cast<int32_t>(index);
            request.burstCnt = static_cast<int32_t>(count);
            burst.push_back(request);
            ++request.requestNo;  // wraps around
            request.shutterNs += intervalNs;
            request.submitNs += intervalNs;
        }
        if (node.has("order")) {
            for (size_t const index : readOrder(node.at("order"), count)) {
                requests.push_back(burst[index]);
            }
        } else {
            requests.insert(requests.end(), burst.begin(), burst.end());
        }
    }

    Expansion mExpansion;
    size_t mBurstRequests = 0;
    Session mSession;
    StreamSets mStreams;  // what every frame carries, and every request needs
};

}  // namespace

SessionSet readSession(std::string const& text, std::string const& file) {
    JsonDocument const document(text, file);
    SessionSet set;
    set.sessions.push_back(Reader(text.size()).read(document.root(), file));
    return set;
}

}  // namespace Replay
