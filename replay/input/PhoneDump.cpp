// Frames in between are interpolated, still captures are shutter presses, and what a client never names is assumed
// and said.
#include "PhoneDump.h"

#include <fmt/core.h>

#include <algorithm>

#include "DumpText.h"
#include "Expansion.h"
#include "replay/model/InputError.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

constexpr int64_t kFramePeriodNs = 33333333;  // where a dump has only one timestamp
constexpr int64_t kFarthestNs = 1000000000000000000;
constexpr StreamId kAppStream = 1;
constexpr StreamId kHalStream = 2;

/// Straight-line interpolation between the known points around `frame`, with the outermost known slope beyond
/// them. `points` is not empty.
int64_t interpolate(std::map<int64_t, int64_t> const& points, int64_t frame) {
    if (points.size() == 1) {
        return points.begin()->second + (frame - points.begin()->first) * kFramePeriodNs;
    }
    auto right = points.lower_bound(frame);
    if (right == points.end()) {
        --right;
    } else if (right == points.begin()) {
        ++right;
    }
    auto const left = std::prev(right);
    double const slope =
        static_cast<double>(right->second - left->second) / static_cast<double>(right->first - left->first);
    double const ns = static_cast<double>(left->second) + slope * static_cast<double>(frame - left->first);
    constexpr auto kFar = static_cast<double>(2 * kFarthestNs);
    return static_cast<int64_t>(std::clamp(ns, -kFar, kFar));
}

bool isStillIntent(int64_t intent) {
    constexpr int64_t kStillCapture = 2;
    constexpr int64_t kVideoSnapshot = 4;
    constexpr int64_t kZeroShutterLag = 5;
    return intent == kStillCapture || intent == kVideoSnapshot || intent == kZeroShutterLag;
}

/// What the frame's request asked for: by the REQ lines, and before the first of them by the frame's result.
std::optional<int64_t> requestedValue(DumpClient const& client, uint32_t tag, int64_t frame) {
    for (TagsByFrame const* const tags : {&client.requestTags, &client.resultTags}) {
        auto const found = tags->find(tag);
        auto const* const values = found == tags->end() ? nullptr : found->second.at(frame);
        if (values != nullptr) {
            return values->front();
        }
    }
    return std::nullopt;
}

/// When the frame's request was submitted; by its neighbours where no REQ line names it, and by its sensor
/// timestamp where there are none on both sides.
int64_t submitTime(DumpClient const& client, int64_t frame, int64_t sensorNs) {
    auto const known = client.submitNs.find(frame);
    if (known != client.submitNs.end()) {
        return known->second;
    }
    auto const next = client.submitNs.upper_bound(frame);
    bool const isBetween = next != client.submitNs.end() && next != client.submitNs.begin();
    return isBetween ? interpolate(client.submitNs, frame) : sensorNs;
}

/// A tag that a client never names, with the value taken for it.
struct Assumed {
    Tag const* tag;
    std::optional<int64_t> value;  ///< nothing: the tag stays absent
};

// android.control.aeState
constexpr int64_t kConverged = 2;
constexpr int64_t kLocked = 3;

constexpr int64_t kAuto = 1;  // android.control.afMode, to CONTINUOUS_PICTURE
constexpr int64_t kContinuousPicture = 4;

/// What the assumption decides.
std::string meaningOf(Assumed const& assumed) {
    auto const& value = assumed.value;
    auto const passes = [](char const* check, bool isPassed) {
        return fmt::format("{} frame passes the {} check", isPassed ? "every" : "no", check);
    };
    switch (assumed.tag->number) {
        case kAfMode:
            if (value && *value >= kAuto && *value <= kContinuousPicture) {
                return "afState and lens.state decide the auto-focus check";
            }
            return passes("auto-focus", value.has_value());
        case kAfState: return value ? "afMode decides the auto-focus check" : passes("auto-focus", false);
        case kLensState:
            return value ? "afMode and afState decide the auto-focus check" : passes("auto-focus", false);
        case kAeState: return passes("auto-exposure", value && (*value == kConverged || *value == kLocked));
        case kSoftAeState: return passes("soft auto-exposure", value.value_or(1) == 1);
        case kFrameSyncResult: return passes("frame synchronisation", value.value_or(0) == 0);
        default: return "no line of the dump says so";
    }
}

