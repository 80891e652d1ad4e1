#include "zsl/policy/Rendering.h"

#include <charconv>

namespace NSCam::ZslPolicy {

namespace {

void appendHexIds(std::string& text, char const* label, std::set<StreamId> const& ids) {
    text += label;
    text += '[';
    for (StreamId const id : ids) {
        char digits[2 * sizeof(id)];
        auto* const end = std::to_chars(std::begin(digits), std::end(digits), static_cast<uint64_t>(id), 16).ptr;
        text.append(digits, end);
        text += ' ';
    }
    text += ']';
}

char const* statusWord(ISelector::PreCollectStatus status) {
    switch (status) {
        case ISelector::PreCollectStatus::Register: return "Register";
        case ISelector::PreCollectStatus::Inflight: return "Inflight";
        case ISelector::PreCollectStatus::Ready: return "Ready";
        case ISelector::PreCollectStatus::Select: return "Select";
        case ISelector::PreCollectStatus::Timeout: return "Timeout";
    }
    return "Not Defined";  // the host may pass any 32-bit value
}

}  // namespace

std::string toString(ISelector::HistoryFrame const& frame) {
    return "[F" + std::to_string(frame.frameNo) + " R" + std::to_string(frame.requestNo) +
           " ts:" + std::to_string(frame.timestamp) + " ss" + toString(frame.streamSets, true) +
           " locked=" + (frame.locked ? "1" : "0") + "]";
}

std::string toString(StreamSets const& streams, bool brief) {
    if (brief) {
        return "(" + std::to_string(streams.halImages.size()) + "," + std::to_string(streams.halMetas.size()) +
               "," + std::to_string(streams.appMetas.size()) + ")";
    }
    std::string text;
    appendHexIds(text, "halImages", streams.halImages);
    appendHexIds(text, "; halMetas", streams.halMetas);
    appendHexIds(text, "; appMetas", streams.appMetas);
    return text;
}

std::string toString(std::map<unsigned int, ISelector::PreCollectSelectInfo> const& preCollects) {
    std::string text;
    for (auto const& [frameNo, info] : preCollects) {
        text += "[" + std::to_string(frameNo) + "]=R" + std::to_string(info.requestNo) +
                " Status=" + statusWord(info.status) + " ";
    }
    return text;
}

std::string toString(std::unordered_map<unsigned int, unsigned int> const& sensorModes) {
    std::string text;
    for (auto const& [sensorId, mode] : sensorModes) {
        text += "[" + std::to_string(sensorId) + "]" + std::to_string(mode) + " ";
    }
    return text;
}

}  // namespace NSCam::ZslPolicy

namespace NSCam::Sample {

std::string toString(unsigned int policy) {
    namespace Policy = ZslPolicy::Policy;
    if (policy == 0) {
        return "{ None }";
    }
    if ((policy & Policy::ForcePending) != 0) {
        return "{ ForcePending }";
    }
    static constexpr struct {
        uint32_t bit;
        char const* name;
    } kNames[] = {
        {Policy::AFStable, "AFStable "},
        {Policy::AEStable, "AEStable "},
        {Policy::AESoftStable, "AESoftStable "},
        {Policy::FrameSync, "FrameSync "},
        {Policy::ZeroShutterDelay, "ZeroShutterDelay "},
        {Policy::ContinuousFrame, "ContinuousFrame "},
    };
    std::string text = "{ ";
    for (auto const& entry : kNames) {
        if ((policy & entry.bit) != 0) {
            text += entry.name;
        }
    }
    return text + "}";
}

}  // namespace NSCam::Sample
