// The camera service's tag monitor, as `adb shell cmd media.camera watch dump` prints it:
//
//   Client: com.example.camera (active)
//   0:com.example.camera  f361:95581666725026ns:    REQ: output stream ids: 2
//   0:com.example.camera  f361:95581666725026ns:    REQ:android.control.captureIntent: [STILL_CAPTURE]
//   0:com.example.camera  f361:95581777742151ns:    RES:android.control.afState: [PASSIVE_FOCUSED]
//
// The time of a REQ line is when the request was submitted, that of a RES line the frame's sensor timestamp.
// Only changes are listed: a tag keeps its value until the next line for it.
#include <algorithm>
#include <optional>
#include <sstream>

#include "Session.h"
#include "TagTable.h"

namespace Replay {

namespace {

constexpr int64_t kFramePeriodNs = 33333333;        // where a dump has only one timestamp
constexpr int64_t kLatestNs = 1000000000000000000;  // 31 years after boot: no clock reads that
constexpr StreamId kAppStream = 1;
constexpr StreamId kHalStream = 2;

/// The changes of one value over the frames; the last line for a frame counts.
template <typename T>
class Timeline {
  public:
    void set(int64_t frame, T value) { mChanges[frame] = std::move(value); }

    /// The value in force at the frame, or null before the first change.
    T const* at(int64_t frame) const {
        auto const next = mChanges.upper_bound(frame);
        return next == mChanges.begin() ? nullptr : &std::prev(next)->second;
    }

    std::map<int64_t, T> const& changes() const { return mChanges; }

