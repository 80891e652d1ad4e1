#include "zsl/policy/Rendering.h"

#include "zsl/policy/Format.h"

namespace NSCam::ZslPolicy {

namespace {

void appendIds(std::string& text, std::set<StreamId> const& ids) {
    for (StreamId const id : ids) {
        append(text, "%lx ", static_cast<unsigned long>(id));
    }
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
    std::string text;
    append(text, "[F%u R%u ts:%ld ss%s locked=%d]", frame.frameNo, frame.requestNo, frame.timestamp,
           toString(frame.streamSets, true).c_str(), frame.locked ? 1 : 0);
    return text;
}

std::string toString(StreamSets const& streams, bool brief) {
    std::string text;
    if (brief) {
        append(text, "(%zu,%zu,%zu)", streams.halImages.size(), streams.halMetas.size(), streams.appMetas.size());
    } else {
        text += "halImages[";
        appendIds(text, streams.halImages);
        text += "]; halMetas[";
        appendIds(text, streams.halMetas);
        text += "]; appMetas[";
        appendIds(text, streams.appMetas);
        text += "]";
    }
    return text;
}

std::string toString(std::map<unsigned int, ISelector::PreCollectSelectInfo> const& preCollects) {
    std::string text;
    for (auto const& [frameNo, info] : preCollects) {
        append(text, "[%u]=R%u Status=%s ", frameNo, info.requestNo, statusWord(info.status));
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
