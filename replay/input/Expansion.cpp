#include "Expansion.h"

#include <fmt/core.h>

#include "replay/model/InputError.h"

namespace Replay {

namespace {

size_t valuesOf(std::map<StreamId, Metadata> const& metas) {
    size_t values = 0;
    for (auto const& entry : metas) {
        values += 1 + entry.second.itemCount();
    }
    return values;
}

size_t valuesOf(StreamSets const& streams) {
    return streams.halImages.size() + streams.appMetas.size() + streams.halMetas.size();
}

}  // namespace

size_t valuesOf(Frame const& frame) {
    return 1 + frame.images.size() + valuesOf(frame.appMetas) + valuesOf(frame.halMetas);
}

size_t valuesOf(Request const& request) {
    return 1 + request.frameIndices.size() + valuesOf(request.needStreams) + request.sensorIds.size() +
           request.sensorModes.size() + request.appMeta.itemCount() + request.preCollects.size();
}

void Expansion::add(size_t values, size_t times, std::string const& place) {
    if (values > 0 && times > (mMost - mCount) / values) {
        throw InputError(fmt::format(
            "{}: here the text has become more than {} values (frames, requests, their stream ids and metadata)",
            place, mMost));
    }
    mCount += values * times;
}

}  // namespace Replay