  private:
    std::map<int64_t, T> mChanges;
};

using TagTimelines = std::map<uint32_t, Timeline<std::vector<int64_t>>>;

/// What one client of the camera service did with one camera.
struct Client {
    std::string name;
    std::map<int64_t, int64_t> submitNs;  // by frame, from REQ lines
    std::map<int64_t, int64_t> sensorNs;  // by frame, from RES lines
    TagTimelines requestTags;
    TagTimelines resultTags;
    Timeline<std::vector<int64_t>> outputs;
};

struct Line {
    std::string client;  // "<camera id>:<name>"
    int64_t frame;
    int64_t ns;
    bool isRequest;
    std::string content;  // what follows "REQ:" or "RES:"
};

std::string trimmed(std::string const& text) {
    size_t const first = text.find_first_not_of(" \t\r");
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(" \t\r") - first + 1);
}

/// A number of decimal digits only.
std::optional<int64_t> parseDigits(std::string const& text) {
    bool const isDigits = !text.empty() && text.find_first_not_of("0123456789") == std::string::npos;
    return isDigits ? parseInteger(text) : std::nullopt;
}

std::optional<Line> parseLine(std::string const& text) {
    size_t const blank = text.find_first_of(" \t");
    size_t const frameStart = blank == std::string::npos ? blank : text.find_first_not_of(" \t", blank);
    if (frameStart == std::string::npos || text[frameStart] != 'f' || text.find(':') > blank) {
        return std::nullopt;
    }
    size_t const colon = text.find(':', frameStart);
    size_t const unit = colon == std::string::npos ? colon : text.find("ns:", colon);
    if (unit == std::string::npos) {
        return std::nullopt;
    }
    auto const frame = parseDigits(text.substr(frameStart + 1, colon - frameStart - 1));
    auto const ns = parseDigits(text.substr(colon + 1, unit - colon - 1));
    std::string const rest = trimmed(text.substr(unit + 3));
    bool const isRequest = rest.compare(0, 4, "REQ:") == 0;
    if (!frame || !ns || *ns > kLatestNs || (!isRequest && rest.compare(0, 4, "RES:") != 0)) {
        return std::nullopt;
    }
    return Line{text.substr(0, blank), *frame, *ns, isRequest, trimmed(rest.substr(4))};
}

/// The numbers or words of "1 2 3", as the tag's values.
std::optional<std::vector<int64_t>> parseValues(std::string const& text, Tag const* tag) {
    std::vector<int64_t> values;
    std::istringstream words(text);
    for (std::string word; words >> word;) {
        auto value = parseInteger(word);
        if (!value && tag != nullptr) {
            value = valueOfWord(*tag, word);
        }
        if (!value) {
            return std::nullopt;
        }
        values.push_back(*value);
    }
    return values;
}

/// Takes the line's value over into the client. False when the content is damaged.
bool readContent(Line const& line, Client& client) {
    constexpr char const* kOutputs = "output stream ids:";
    if (line.isRequest && line.content.compare(0, std::string(kOutputs).size(), kOutputs) == 0) {
        auto ids = parseValues(line.content.substr(std::string(kOutputs).size()), nullptr);
        if (ids) {
            client.outputs.set(line.frame, std::move(*ids));
        }
        return ids.has_value();
    }
    size_t const colon = line.content.find(':');
    std::string const value = colon == std::string::npos ? "" : trimmed(line.content.substr(colon + 1));
    if (value.size() < 2 || value.front() != '[' || value.back() != ']') {
        return false;
    }
    Tag const* const tag = findTag(trimmed(line.content.substr(0, colon)));
    if (tag == nullptr) {
        return true;  // a tag that the selector does not read
    }
    auto values = parseValues(value.substr(1, value.size() - 2), tag);
    if (!values || values->empty() || !toItems(tag->type, *values)) {
        return false;
    }
    (line.isRequest ? client.requestTags : client.resultTags)[tag->number].set(line.frame, std::move(*values));
    return true;
}

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
std::optional<int64_t> requestedValue(Client const& client, uint32_t tag, int64_t frame) {
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
int64_t submitTime(Client const& client, int64_t frame, int64_t sensorNs) {
    auto const known = client.submitNs.find(frame);
    if (known != client.submitNs.end()) {
        return known->second;
    }
    auto const next = client.submitNs.upper_bound(frame);
    bool const isBetween = next != client.submitNs.end() && next != client.submitNs.begin();
    return isBetween ? interpolate(client.submitNs, frame) : sensorNs;
}

Frame makeFrame(Client const& client, int64_t number, bool takeLensAsStationary, DumpOptions const& options) {
    Frame frame;
    frame.frameNo = static_cast<FrameNo>(number);
    frame.requestNo = frame.frameNo;
    frame.startNs = interpolate(client.sensorNs, number);
    frame.resultNs = frame.startNs + options.resultAfterNs;
    if (auto const* const outputs = client.outputs.at(number)) {
        frame.images.insert(outputs->begin(), outputs->end());
    }
    Metadata& appMeta = frame.appMetas[kAppStream];
    if (takeLensAsStationary) {
        appMeta.set(kLensState, uint8_t{0});
    }
    for (auto const& [tag, timeline] : client.resultTags) {
        if (auto const* const values = timeline.at(number)) {
            appMeta.set(tag, *toItems(findTag(std::to_string(tag))->type, *values));
        }
    }
    // A camera has one sensor and one mode as long as the dump says nothing else.
    Metadata& halMeta = frame.halMetas[kHalStream];
    halMeta.set(findTag("VZR_HAL_REQUEST_SENSOR_ID")->number, int32_t{0});
    halMeta.set(findTag("VZR_P1NODE_SENSOR_MODE")->number, int32_t{0});
    return frame;
}

/// The requests of consecutive still captures, each a shutter press.
void addRequests(std::vector<Frame const*> const& run, Client const& client, DumpOptions const& options,
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

Session makeSession(Client const& client, std::string const& file, bool takeLensAsStationary,
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
        throw SessionError(file + ": " + client.name + ": frames f" + std::to_string(first) + " to f" +
                           std::to_string(last) + " are too high, or more than " +
                           std::to_string(options.maxFrames) + " in a file");
    }
    for (int64_t number = first; number <= last; ++number) {
        session.frames.push_back(makeFrame(client, number, takeLensAsStationary, options));
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

/// The clients of a dump, and what its lines amounted to.
struct Dump {
    std::vector<Client> clients;
    size_t usable = 0;
    size_t skipped = 0;

    /// The client of a line: one of those below the present "Client:" heading.
    Client& client(std::string const& name) {
        for (size_t index = mSectionStart; index < clients.size(); ++index) {
            if (clients[index].name == name) {
                return clients[index];
            }
        }
        clients.push_back(Client{name, {}, {}, {}, {}, {}});
        return clients.back();
    }

    void startSection() { mSectionStart = clients.size(); }

  private:
    size_t mSectionStart = 0;
};

Dump readDump(std::string const& text) {
    Dump dump;
    std::istringstream lines(text);
    for (std::string raw; std::getline(lines, raw);) {
        std::string const line = trimmed(raw);
        if (line.compare(0, 7, "Client:") == 0) {
            dump.startSection();
            continue;
        }
        if (line.empty() || line.compare(0, 8, "Cached @") == 0) {
            continue;
        }
        auto const parsed = parseLine(line);
        if (!parsed || !readContent(*parsed, dump.client(parsed->client))) {
            ++dump.skipped;
            continue;
        }
        Client& client = dump.client(parsed->client);
        (parsed->isRequest ? client.submitNs : client.sensorNs)[parsed->frame] = parsed->ns;
        ++dump.usable;
    }
    return dump;
}

}  // namespace

Recording readPhoneDump(std::string const& text, std::string const& file, DumpOptions const& options) {
    Dump const dump = readDump(text);
    if (dump.usable == 0) {
        throw SessionError(file + ": no line of a camera service's tag monitor (" + std::to_string(dump.skipped) +
                           " other lines)");
    }
    bool const hasLensState = std::any_of(dump.clients.begin(), dump.clients.end(), [](Client const& client) {
        return client.resultTags.count(kLensState) != 0;
    });
    Recording recording;
    DumpOptions left = options;
    for (Client const& client : dump.clients) {
        Session session = makeSession(client, file, !hasLensState, left);
        left.maxFrames -= static_cast<int64_t>(session.frames.size());
        if (session.frames.empty()) {
            recording.notes.push_back(client.name + ": no result line, so no frame to choose from; left out");
        } else {
            recording.sessions.push_back(std::move(session));
        }
    }
    if (!hasLensState) {
        recording.notes.emplace_back("android.lens.state is not in the dump: the lens is taken as stationary");
    }
    if (dump.skipped != 0) {
        recording.notes.push_back(std::to_string(dump.skipped) + " damaged or foreign lines skipped");
    }
    return recording;
}

}  // namespace Replay
