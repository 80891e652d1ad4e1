#include <fmt/core.h>

#include <algorithm>

#include "Numbers.h"
#include "Summary.h"
#include "TextTable.h"
#include "replay/model/Printable.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

/// The texts with `between` between them; "-" without any.
std::string joined(std::vector<std::string> const& texts, char const* between) {
    std::string all;
    for (std::string const& text : texts) {
        all += (all.empty() ? "" : between) + text;
    }
    return all.empty() ? "-" : all;
}

std::string chosenText(Outcome const& outcome) {
    if (outcome.state == RequestState::Pending) {
        return nameOf(outcome.state);
    }
    std::vector<std::string> frames;
    for (auto const& entry : outcome.chosen) {
        frames.push_back(entry.second == kNoFrame
                             ? nameOf(RequestState::NonZsl)
                             : fmt::format("F{}{}", entry.second, outcome.hasTimedOut ? "*" : ""));
    }
    return joined(frames, " ");
}

std::string offsetsText(Outcome const& outcome) {
    std::vector<std::string> offsets;
    for (int64_t const offset : outcome.offsetsNs) {
        offsets.push_back(signedText(toMs(offset)));
    }
    return joined(offsets, " ");
}

/// The commonest reasons first: "56 x AF scanning, 2 x EV".
std::string reasonsText(Outcome const& outcome) {
    constexpr size_t kShown = 3;
    auto reasons = outcome.refusals;
    std::stable_sort(reasons.begin(), reasons.end(),
                     [](auto const& left, auto const& right) { return left.second > right.second; });
    std::vector<std::string> texts;
    for (size_t index = 0; index < std::min(kShown, reasons.size()); ++index) {
        texts.push_back(fmt::format("{} x {}", reasons[index].second, reasons[index].first));
    }
    return joined(texts, ", ") + (reasons.size() > kShown ? ", ..." : "");
}

std::vector<std::string> rowOf(Outcome const& outcome, int64_t startNs) {
    Request const& request = *outcome.request;
    bool const isBurst = request.burstIdx >= 0;
    return {fmt::format("R{}", request.requestNo) +
                (isBurst ? fmt::format(" ({}/{})", request.burstIdx, request.burstCnt) : ""),
            fixedText(toMs(request.shutterNs - startNs)),
            chosenText(outcome),
            offsetsText(outcome),
            fixedText(toMs(outcome.waitedNs)),
            std::to_string(outcome.calls),
            std::to_string(outcome.locks),
            std::to_string(outcome.unlocks),
            reasonsText(outcome)};
}

void printSession(std::ostream& out, Report const& report, PlayedSession const& played) {
    TextTable table;
    for (char const* const heading : {"request", "shutter ms", "chosen", "offset ms", "waited ms", "calls",
                                      "locked", "unlocked", "why it waited"}) {
        table.addColumn(heading);
    }
    int64_t const startNs = startOf(*played.session);
    for (Outcome const& outcome : played.result.outcomes) {
        if (report.isShown(outcome)) {
            table.addRow(rowOf(outcome, startNs));
        }
    }
    if (table.hasRows()) {
        out << printable(played.session->name) << '\n';
        table.print(out);
        out << '\n';
    }
}

void printHead(std::ostream& out, Report const& report) {
    Settings const& settings = report.settings;
    out << fmt::format("hint {} ({}), policy {}, time-out {} ms, history {} frames", settings.hint,
                       settings.strategy, settings.policy, settings.timeoutMs, report.historyDepth);
    if (report.resultAfterMs) {
        out << fmt::format(", results after {} ms", fixedText(report.resultAfterMs));
    }
    out << fmt::format("\nplug-in {}\n\n", printable(report.plugin));
}

/// What the marks and gaps of the table mean, as far as there are any.
void printNotes(std::ostream& out, Report const& report) {
    bool hasStar = false;
    for (PlayedSession const& played : report.played) {
        for (Outcome const& outcome : played.result.outcomes) {
            hasStar = hasStar || (report.isShown(outcome) && outcome.hasTimedOut &&
                                  outcome.state == RequestState::FromHistory);
        }
        if (!played.result.isExplained) {
            out << fmt::format("note: {}: the reasons are those of the first {} calls\n",
                               printable(played.session->name), HostOptions{}.explainedCalls);
        }
    }
    if (hasStar) {
        out << "note: * after the time-out: the oldest frame of the history with the needed streams, sensor modes "
               "and EV, unchecked; which one that is depends on --history\n";
    }
    for (std::string const& note : report.notes) {
        out << "note: " << printable(note) << '\n';
    }
}

}  // namespace

void printTable(std::ostream& out, Report const& report) {
    printHead(out, report);
    for (PlayedSession const& played : report.played) {
        printSession(out, report, played);
    }
    printNotes(out, report);
    Summary const summary = summarize(report);
    out << fmt::format(
        "{} requests: {} served from history, {} non-ZSL, {} still pending; offset median {} ms, worst {} ms; wait "
        "median {} ms, worst {} ms; {} locks asked, {} unlocks asked, {} frames still locked\n",
        summary.requests.all(), summary.requests.fromHistory, summary.requests.nonZsl, summary.requests.pending,
        signedText(median(summary.offsetsMs)), signedText(worst(summary.offsetsMs)),
        fixedText(median(summary.waitsMs)), fixedText(worst(summary.waitsMs)), summary.locks, summary.unlocks,
        summary.lockedAtEnd);
}

}  // namespace Replay
