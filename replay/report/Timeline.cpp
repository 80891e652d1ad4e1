#include "Timeline.h"

#include <algorithm>
#include <cmath>
#include <sstream>

#include "Markup.h"
#include "replay/model/Units.h"

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

/// Gives out lanes in which spans do not overlap.
class Lanes {
  public:
    size_t take(double from, double to) {
        for (size_t lane = 0; lane < mEnds.size(); ++lane) {
            if (mEnds[lane] <= from) {
                mEnds[lane] = to;
                return lane;
            }
        }
        mEnds.push_back(to);
        return mEnds.size() - 1;
    }

    size_t size() const { return mEnds.size(); }

  private:
    std::vector<double> mEnds;
};

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
char letterOf(std::string const& reason) {
    static constexpr struct {
        char const* start;
        char letter;
    } kLetters[] = {{"AF", 'A'}, {"AE", 'E'},       {"soft", 'S'},    {"sensors", 'Y'},
                    {"EV", 'V'}, {"sensor m", 'M'}, {"streams", 'N'}, {"forced", 'P'}};
    for (auto const& entry : kLetters) {
        if (reason.compare(0, std::string(entry.start).size(), entry.start) == 0) {
            return entry.letter;
        }
    }
    return 'X';
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
        char const letter = letterOf(verdict.reason.name);
        if (verdict.isRefused && letters.find(letter) == std::string::npos) {
            letters += letter;
        }
    }
    return isUnchecked       ? Mark{"frame fit", "?"}
           : isFit           ? Mark{"frame fit", "ok"}
           : letters.empty() ? Mark{"frame plain", ""}
                             : Mark{"frame refused", letters.substr(0, 4)};
}

char const* kindOf(RequestState state) {
    switch (state) {
        case RequestState::Pending: return "request pending";
        case RequestState::FromHistory: return "request";
        case RequestState::NonZsl: return "request nonzsl";
    }
    return "";
}

class Drawing {
  public:
    Drawing(PlayedSession const& played, Report const& report, TimelineOptions const& options)
        : mSession(*played.session),
          mResult(played.result),
          mPlayed(played),
          mReport(report),
          mOptions(options),
          mStartNs(startOf(mSession)),
          mPixelsPerNs(kFrameWidth / usualPeriodNs(mSession)) {}

    Picture draw() {
        for (Outcome const& outcome : mResult.outcomes) {
            for (auto const& entry : outcome.chosen) {
                mTaken.insert(entry.second);
            }
        }
        drawFrames();
        double const inFlightTop = kFramesTop + kFrameHeight + 4;
        double const inFlight = drawInFlight(inFlightTop);
        double const locked = drawLocks(inFlightTop + inFlight + 2);
        mRequestsTop = inFlightTop + inFlight + locked + 14;
        drawRequests();
        drawAxis();
        std::ostringstream svg;
        svg << "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"timeline\" role=\"group\" width=\""
            << numberText(mWidth) << "\" height=\"" << numberText(mHeight) << "\" viewBox=\"0 0 "
            << numberText(mWidth) << ' ' << numberText(mHeight) << "\" aria-label=\"Timeline of "
            << escaped(mSession.name) << "\">\n"
            << mBack.str() << mFront.str() << "</svg>\n";
        return {svg.str(), mWidth, mHeight};
    }

  private:
    double x(int64_t ns) {
        double const place = kMargin + static_cast<double>(ns - mStartNs) * mPixelsPerNs;
        mWidth = std::max(mWidth, place + kMargin);
        return place;
    }

    static void rect(std::ostream& out, std::string const& kind, double left, double top, double width,
                     double height) {
        out << "<rect class=\"" << kind << "\" x=\"" << numberText(left) << "\" y=\"" << numberText(top)
            << "\" width=\"" << numberText(std::max(width, 1.0)) << "\" height=\"" << numberText(height) << "\"/>";
    }

    static void text(std::ostream& out, char const* kind, double left, double base, std::string const& words) {
        out << "<text class=\"" << kind << "\" x=\"" << numberText(left) << "\" y=\"" << numberText(base) << "\">"
            << escaped(words) << "</text>";
    }

    void open(std::string const& link) { mFront << (mOptions.hasLinks ? "<a href=\"#" + link + "\">" : "<g>"); }

    void close(std::string const& title) {
        mFront << "<title>" << escaped(title) << "</title>" << (mOptions.hasLinks ? "</a>\n" : "</g>\n");
    }

    void drawFrames() {
        for (size_t index = 0; index < mSession.frames.size(); ++index) {
            Frame const& frame = mSession.frames[index];
            FrameLife const& life = mResult.frames[index];
            double const left = x(frame.startNs);
            double right = left + kFrameWidth;
            if (index + 1 < mSession.frames.size()) {
                right = std::min(right, x(mSession.frames[index + 1].startNs));
            }
            open("f-" + std::to_string(mOptions.session) + "-" + std::to_string(frame.frameNo));
            Mark const mark = markOf(life);
            std::string const taken = mTaken.count(frame.frameNo) != 0 ? " taken" : "";
            rect(mFront, mark.kind + taken, left + 1, kFramesTop, right - left - 2, kFrameHeight);
            char const* const ink = mark.letters.empty() ? "off" : "on";
            text(mFront, ink, left + 4, kFramesTop + 13, std::to_string(frame.frameNo));
            text(mFront, ink, left + 4, kFramesTop + 26, mark.letters);
            close(frameText(mPlayed, index));
            mFrameX[frame.frameNo] = (left + right) / 2;
        }
    }

