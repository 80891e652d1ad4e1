#include "MetadataReader.h"
#include "SessionParts.h"

namespace Replay {

namespace {

constexpr int64_t kMaxPerRequest = 1024;  // required frames, or requests of a burst

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

}  // namespace

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

}  // namespace Replay
