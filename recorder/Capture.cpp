#include "Capture.h"

#include <cstring>

namespace NSCam::Recorder {

namespace {

using ZslPolicy::StreamId;
using ZslPolicy::StreamSets;

size_t sizeOf(StreamSets const& streams) {
    return 3 + streams.halImages.size() + streams.halMetas.size() + streams.appMetas.size();
}

int64_t* put(int64_t* to, StreamSets const& streams) {
    for (auto const* const set : {&streams.halImages, &streams.halMetas, &streams.appMetas}) {
        *to++ = static_cast<int64_t>(set->size());
        for (StreamId const id : *set) {
            *to++ = id;
        }
    }
    return to;
}

void putContent(Words& words, ISelector::HistoryFrame const& frame) {
    size_t const metas = frame.appMetas.size() + frame.halMetas.size();
    int64_t* to = words.room(6 + sizeOf(frame.streamSets) + metas * (1 + kMetadataWords));
    *to++ = frame.frameNo;
    *to++ = frame.requestNo;
    *to++ = frame.timestamp;
    *to++ = frame.locked ? 1 : 0;
    to = put(to, frame.streamSets);
    for (auto const* const streams : {&frame.appMetas, &frame.halMetas}) {
        *to++ = static_cast<int64_t>(streams->size());
        for (auto const& [id, meta] : *streams) {
            *to++ = id;
            to = putMetadata(to, meta);
        }
    }
    words.used(to);
}

void putContent(Words& words, ISelector::InflightFrame const& frame) {
    int64_t* to = words.room(1 + sizeOf(frame.streamSets));
    *to++ = frame.frameNo;
    words.used(put(to, frame.streamSets));
}

template <typename Container>
void putSize(Words& words, Container const& container) {
    words.put(static_cast<int64_t>(container.size()));
}

void putRequired(Words& words, std::map<int32_t, ISelector::ZslFrameInfo> const& required) {
    putSize(words, required);
    for (auto const& [index, info] : required) {
        size_t const sensors = info.reqSensorIds != nullptr ? info.reqSensorIds->size() : 0;
        int64_t* to = words.room(2 + sizeOf(info.needStreams) + kMetadataWords + sensors);
        *to++ = index;
        to = put(to, info.needStreams);
        to = putMetadata(to, info.inAppMeta);
        *to++ = info.reqSensorIds != nullptr ? static_cast<int64_t>(sensors) : -1;
        if (info.reqSensorIds != nullptr) {
            for (uint32_t const sensor : *info.reqSensorIds) {
                *to++ = sensor;
            }
        }
        words.used(to);
    }
}

void putRequest(Words& words, ISelector::SelectInputParams const& in) {
    for (int64_t const word :
         {static_cast<int64_t>(in.requestNo), in.elapsedMs, in.zsdTs, static_cast<int64_t>(in.targetEv),
          static_cast<int64_t>(in.ispHidlFrameIdx), static_cast<int64_t>(in.ispHidlFrameCnt)}) {
        words.put(word);
    }
    putRequired(words, in.requiredFrames);
    putSize(words, in.sensorModes);
    for (auto const& [sensor, mode] : in.sensorModes) {
        words.put(sensor);
        words.put(mode);
    }
    putSize(words, in.preCollects);
    for (auto const& [frameNo, info] : in.preCollects) {
        words.put(frameNo);
        words.put(info.requestNo);
        words.put(static_cast<int64_t>(info.status));
    }
}

void putAnswer(Words& words, ISelector::SelectOutputParams const& out) {
    putSize(words, out.selectedFrames);
    for (auto const& [index, result] : out.selectedFrames) {
        words.put(index);
        words.put(result.frameNo);
        words.put(result.reserved);
    }
    putSize(words, out.frameOps);
    for (auto const& [frameNo, operation] : out.frameOps) {
        words.put(frameNo);
        words.put(static_cast<int64_t>(operation));
    }
    putSize(words, out.frameNoSet);
    for (uint32_t const frameNo : out.frameNoSet) {
        words.put(frameNo);
    }
}

}  // namespace

void Capture::forget() noexcept {
    for (Told* const told : {&mHistory, &mInflight}) {
        told->last.list.clear();
        told->last.content.clear();
    }
    mIsBase = true;
    mProperties.reset();
}

void Capture::putFacts(CallFacts const& facts) {
    bool const hasChange = facts.before != facts.after;
    bool const hasProperties = hasChange || mProperties != facts.before;
    bool const hasProcess = mIsBase || mRuntimeSwitch != facts.runtimeSwitch || mOthers != facts.others;
    int64_t bits = 0;
    bits |= mIsBase ? kIsBase : 0;
    bits |= hasProperties ? kHasProperties : 0;
    bits |= hasChange ? kHasChange : 0;
    bits |= hasProcess ? kHasProcess : 0;
    mWords.put(bits);
    mWords.put(static_cast<int64_t>(facts.lost));
    mWords.put(static_cast<int64_t>(facts.number));
    mWords.put(facts.ns);
    mWords.put(facts.tookNs);
    mWords.put(facts.thread);
    if (hasProperties) {
        mWords.put(facts.before.data(), kPropertyCount);
    }
    if (hasChange) {
        mWords.put(facts.after.data(), kPropertyCount);
    }
    if (hasProcess) {
        mWords.put(facts.runtimeSwitch);
        mWords.put(facts.others);
    }
    mIsBase = false;
    mProperties = facts.after;
    mRuntimeSwitch = facts.runtimeSwitch;
    mOthers = facts.others;
}

/// The frames that are new or have changed, and the numbers of all.
template <typename Map>
void Capture::putFrames(Map const& frames, Told& told) {
    told.now.list.clear();
    told.now.content.clear();
    auto known = told.last.list.begin();
    auto const end = told.last.list.end();
    size_t fresh = 0;
    for (auto const& [key, frame] : frames) {
        size_t const begin = told.now.content.size();
        putContent(told.now.content, frame);
        size_t const size = told.now.content.size() - begin;
        while (known != end && known->key < key) {
            ++known;
        }
        bool const isKnown = known != end && known->key == key && known->size == size &&
                             std::memcmp(told.last.content.data() + known->begin, told.now.content.data() + begin,
                                         size * sizeof(int64_t)) == 0;
        told.now.list.push_back({key, isKnown ? known->number : ++told.count, begin, size, !isKnown});
        fresh += isKnown ? 0 : 1;
    }
    mWords.put(static_cast<int64_t>(fresh));
    for (Frame const& frame : told.now.list) {
        if (frame.isNew) {
            mWords.put(static_cast<int64_t>(frame.number));
            mWords.put(frame.key);
            mWords.put(told.now.content.data() + frame.begin, frame.size);
        }
    }
    putRuns(told.now.list);
    std::swap(told.last, told.now);
}

/// The numbers in use as runs: how many, and first and last of each.
void Capture::putRuns(std::vector<Frame> const& frames) {
    size_t const place = mWords.size();
    mWords.put(0);
    int64_t runs = 0;
    for (size_t first = 0; first < frames.size();) {
        size_t last = first;
        while (last + 1 < frames.size() && frames[last + 1].number == frames[last].number + 1) {
            ++last;
        }
        mWords.put(static_cast<int64_t>(frames[first].number));
        mWords.put(static_cast<int64_t>(frames[last].number));
        ++runs;
        first = last + 1;
    }
    mWords.set(place, runs);
}

Words const& Capture::take(ISelector::SelectInputParams const& in, ISelector::SelectOutputParams const& out,
                           CallFacts const& facts) {
    mWords.clear();
    putFacts(facts);
    putFrames(in.history, mHistory);
    putFrames(in.inflight, mInflight);
    putRequest(mWords, in);
    putAnswer(mWords, out);
    return mWords;
}

}  // namespace NSCam::Recorder