    double drawInFlight(double top) {
        Lanes lanes;
        for (Frame const& frame : mSession.frames) {
            double const left = x(frame.startNs);
            double const right = x(frame.resultNs);
            double const lane = static_cast<double>(lanes.take(left, right));
            rect(mBack, "flight", left, top + lane * kBarStep, right - left, kBarHeight);
        }
        mBack << '\n';
        return static_cast<double>(lanes.size()) * kBarStep;
    }

    double drawLocks(double top) {
        Lanes lanes;
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
        Lanes lanes;
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
        double const shutter = x(request.shutterNs);
        double const middle = top + kRequestHeight / 2;
        mBack << "<path class=\"shutter\" d=\"M" << numberText(shutter) << ' ' << numberText(kFramesTop - 4) << "V"
              << numberText(top + kRequestHeight) << "\"/>";
        open("r-" + std::to_string(mOptions.session) + "-" + std::to_string(index));
        rect(mFront, kindOf(outcome.state), left, top + 4, std::max(right - left, 4.0), kRequestHeight - 8);
        std::string label = "R" + std::to_string(request.requestNo);
        label += outcome.state == RequestState::FromHistory ? "" : std::string(" ") + nameOf(outcome.state);
        text(mFront, "name", right + 6, middle + 4, label);
        std::string const& closing = mPlayed.explanations[index].closing;
        close(closing.empty() ? label : closing);
        for (auto const& entry : outcome.chosen) {
            auto const frame = mFrameX.find(entry.second);
            if (entry.second != kNoFrame && frame != mFrameX.end()) {
                double const to = kFramesTop + kFrameHeight + 2;
                mBack << "<path class=\"arrow\" d=\"M" << numberText(right) << ' ' << numberText(top + 4) << "L"
                      << numberText(frame->second) << ' ' << numberText(to) << "m-3 6l3 -6l4 5\"/>";
            }
        }
        mBack << '\n';
    }

    void drawAxis() {
        double const pixelsPerMs = mPixelsPerNs * static_cast<double>(kNsPerMs);
        double step = 1;  // ms between two marks, at least some 90 pixels
        for (double const next : {5.0, 10.0, 50.0, 100.0, 500.0, 1000.0, 5000.0, 10000.0, 60000.0, 600000.0}) {
            step = step * pixelsPerMs < 90 ? next : step;
        }
        for (double ms = 0; kMargin + ms * pixelsPerMs < mWidth - kMargin; ms += step) {
            double const place = kMargin + ms * pixelsPerMs;
            mBack << "<path class=\"tick\" d=\"M" << numberText(place) << ' ' << numberText(kAxisTop + 4) << "v"
                  << numberText(mHeight - kAxisTop - 8) << "\"/>";
            text(mBack, "axis", place + 3, kAxisTop + 2, numberText(ms) + " ms");
        }
        mBack << '\n';
    }

    Session const& mSession;
    SessionResult const& mResult;
    PlayedSession const& mPlayed;
    Report const& mReport;
    TimelineOptions mOptions;
    int64_t mStartNs;
    double mPixelsPerNs;
    double mWidth = 240;
    double mHeight = 0;
    double mRequestsTop = 0;
    std::set<FrameNo> mTaken;
    std::map<FrameNo, double> mFrameX;
    std::ostringstream mBack;   // what others may cover
    std::ostringstream mFront;  // what is clicked
};

}  // namespace

Picture timelineSvg(PlayedSession const& played, Report const& report, TimelineOptions const& options) {
    return Drawing(played, report, options).draw();
}

std::string frameText(PlayedSession const& played, size_t index) {
    Frame const& frame = played.session->frames[index];
    FrameLife const& life = played.result.frames[index];
    auto const ms = [&](int64_t ns) { return numberText(toMs(ns - startOf(*played.session))); };
    std::string text = "F" + std::to_string(frame.frameNo) + ": exposed at " + ms(frame.startNs) +
                       (frame.isLost ? " ms, lost at " : " ms, in flight until ") + ms(frame.resultNs) + " ms";
    text += life.leftNs < 0 ? "" : ", left the history at " + ms(life.leftNs) + " ms";
    for (auto const& [requestNo, verdict] : life.verdicts) {
        text += "; R" + std::to_string(requestNo);
        text += verdict.isRefused     ? " refused it: " + verdict.reason.words
                : verdict.isUnchecked ? " took it after the time-out, unchecked"
                                      : " found it fit to use";
    }
    text += life.verdicts.empty() ? "; no request had it judged" : "";
    for (auto const& [from, to] : life.lockedNs) {
        text += "; locked from " + ms(from) + " to " + ms(to) + " ms";
    }
    for (Outcome const& outcome : played.result.outcomes) {
        for (auto const& entry : outcome.chosen) {
            text +=
                entry.second == frame.frameNo ? "; taken by R" + std::to_string(outcome.request->requestNo) : "";
        }
    }
    return text + ".";
}

void writeSvg(std::ostream& out, Report const& report) {
    // Each session's picture is an element of its own, below one another.
    std::ostringstream parts;
    double top = 0;
    double width = 0;
    for (PlayedSession const& played : report.played) {
        Picture const picture = timelineSvg(played, report, {0, false});
        parts << "<text class=\"name\" x=\"16\" y=\"" << numberText(top + 14) << "\">"
              << escaped(played.session->name) << "</text>\n<g transform=\"translate(0 " << numberText(top + 20)
              << ")\">\n"
              << picture.svg << "</g>\n";
        top += picture.height + 30;
        width = std::max(width, picture.width);
    }
    out << "<svg xmlns=\"http://www.w3.org/2000/svg\" class=\"timeline\" width=\"" << numberText(width)
        << "\" height=\"" << numberText(top) << "\">\n<style>" << timelineStyle() << "</style>\n"
        << "<rect width=\"100%\" height=\"100%\" style=\"fill: var(--back)\"/>\n"
        << parts.str() << "</svg>\n";
}

}  // namespace Replay
