// Frames in between are interpolated, still captures are shutter presses, and what a client never names is assumed
// and said.
#include "PhoneDump.h"

#include <algorithm>

#include "DumpText.h"
#include "replay/model/InputError.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

constexpr int64_t kFramePeriodNs = 33333333;  // where a dump has only one timestamp
constexpr int64_t kLatestNs = 1000000000000000000;
constexpr StreamId kAppStream = 1;
constexpr StreamId kHalStream = 2;

/// Straight-line interpolation between the known points around `frame`, with the outermost known slope beyond
/// them. `points` is not empty.
int64_t interpolate(std::map<int64_t, int64_t> const& points, int64_t frame) {
    if (points.size() == 1) {
        return points.begin()->second + (frame - points.begin()->first) * kFramePeriodNs;
    }
    auto right = points.lower_bound(frame);
    right = right == points.end() ? std::prev(right) : right == points.begin() ? std::next(right) : right;
    auto const left = std::prev(right);
    double const slope =
        static_cast<double>(right->second - left->second) / static_cast<double>(right->first - left->first);
    double const ns = static_cast<double>(left->second) + slope * static_cast<double>(frame - left->first);
    constexpr auto kFar = static_cast<double>(2 * kLatestNs);
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
    for (TagTimelines const* const timelines : {&client.requestTags, &client.resultTags}) {
        auto const timeline = timelines->find(tag);
        auto const* const values = timeline == timelines->end() ? nullptr : timeline->second.at(frame);
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

std::string meaningOf(Assumed const& assumed) {
    bool const isAuto =
        assumed.tag->number == kAfMode && assumed.value && *assumed.value >= 1 && *assumed.value <= 4;
    switch (assumed.tag->number) {
        case kAfMode:
            return !assumed.value ? "no frame passes the auto-focus check"
                   : isAuto       ? "afState and lens.state decide the auto-focus check"
                                  : "every frame passes the auto-focus check";
        case kAfState:
            return !assumed.value ? "no frame passes the auto-focus check" : "afMode decides the auto-focus check";
        case kLensState:
            return !assumed.value ? "no frame passes the auto-focus check"
                                  : "afMode and afState decide the auto-focus check";
        case kAeState:
            return assumed.value && (*assumed.value == kConverged || *assumed.value == kLocked)
                       ? "every frame passes the auto-exposure check"
                       : "no frame passes the auto-exposure check";
        case kSoftAeState:
            return !assumed.value || *assumed.value == 1 ? "every frame passes the soft auto-exposure check"
                                                         : "no frame passes the soft auto-exposure check";
        case kFrameSyncResult:
            return !assumed.value || *assumed.value == 0 ? "every frame passes the frame synchronisation check"
                                                         : "no frame passes the frame synchronisation check";
        default: return "no line of the dump says so";
    }
}

/// What is taken for the tags that the client never names.
std::vector<Assumed> assumptionsFor(DumpClient const& client, DumpOptions const& options) {
    constexpr int64_t kContinuousPicture = 4;
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
            notes.push_back(client.name + " never names " + assumed.tag->name + ": taken as " +
                            (assumed.value ? wordOf(*assumed.tag, *assumed.value) : "absent") + ", so " +
                            meaningOf(assumed) + (isUsers ? " (--assume)" : ""));
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
    for (auto const& [tag, timeline] : client.resultTags) {
        if (auto const* const values = timeline.at(number)) {
            (tag >= kFirstHalTag ? halMeta : appMeta).set(tag, *toItems(findTag(tag)->type, *values));
        }
    }
    return frame;
}

/// The requests of consecutive still captures, each a shutter press.
void addRequests(std::vector<Frame const*> const& run, DumpClient const& client, DumpOptions const& options,
                 Session& session) {
    for (size_t index = 0; index < run.size(); ++index) {
        Frame const& frame = *run[index];
        Request request;
        request.requestNo = frame.requestNo;
        request.shutterNs = submitTime(client, frame.frameNo, frame.startNs);
        request.submitNs = request.shutterNs;
        request.needStreams.appMetas = {kAppStream};
        request.needStreams.halMetas = {kHalStream};
        request.ev =
            static_cast<int32_t>(requestedValue(client, kAeExposureCompensation, frame.frameNo).value_or(0));
        request.appMeta.set(kAeExposureCompensation, request.ev);
        if (options.asBursts) {
            request.burstIdx = static_cast<int32_t>(index);
            request.burstCnt = static_cast<int32_t>(run.size());
        }
        session.requests.push_back(request);
    }
}

Session makeSession(DumpClient const& client, std::string const& file, std::vector<Assumed> const& assumptions,
                    DumpOptions const& options) {
    Session session;
    session.name = client.name;
    if (client.sensorNs.empty()) {
        return session;
    }
    int64_t first = client.sensorNs.begin()->first;
    int64_t last = client.sensorNs.rbegin()->first;
    if (!client.submitNs.empty()) {
        first = std::min(first, client.submitNs.begin()->first);
        last = std::max(last, client.submitNs.rbegin()->first);
    }
    if (last - first >= options.maxFrames || last >= NSCam::ZslPolicy::kNoFrame) {
        throw InputError(file + ": " + client.name + ": frames f" + std::to_string(first) + " to f" +
                         std::to_string(last) + " are too high, or more than " + std::to_string(options.maxFrames) +
                         " in a file");
    }
    for (int64_t number = first; number <= last; ++number) {
        session.frames.push_back(makeFrame(client, number, assumptions, options));
    }
    std::vector<Frame const*> run;
    for (Frame const& frame : session.frames) {
        if (isStillIntent(requestedValue(client, kCaptureIntent, frame.frameNo).value_or(0))) {
            run.push_back(&frame);
        } else {
            addRequests(run, client, options, session);
            run.clear();
        }
    }
    addRequests(run, client, options, session);
    return session;
}

}  // namespace

SessionSet readPhoneDump(std::string const& text, std::string const& file, DumpOptions const& options) {
    Dump const dump = readDump(text);
    if (dump.usable == 0) {
        throw InputError(file + ": no line of a camera service's tag monitor (" + std::to_string(dump.skipped) +
                         " other lines)");
    }
    SessionSet set;
    DumpOptions left = options;
    size_t requests = 0;
    for (DumpClient const& client : dump.clients) {
        if (!options.client.empty() && client.name != options.client) {
            continue;
        }
        auto const assumptions = assumptionsFor(client, options);
        Session session = makeSession(client, file, assumptions, left);
        left.maxFrames -= static_cast<int64_t>(session.frames.size());
        requests += session.requests.size();
        if (session.frames.empty()) {
            set.notes.push_back(client.name + ": no result line, so no frame to choose from; left out");
        } else {
            noteAssumptions(client, assumptions, options, set.notes);
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
            set.notes.push_back(std::string("--assume ") + findTag(entry.first)->name +
                                " has no effect: the dump names the tag");
        }
    }
    if (dump.skipped != 0) {
        set.notes.push_back(std::to_string(dump.skipped) + " damaged or foreign lines skipped");
    }
    return set;
}

}  // namespace Replay
