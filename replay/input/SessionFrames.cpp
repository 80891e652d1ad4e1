#include "MetadataReader.h"
#include "SessionParts.h"

namespace Replay {

namespace {

constexpr int64_t kMaxFrames = 100000;

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

}  // namespace

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
        frame.resultNs = frame.startNs + kUsualResultDelayNs;
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

}  // namespace Replay
