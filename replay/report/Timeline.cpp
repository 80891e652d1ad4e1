#include "Timeline.h"

#include <fmt/core.h>

#include <algorithm>
#include <sstream>

#include "FrameTexts.h"
#include "Lanes.h"
#include "Markup.h"
#include "Numbers.h"
#include "TimeAxis.h"

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

// All in pixels.
constexpr double kFrameWidth = 36;  // of a frame at the session's usual rate: room for its number
constexpr double kMargin = 16;
constexpr double kAxisTop = 12;
constexpr double kFramesTop = 30;
constexpr double kFrameHeight = 32;
constexpr double kBarHeight = 6;
constexpr double kBarStep = 8;
constexpr double kRequestHeight = 18;
constexpr double kRequestStep = 24;
constexpr double kLabelWidth = 110;  // a request's name beside its bar

/// The median time from one frame to the next.
double usualPeriodNs(Session const& session) {
    std::vector<int64_t> periods;
    for (size_t index = 1; index < session.frames.size(); ++index) {
        periods.push_back(session.frames[index].startNs - session.frames[index - 1].startNs);
    }
    if (periods.empty()) {
        return 33e6;
    }
    std::nth_element(periods.begin(), periods.begin() + static_cast<ptrdiff_t>(periods.size() / 2), periods.end());
    return std::max<double>(1, static_cast<double>(periods[periods.size() / 2]));
}

/// A letter for a refusal, so that it is not told by colour alone.
char letterOf(ReasonKind reason) {
    switch (reason) {
        case ReasonKind::Focus: return 'A';
        case ReasonKind::Exposure: return 'E';
        case ReasonKind::SoftExposure: return 'S';
        case ReasonKind::FrameSync: return 'Y';
        case ReasonKind::Ev: return 'V';
        case ReasonKind::SensorMode: return 'M';
        case ReasonKind::Streams: return 'N';
        case ReasonKind::ForcedPending: return 'P';
        default: return 'X';
    }
}

/// How a frame fared with all requests together, in a few letters.
struct Mark {
    char const* kind;
    std::string letters;
};

Mark markOf(FrameLife const& life) {
    bool isFit = false;
    bool isUnchecked = false;
    std::string letters;
    for (auto const& entry : life.verdicts) {
        Verdict const& verdict = entry.second;
        isFit = isFit || !verdict.isRefused;
        isUnchecked = isUnchecked || verdict.isUnchecked;
        char const letter = letterOf(verdict.reason.kind);
        if (verdict.isRefused && letters.find(letter) == std::string::npos) {
            letters += letter;
        }
    }
    if (isUnchecked) {
        return {"frame fit", "?"};
    }
    if (isFit) {
        return {"frame fit", "ok"};
    }
    return letters.empty() ? Mark{"frame plain", ""} : Mark{"frame refused", letters.substr(0, 4)};
}

char const* kindOf(RequestState state) {
    switch (state) {
        case RequestState::Pending: return "request pending";
        case RequestState::FromHistory: return "request";
        case RequestState::NonZsl: return "request nonzsl";
    }
    return "";
}

/// All times that a picture of the session shows.
std::vector<int64_t> momentsOf(PlayedSession const& played, Report const& report) {
    std::vector<int64_t> moments;
    for (Frame const& frame : played.session->frames) {
        moments.insert(moments.end(), {frame.startNs, frame.resultNs});
    }
    for (FrameLife const& life : played.result.frames) {
        for (auto const& [from, to] : life.lockedNs) {
            moments.insert(moments.end(), {from, to});
        }
    }
    for (Outcome const& outcome : played.result.outcomes) {
        if (report.isShown(outcome)) {
            Request const& request = *outcome.request;
            moments.insert(moments.end(),
                           {request.shutterNs, request.submitNs, request.submitNs + outcome.waitedNs});
        }
    }
    return moments;
}

class Drawing {
  public:
    Drawing(PlayedSession const& played, Report const& report, TimelineOptions const& options)
        : mSession(*played.session),
          mResult(played.result),
          mPlayed(played),
          mReport(report),
          mOptions(options),
          mTexts(played),
          mAxis(momentsOf(played, report), startOf(mSession), kFrameWidth / usualPeriodNs(mSession)) {}