/// What is taken for the tags that the client never names.
std::vector<Assumed> assumptionsFor(DumpClient const& client, DumpOptions const& options) {
    bool const hasAfState = client.resultTags.count(kAfState) != 0;
    std::map<uint32_t, std::optional<int64_t>> values{{kAfMode, hasAfState ? kContinuousPicture : 0},
                                                      {kAfState, 0},
                                                      {kLensState, 0},
                                                      {kAeState, kConverged},
                                                      {kHalRequestSensorId, 0},
                                                      {kP1NodeSensorMode, 0},
                                                      {kSoftAeState, std::nullopt},
                                                      {kFrameSyncResult, std::nullopt}};
    for (auto const& [tag, value] : options.assume) {
        values[tag] = value;
    }
    std::vector<Assumed> assumed;
    for (auto const& [tag, value] : values) {
        if (client.resultTags.count(tag) == 0) {
            assumed.push_back({findTag(tag), value});
        }
    }
    return assumed;
}

/// Says what is assumed of the tags that decide something under the settings, or that the user has named.
void noteAssumptions(DumpClient const& client, std::vector<Assumed> const& assumptions, DumpOptions const& options,
                     std::vector<std::string>& notes) {
    for (Assumed const& assumed : assumptions) {
        uint32_t const number = assumed.tag->number;
        bool const isUsers = options.assume.count(number) != 0;
        if (isUsers || options.judgedTags.count(number) != 0) {
            notes.push_back(fmt::format("{} never names {}: taken as {}, so {}{}", client.name, assumed.tag->name,
                                        assumed.value ? wordOf(*assumed.tag, *assumed.value) : "absent",
                                        meaningOf(assumed), isUsers ? " (--assume)" : ""));
        }
    }
}

Frame makeFrame(DumpClient const& client, int64_t number, std::vector<Assumed> const& assumptions,
                DumpOptions const& options) {
    constexpr uint32_t kFirstHalTag = 0xC0000000;
    Frame frame;
    frame.frameNo = static_cast<FrameNo>(number);
    frame.requestNo = frame.frameNo;
    frame.startNs = interpolate(client.sensorNs, number);
    frame.resultNs = frame.startNs + options.resultAfterNs;
    if (auto const* const outputs = client.outputs.at(number)) {
        frame.images.insert(outputs->begin(), outputs->end());
    }
    Metadata& appMeta = frame.appMetas[kAppStream];
    Metadata& halMeta = frame.halMetas[kHalStream];
    for (auto const& [tag, value] : assumptions) {
        if (value) {
            (tag->number >= kFirstHalTag ? halMeta : appMeta).set(tag->number, *toItems(tag->type, {*value}));
        }
    }
    for (auto const& [tag, told] : client.resultTags) {
        if (auto const* const values = told.at(number)) {
            (tag >= kFirstHalTag ? halMeta : appMeta).set(tag, *toItems(findTag(tag)->type, *values));
        }
    }
    return frame;
}

/// The request of a still capture, a shutter press.
Request makeRequest(DumpClient const& client, Frame const& frame) {
    Request request;
    request.requestNo = frame.requestNo;
    request.shutterNs = submitTime(client, frame.frameNo, frame.startNs);
    request.submitNs = request.shutterNs;
    request.needStreams.appMetas = {kAppStream};
    request.needStreams.halMetas = {kHalStream};
    request.ev = static_cast<int32_t>(requestedValue(client, kAeExposureCompensation, frame.frameNo).value_or(0));
    request.appMeta.set(kAeExposureCompensation, request.ev);
    return request;
}

/// The first two frames with times that are too near to each other for any sensor, in words; empty: none are. A
/// damaged frame number shows so.
std::string tooQuick(DumpClient const& client) {
    constexpr int64_t kShortestPeriodNs = 200000;  // 5,000 frames a second
    auto const left =
        std::adjacent_find(client.sensorNs.begin(), client.sensorNs.end(), [](auto const& one, auto const& next) {
            int64_t const ns = next.second - one.second;
            return ns >= 0 && ns / kShortestPeriodNs < next.first - one.first;
        });
    if (left == client.sensorNs.end()) {
        return "";
    }
    auto const right = std::next(left);
    return fmt::format("f{} to f{} in {:.3f} ms, no sensor is that quick: a frame number or a time is damaged",
                       left->first, right->first, toMs(right->second - left->second));
}

/// Makes a session of what a client did.
class SessionMaker {
  public:
    SessionMaker(DumpClient const& client, std::string const& file, std::vector<Assumed> const& assumptions,
                 DumpOptions const& options)
        : mClient(client), mPlace(file + ": " + client.name), mAssumptions(assumptions), mOptions(options) {
        mSession.name = client.name;
    }

