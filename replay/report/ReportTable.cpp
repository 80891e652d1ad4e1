#include <algorithm>
#include <cstdio>

#include "Summary.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

std::string msText(std::optional<double> ms, char const* format) {
    if (!ms) {
        return "-";
    }
    char text[48];
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-nonliteral"
    std::snprintf(text, sizeof text, format, *ms);
#pragma GCC diagnostic pop
    return text;
}

std::string offsetText(std::optional<double> ms) { return msText(ms, "%+.1f"); }
std::string waitText(std::optional<double> ms) { return msText(ms, "%.1f"); }

std::string chosenText(Outcome const& outcome) {
    if (outcome.state == RequestState::Pending) {
        return nameOf(outcome.state);
    }
    std::string text;
    for (auto const& [index, frameNo] : outcome.chosen) {
        text += (text.empty() ? "" : " ") +
                (frameNo == kNoFrame ? nameOf(RequestState::NonZsl) : "F" + std::to_string(frameNo));
        text += outcome.hasTimedOut && frameNo != kNoFrame ? "*" : "";
    }
    return text;
}

std::string offsetsText(Outcome const& outcome) {
    std::string text;
    for (int64_t const offset : outcome.offsetsNs) {
        text += (text.empty() ? "" : " ") + offsetText(toMs(offset));
    }
    return text.empty() ? "-" : text;
}

/// The commonest reasons first: "56 x AF scanning, 2 x EV".
std::string refusalsText(Outcome const& outcome) {
    constexpr size_t kShown = 3;
    auto refusals = outcome.refusals;
    std::stable_sort(refusals.begin(), refusals.end(),
                     [](auto const& left, auto const& right) { return left.second > right.second; });
    std::string text;
    for (size_t index = 0; index < std::min(kShown, refusals.size()); ++index) {
        text += (text.empty() ? "" : ", ") + std::to_string(refusals[index].second) + " x " + refusals[index].first;
    }
    return text.empty() ? "-" : text + (refusals.size() > kShown ? ", ..." : "");
}

using Row = std::vector<std::string>;

Row rowOf(Outcome const& outcome, int64_t startNs) {
    Request const& request = *outcome.request;
    std::string name = "R" + std::to_string(request.requestNo);
    if (request.burstIdx >= 0) {
        name += " (" + std::to_string(request.burstIdx) + "/" + std::to_string(request.burstCnt) + ")";
    }
    return {name,
            waitText(toMs(request.shutterNs - startNs)),
            chosenText(outcome),
            offsetsText(outcome),
            waitText(toMs(outcome.waitedNs)),
            std::to_string(outcome.calls),
            std::to_string(outcome.locks),
            std::to_string(outcome.unlocks),
            refusalsText(outcome)};
}

void printRows(std::ostream& out, std::vector<Row> const& rows) {
    std::vector<size_t> widths;
    for (Row const& row : rows) {
        widths.resize(row.size());
        for (size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    for (Row const& row : rows) {
        for (size_t column = 0; column + 1 < row.size(); ++column) {
            out << row[column] << std::string(widths[column] - row[column].size() + 2, ' ');
        }
        out << row.back() << '\n';
    }
}

void printHead(std::ostream& out, Report const& report) {
    Settings const& settings = report.settings;
    out << "hint " << settings.hint << " (" << settings.strategy << "), policy " << settings.policy << ", time-out "
        << settings.timeoutMs << " ms, history " << report.historyDepth << " frames";
    if (report.resultAfterMs) {
        out << ", results after " << waitText(*report.resultAfterMs) << " ms";
    }
    out << "\nplug-in " << report.plugin << "\n\n";
}

/// What the marks and gaps of the table mean, as far as there are any.
void printNotes(std::ostream& out, Report const& report) {
    bool hasStar = false;
    for (auto const& [session, result, explanations] : report.played) {
        for (Outcome const& outcome : result.outcomes) {
            hasStar = hasStar || (report.isShown(outcome) && outcome.hasTimedOut &&
                                  outcome.state == RequestState::FromHistory);
        }
        if (!result.isExplained) {
            out << "note: " << session->name << ": the refusals are those of the first "
                << HostOptions{}.explainedCalls << " calls\n";
        }
    }
    if (hasStar) {
        out << "note: * after the time-out: the oldest frame of the history with the needed streams, sensor modes "
               "and EV, "
               "unchecked; which one that is depends on --history\n";
    }
    for (std::string const& note : report.notes) {
        out << "note: " << note << '\n';
    }
}

}  // namespace

void printTable(std::ostream& out, Report const& report) {
    printHead(out, report);
    for (auto const& [session, result, explanations] : report.played) {
        int64_t const startNs = startOf(*session);
        std::vector<Row> rows = {{"request", "shutter ms", "chosen", "offset ms", "waited ms", "calls", "locked",
                                  "unlocked", "refusals"}};
        for (Outcome const& outcome : result.outcomes) {
            if (report.isShown(outcome)) {
                rows.push_back(rowOf(outcome, startNs));
            }
        }
        if (rows.size() > 1) {
            out << session->name << '\n';
            printRows(out, rows);
            out << '\n';
        }
    }
    printNotes(out, report);
    Summary const summary = summarize(report);
    out << summary.requests.all() << " requests: " << summary.requests.fromHistory << " served from history, "
        << summary.requests.nonZsl << " non-ZSL, " << summary.requests.pending << " still pending; offset median "
        << offsetText(median(summary.offsetsMs)) << " ms, worst " << offsetText(worst(summary.offsetsMs))
        << " ms; wait median " << waitText(median(summary.waitsMs)) << " ms, worst "
        << waitText(worst(summary.waitsMs)) << " ms; " << summary.locks << " locks asked, " << summary.unlocks
        << " unlocks asked, " << summary.lockedAtEnd << " frames still locked\n";
}

}  // namespace Replay