    Picture draw() {
        drawFrames();
        double const inFlightTop = kFramesTop + kFrameHeight + 4;
        double const inFlight = drawInFlight(inFlightTop);
        double const locked = drawLocks(inFlightTop + inFlight + 2);
        mRequestsTop = inFlightTop + inFlight + locked + 14;
        drawRequests();
        drawAxis();
        std::string const start = fmt::format(
            "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"timeline\" role=\"group\" width=\"{0}\" "
            "height=\"{1}\" viewBox=\"0 0 {0} {1}\" aria-label=\"Timeline of {2}\">\n",
            shortText(mWidth), shortText(mHeight), escaped(mSession.name));
        return {{start, std::move(mBack), std::move(mFront), "</svg>\n"}, mWidth, mHeight};
    }

  private:
    double x(int64_t ns) {
        double const place = kMargin + mAxis.place(ns);
        mWidth = std::max(mWidth, place + kMargin);
        return place;
    }

    static void rect(std::string& out, std::string const& kind, double left, double top, double width,
                     double height) {
        out += fmt::format("<rect class=\"{}\" x=\"{}\" y=\"{}\" width=\"{}\" height=\"{}\"/>", kind,
                           shortText(left), shortText(top), shortText(std::max(width, 1.0)), shortText(height));
    }

    static void text(std::string& out, char const* kind, double left, double base, std::string const& words) {
        out += fmt::format("<text class=\"{}\" x=\"{}\" y=\"{}\">{}</text>", kind, shortText(left), shortText(base),
                           escaped(words));
    }

    void open(std::string const& link) {
        mFront += mOptions.hasLinks ? fmt::format("<a href=\"#{}\">", link) : "<g>";
    }

    void close(std::string const& title) {
        mFront += fmt::format("<title>{}</title>{}\n", escaped(title), mOptions.hasLinks ? "</a>" : "</g>");
    }

    void drawFrames() {
        for (size_t index = 0; index < mSession.frames.size(); ++index) {
            Frame const& frame = mSession.frames[index];
            double const left = x(frame.startNs);
            double right = left + kFrameWidth;
            if (index + 1 < mSession.frames.size()) {
                right = std::min(right, x(mSession.frames[index + 1].startNs));
            }
            open(fmt::format("f-{}-{}", mOptions.session, frame.frameNo));
            Mark const mark = markOf(mResult.frames[index]);
            rect(mFront, std::string(mark.kind) + (mTexts.isTaken(frame.frameNo) ? " taken" : ""), left + 1,
                 kFramesTop, right - left - 2, kFrameHeight);
            char const* const ink = mark.letters.empty() ? "off" : "on";
            text(mFront, ink, left + 4, kFramesTop + 13, std::to_string(frame.frameNo));
            text(mFront, ink, left + 4, kFramesTop + 26, mark.letters);
            close(mTexts[index]);
            mFrameX[frame.frameNo] = (left + right) / 2;
        }
    }

    double drawInFlight(double top) {
        Lanes<double> lanes;
        for (Frame const& frame : mSession.frames) {
            double const left = x(frame.startNs);
            double const right = x(frame.resultNs);
            double const lane = static_cast<double>(lanes.take(left, right));
            rect(mBack, "flight", left, top + lane * kBarStep, right - left, kBarHeight);
        }
        mBack += '\n';
        return static_cast<double>(lanes.size()) * kBarStep;
    }

    double drawLocks(double top) {
        Lanes<double> lanes;
        std::vector<std::pair<int64_t, int64_t>> spans;
        for (FrameLife const& life : mResult.frames) {
            spans.insert(spans.end(), life.lockedNs.begin(), life.lockedNs.end());
        }
        std::sort(spans.begin(), spans.end());
        for (auto const& [from, to] : spans) {
            double const lane = static_cast<double>(lanes.take(x(from), x(to)));
            rect(mBack, "lock", x(from), top + lane * kBarStep, x(to) - x(from), kBarHeight);
        }
        return static_cast<double>(lanes.size()) * kBarStep;
    }

    void drawRequests() {
        Lanes<double> lanes;
        mHeight = mRequestsTop + kRequestStep;
        for (size_t index = 0; index < mResult.outcomes.size(); ++index) {
            Outcome const& outcome = mResult.outcomes[index];
            if (!mReport.isShown(outcome)) {
                continue;
            }
            Request const& request = *outcome.request;
            double const left = x(std::min(request.shutterNs, request.submitNs));
            double const right = x(request.submitNs + outcome.waitedNs);
            double const lane = static_cast<double>(lanes.take(left, right + kLabelWidth));
            double const top = mRequestsTop + lane * kRequestStep;
            mWidth = std::max(mWidth, right + kLabelWidth + kMargin);
            mHeight = std::max(mHeight, top + kRequestStep + 8);
            drawRequest(outcome, index, left, right, top);
        }
    }

