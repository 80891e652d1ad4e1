#include "Trace.h"

#include <fmt/core.h>
#include <vzrcam/LogSink.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "Lanes.h"

namespace Replay {

namespace {

using Json = nlohmann::ordered_json;

class Writer {
  public:
    explicit Writer(std::ostream& out) : mOut(out) { mOut << "{\"displayTimeUnit\":\"ms\",\"traceEvents\":[\n"; }

    void write(Json const& event) {
        mOut << (mIsFirst ? "" : ",\n") << event.dump(-1, ' ', false, Json::error_handler_t::replace);
        mIsFirst = false;
    }

    void end() { mOut << "\n]}\n"; }

  private:
    std::ostream& mOut;
    bool mIsFirst = true;
};

double microseconds(int64_t ns) { return static_cast<double>(ns) / 1000; }

/// The tracks of one session.
class Tracks {
  public:
    Tracks(Writer& writer, PlayedSession const& played, size_t session)
        : mWriter(writer), mPlayed(played), mProcess(session + 1) {
        name("process_name", 0, played.session->name);
    }

    void write(Report const& report) {
        writeFrames();
        writeRequests(report);
        writeLog();
    }

  private:
    void name(char const* what, size_t thread, std::string const& text) {
        mWriter.write(
            {{"ph", "M"}, {"name", what}, {"pid", mProcess}, {"tid", thread}, {"args", {{"name", text}}}});
    }

    size_t track(std::string const& text) {
        ++mLast;
        name("thread_name", mLast, text);
        mWriter.write({{"ph", "M"},
                       {"name", "thread_sort_index"},
                       {"pid", mProcess},
                       {"tid", mLast},
                       {"args", {{"sort_index", mLast}}}});
        return mLast;
    }

    void slice(size_t thread, std::string const& text, int64_t fromNs, int64_t toNs, Json const& args) {
        mWriter.write({{"ph", "X"},
                       {"name", text},
                       {"pid", mProcess},
                       {"tid", thread},
                       {"ts", microseconds(fromNs)},
                       {"dur", microseconds(std::max<int64_t>(0, toNs - fromNs))},
                       {"args", args}});
    }

    struct Span {
        int64_t fromNs;
        int64_t toNs;
        size_t frame;
    };

    /// Slices that overlap go to tracks beside one another.
    void writeSpans(std::string const& text, std::vector<Span> spans) {
        std::sort(spans.begin(), spans.end(),
                  [](Span const& left, Span const& right) { return left.fromNs < right.fromNs; });
        Lanes<int64_t> lanes;
        std::vector<size_t> tracks;
        for (Span const& span : spans) {
            size_t const lane = lanes.take(span.fromNs, std::max(span.toNs, span.fromNs + 1));
            if (lane == tracks.size()) {
                tracks.push_back(track(lane == 0 ? text : fmt::format("{} {}", text, lane + 1)));
            }
            slice(tracks[lane], frameName(span.frame), span.fromNs, span.toNs, argsOf(span.frame));
        }
    }

    std::string frameName(size_t index) const { return fmt::format("F{}", mPlayed.session->frames[index].frameNo); }

    static std::string wordsOf(Verdict const& verdict) {
        if (verdict.isRefused) {
            return "refused: " + verdict.reason.words;
        }
        return verdict.isUnchecked ? "taken unchecked" : "fit to use";
    }

    Json argsOf(size_t index) const {
        Json args = Json::object();
        for (auto const& [requestNo, verdict] : mPlayed.result.frames[index].verdicts) {
            args[fmt::format("R{}", requestNo)] = wordsOf(verdict);
        }
        return args;
    }

    void writeFrames() {
        auto const& frames = mPlayed.session->frames;
        std::vector<Span> sensor;
        std::vector<Span> flight;
        std::vector<Span> history;
        int64_t period = 33000000;
        for (size_t index = 0; index < frames.size(); ++index) {
            bool const isLast = index + 1 == frames.size();
            period =
                isLast ? period : std::min<int64_t>(frames[index + 1].startNs - frames[index].startNs, 66000000);
            sensor.push_back({frames[index].startNs, frames[index].startNs + period, index});
            flight.push_back({frames[index].startNs, frames[index].resultNs, index});
            int64_t const leftNs = mPlayed.result.frames[index].leftNs;
            if (!frames[index].isLost) {
                history.push_back({frames[index].resultNs, leftNs < 0 ? mPlayed.result.endNs : leftNs, index});
            }
        }
        writeSpans("sensor", sensor);
        writeSpans("in flight", flight);
        writeSpans("history", history);
        for (size_t index = 0; index < frames.size(); ++index) {
            auto const& locks = mPlayed.result.frames[index].lockedNs;
            size_t const thread = locks.empty() ? 0 : track("lock " + frameName(index));
            for (auto const& [fromNs, toNs] : locks) {
                slice(thread, "locked", fromNs, toNs, Json::object());
            }
        }
    }

    void writeRequests(Report const& report) {
        for (size_t index = 0; index < mPlayed.result.outcomes.size(); ++index) {
            Outcome const& outcome = mPlayed.result.outcomes[index];
            if (!report.isShown(outcome)) {
                continue;
            }
            Request const& request = *outcome.request;
            std::string const text = fmt::format("R{}", request.requestNo);
            size_t const thread = track(text);
            char const* const state = outcome.state == RequestState::FromHistory ? "served" : nameOf(outcome.state);
            mWriter.write({{"ph", "i"},
                           {"s", "t"},
                           {"name", text + " shutter"},
                           {"pid", mProcess},
                           {"tid", thread},
                           {"ts", microseconds(request.shutterNs)}});
            slice(thread, text + " " + state, request.submitNs, request.submitNs + outcome.waitedNs,
                  {{"explanation", mPlayed.explanations[index].text()}});
        }
    }

    void writeLog() {
        size_t const thread = track("log");
        if (!mPlayed.log) {
            return;
        }
        mPlayed.log->forEach([&](LogLine const& line) {
            size_t const end = line.text.find(']');
            bool const hasName = line.text[0] == '[' && end != std::string::npos;
            char const level = NSCam::Utils::Log::priorityLetter(line.priority);
            mWriter.write({{"ph", "i"},
                           {"s", "t"},
                           {"name", hasName ? line.text.substr(1, end - 1) : "log"},
                           {"pid", mProcess},
                           {"tid", thread},
                           {"ts", microseconds(line.sessionNs)},
                           {"args", {{"level", std::string(1, level)}, {"text", line.text}}}});
        });
    }

    Writer& mWriter;
    PlayedSession const& mPlayed;
    size_t mProcess;
    size_t mLast = 0;
};

}  // namespace

void writeTrace(std::ostream& out, Report const& report) {
    Writer writer(out);
    for (size_t session = 0; session < report.played.size(); ++session) {
        Tracks(writer, report.played[session], session).write(report);
    }
    writer.end();
}

}  // namespace Replay