    Session make(Expansion& expansion) {
        if (mClient.sensorNs.empty()) {
            return std::move(mSession);
        }
        int64_t first = mClient.sensorNs.begin()->first;
        int64_t last = mClient.sensorNs.rbegin()->first;
        if (!mClient.submitNs.empty()) {
            first = std::min(first, mClient.submitNs.begin()->first);
            last = std::max(last, mClient.submitNs.rbegin()->first);
        }
        if (last - first >= mOptions.maxFrames || last >= NSCam::ZslPolicy::kNoFrame) {
            fail(fmt::format("frames f{} to f{} are too high, or more than {} in a file", first, last,
                             mOptions.maxFrames));
        }
        for (int64_t number = first; number <= last; ++number) {
            mSession.frames.push_back(makeFrame(mClient, number, mAssumptions, mOptions));
            expansion.add(valuesOf(mSession.frames.back()), mPlace);
        }
        addRequests();
        return std::move(mSession);
    }

  private:
    [[noreturn]] void fail(std::string const& reason) const {
        std::string const quick = tooQuick(mClient);
        throw InputError(mPlace + ": " + reason + (quick.empty() ? "" : "; " + quick));
    }

    bool isStill(Frame const& frame) const {
        return isStillIntent(requestedValue(mClient, kCaptureIntent, frame.frameNo).value_or(0));
    }

    /// Still captures are shutter presses; consecutive ones may be a burst.
    void addRequests() {
        auto const& frames = mSession.frames;
        for (auto frame = frames.begin(); frame != frames.end();) {
            auto const end = std::find_if(frame, frames.end(), [&](Frame const& next) { return !isStill(next); });
            auto const count = end - frame;
            if (count > kMaxRun) {
                fail(fmt::format("f{} to f{}: {} still captures in a row; {} at most are played", frame->frameNo,
                                 std::prev(end)->frameNo, count, kMaxRun));
            }
            for (int32_t index = 0; index < count; ++index, ++frame) {
                Request request = makeRequest(mClient, *frame);
                if (mOptions.asBursts) {
                    request.burstIdx = index;
                    request.burstCnt = static_cast<int32_t>(count);
                }
                mSession.requests.push_back(std::move(request));
            }
            frame = end == frames.end() ? end : std::next(end);
        }
        if (mSession.requests.size() > static_cast<size_t>(kMaxRequests)) {
            fail(fmt::format("{} still captures; {} at most are played", mSession.requests.size(), kMaxRequests));
        }
    }

    DumpClient const& mClient;
    std::string mPlace;
    std::vector<Assumed> const& mAssumptions;
    DumpOptions const& mOptions;
    Session mSession;
};

}  // namespace

SessionSet readPhoneDump(std::string const& text, std::string const& file, DumpOptions const& options) {
    Dump const dump = readDump(text);
    if (dump.usable == 0) {
        throw InputError(
            fmt::format("{}: no line of a camera service's tag monitor ({} other lines)", file, dump.skipped));
    }
    SessionSet set;
    DumpOptions left = options;
    Expansion expansion(text.size());
    size_t requests = 0;
    for (DumpClient const& client : dump.clients) {
        if (!options.client.empty() && client.name != options.client) {
            continue;
        }
        auto const assumptions = assumptionsFor(client, options);
        Session session = SessionMaker(client, file, assumptions, left).make(expansion);
        left.maxFrames -= static_cast<int64_t>(session.frames.size());
        requests += session.requests.size();
        if (session.frames.empty()) {
            set.notes.push_back(client.name + ": no result line, so no frame to choose from; left out");
        } else {
            noteAssumptions(client, assumptions, options, set.notes);
            if (std::string const quick = tooQuick(client); !quick.empty()) {
                set.notes.push_back(client.name + ": " + quick);
            }
            set.sessions.push_back(std::move(session));
        }
    }
    if (!options.client.empty() && set.sessions.empty()) {
        std::string names;
        for (DumpClient const& client : dump.clients) {
            names += (names.empty() ? "" : ", ") + client.name;
        }
        throw InputError(file + ": no client '" + options.client + "' with frames; there are " + names);
    }
    if (requests == 0) {
        throw InputError(file +
                         ": the dump holds no capture: no frame has the captureIntent STILL_CAPTURE, "
                         "VIDEO_SNAPSHOT or ZERO_SHUTTER_LAG. Take pictures while the monitor runs, and "
                         "name android.control.captureIntent among its tags");
    }
    for (auto const& entry : options.assume) {
        bool const isNamedByAll =
            std::all_of(dump.clients.begin(), dump.clients.end(),
                        [&](DumpClient const& client) { return client.resultTags.count(entry.first) != 0; });
        if (isNamedByAll) {
            set.notes.push_back(
                fmt::format("--assume {} has no effect: the dump names the tag", findTag(entry.first)->name));
        }
    }
    if (dump.skipped != 0) {
        set.notes.push_back(fmt::format("{} damaged or foreign lines skipped", dump.skipped));
    }
    return set;
}

}  // namespace Replay