    void drawRequest(Outcome const& outcome, size_t index, double left, double right, double top) {
        Request const& request = *outcome.request;
        double const middle = top + kRequestHeight / 2;
        mBack += fmt::format("<path class=\"shutter\" d=\"M{} {}V{}\"/>", shortText(x(request.shutterNs)),
                             shortText(kFramesTop - 4), shortText(top + kRequestHeight));
        open(fmt::format("r-{}-{}", mOptions.session, index));
        rect(mFront, kindOf(outcome.state), left, top + 4, std::max(right - left, 4.0), kRequestHeight - 8);
        std::string const label =
            fmt::format("R{}{}", request.requestNo,
                        outcome.state == RequestState::FromHistory ? "" : std::string(" ") + nameOf(outcome.state));
        text(mFront, "name", right + 6, middle + 4, label);
        std::string const& closing = mPlayed.explanations[index].closing;
        close(closing.empty() ? label : closing);
        for (auto const& entry : outcome.chosen) {
            auto const frame = mFrameX.find(entry.second);
            if (entry.second != kNoFrame && frame != mFrameX.end()) {
                mBack += fmt::format("<path class=\"arrow\" d=\"M{} {}L{} {}m-3 6l3 -6l4 5\"/>", shortText(right),
                                     shortText(top + 4), shortText(frame->second),
                                     shortText(kFramesTop + kFrameHeight + 2));
            }
        }
        mBack += '\n';
    }

    void drawAxis() {
        for (auto const& [place, label] : mAxis.ticks(mWidth - 2 * kMargin)) {
            double const left = kMargin + place;
            mBack += fmt::format("<path class=\"tick\" d=\"M{} {}v{}\"/>", shortText(left), shortText(kAxisTop + 4),
                                 shortText(mHeight - kAxisTop - 8));
            text(mBack, "axis", left + 3, kAxisTop + 2, label);
        }
        for (auto const& [place, length] : mAxis.cuts()) {
            double const left = kMargin + place + kFrameWidth + 4;  // right of the frame before it
            double const height = (mHeight - kAxisTop - 8) / 2;
            for (double const line : {left + 20, left + 28}) {
                mBack += fmt::format("<path class=\"cut\" d=\"M{} {}v{}l-6 4l12 6l-6 4v{}\"/>", shortText(line),
                                     shortText(kAxisTop + 4), shortText(height - 7), shortText(height - 7));
            }
            text(mBack, "axis", left, kAxisTop + 2, length);
        }
        mBack += '\n';
    }

    Session const& mSession;
    SessionResult const& mResult;
    PlayedSession const& mPlayed;
    Report const& mReport;
    TimelineOptions mOptions;
    FrameTexts mTexts;
    TimeAxis mAxis;
    double mWidth = 240;
    double mHeight = 0;
    double mRequestsTop = 0;
    std::map<FrameNo, double> mFrameX;
    std::string mBack;   // what others may cover
    std::string mFront;  // what is clicked
};

}  // namespace

Picture timelineSvg(PlayedSession const& played, Report const& report, TimelineOptions const& options) {
    return Drawing(played, report, options).draw();
}

std::ostream& operator<<(std::ostream& out, Picture const& picture) {
    for (std::string const& part : picture.parts) {
        out << part;
    }
    return out;
}

void writeSvg(std::ostream& out, Report const& report) {
    // Each session's picture is an element of its own, below one another.
    std::vector<Picture> pictures;
    double height = 0;
    double width = 0;
    for (PlayedSession const& played : report.played) {
        pictures.push_back(timelineSvg(played, report, {0, false}));
        height += pictures.back().height + 30;
        width = std::max(width, pictures.back().width);
    }
    out << fmt::format(
        "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"timeline\" width=\"{}\" "
        "height=\"{}\">\n<style>{}</style>\n"
        "<rect width=\"100%\" height=\"100%\" style=\"fill: var(--back)\"/>\n",
        shortText(width), shortText(height), timelineStyle());
    double top = 0;
    for (size_t session = 0; session < pictures.size(); ++session) {
        out << fmt::format("<text class=\"name\" x=\"16\" y=\"{}\">{}</text>\n<g transform=\"translate(0 {})\">\n",
                           shortText(top + 14), escaped(report.played[session].session->name), shortText(top + 20))
            << pictures[session] << "</g>\n";
        top += pictures[session].height + 30;
    }
    out << "</svg>\n";
}

}  // namespace Replay
