#include "Report.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>
#include <optional>

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

struct Summary {
    size_t requests = 0;
    size_t fromHistory = 0;
    size_t nonZsl = 0;
    size_t pending = 0;
    size_t locks = 0;
    size_t unlocks = 0;
    size_t lockedAtEnd = 0;
    std::vector<double> offsetsMs;
    std::vector<double> waitsMs;  // of answered requests
};

Summary summarize(std::vector<PlayedSession> const& played) {
    Summary summary;
    for (auto const& [session, result] : played) {
        for (Outcome const& outcome : result.outcomes) {
            ++summary.requests;
            ++(!outcome.isAnswered ? summary.pending : outcome.isNonZsl() ? summary.nonZsl : summary.fromHistory);
            summary.locks += outcome.locks;
            summary.unlocks += outcome.unlocks;
            for (int64_t const offset : outcome.offsetsNs) {
                summary.offsetsMs.push_back(static_cast<double>(offset) / kNsPerMs);
            }
            if (outcome.isAnswered) {
                summary.waitsMs.push_back(static_cast<double>(outcome.waitedNs) / kNsPerMs);
            }
        }
        summary.lockedAtEnd += result.lockedAtEnd;
    }
    return summary;
}

std::optional<double> median(std::vector<double> values) {
    if (values.empty()) {
        return std::nullopt;
    }
    std::sort(values.begin(), values.end());
    size_t const middle = values.size() / 2;
    return values.size() % 2 == 1 ? values[middle] : (values[middle - 1] + values[middle]) / 2;
}

/// The value furthest from zero.
std::optional<double> worst(std::vector<double> const& values) {
    auto const furthest = std::max_element(
        values.begin(), values.end(), [](double left, double right) { return std::abs(left) < std::abs(right); });
    return furthest == values.end() ? std::nullopt : std::optional<double>(*furthest);
}

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

int64_t startOf(Session const& session) {
    int64_t start = session.frames.empty() ? 0 : session.frames.front().startNs;
    for (Request const& request : session.requests) {
        start = std::min(start, request.shutterNs);
    }
    return start;
}

std::string chosenText(Outcome const& outcome) {
    if (!outcome.isAnswered) {
        return "pending";
    }
    std::string text;
    for (auto const& [index, frameNo] : outcome.chosen) {
        text += (text.empty() ? "" : " ") + (frameNo == kNoFrame ? "non-ZSL" : "F" + std::to_string(frameNo));
    }
    return text;
}

std::string offsetsText(Outcome const& outcome) {
    std::string text;
    for (int64_t const offset : outcome.offsetsNs) {
        text += (text.empty() ? "" : " ") + offsetText(static_cast<double>(offset) / kNsPerMs);
    }
    return text.empty() ? "-" : text;
}

using Row = std::vector<std::string>;

Row rowOf(Outcome const& outcome, int64_t startNs) {
    Request const& request = *outcome.request;
    std::string name = "R" + std::to_string(request.requestNo);
    if (request.burstIdx >= 0) {
        name += " (" + std::to_string(request.burstIdx) + "/" + std::to_string(request.burstCnt) + ")";
    }
    return {name,
            waitText(static_cast<double>(request.shutterNs - startNs) / kNsPerMs),
            chosenText(outcome),
            offsetsText(outcome),
            waitText(static_cast<double>(outcome.waitedNs) / kNsPerMs),
            std::to_string(outcome.calls),
            std::to_string(outcome.locks),
            std::to_string(outcome.unlocks),
            outcome.lastRefusal.empty() ? "-" : outcome.lastRefusal};
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

nlohmann::json toJson(std::optional<double> value) { return value ? nlohmann::json(*value) : nlohmann::json(); }

nlohmann::json toJson(Outcome const& outcome) {
    nlohmann::json chosen = nlohmann::json::object();
    for (auto const& [index, frameNo] : outcome.chosen) {
        chosen[std::to_string(index)] = frameNo == kNoFrame ? nlohmann::json() : nlohmann::json(frameNo);
    }
    std::vector<double> offsetsMs;
    for (int64_t const offset : outcome.offsetsNs) {
        offsetsMs.push_back(static_cast<double>(offset) / kNsPerMs);
    }
    Request const& request = *outcome.request;
    nlohmann::json result = {
        {"requestNo", request.requestNo},
        {"shutterNs", request.shutterNs},
        {"state", !outcome.isAnswered  ? "pending"
                  : outcome.isNonZsl() ? "non-ZSL"
                                       : "history"},
        {"chosen", chosen},
        {"offsetsMs", offsetsMs},
        {"waitedMs", static_cast<double>(outcome.waitedNs) / kNsPerMs},
        {"calls", outcome.calls},
        {"locks", outcome.locks},
        {"unlocks", outcome.unlocks},
        {"lastRefusal", outcome.lastRefusal.empty() ? nlohmann::json() : nlohmann::json(outcome.lastRefusal)}};
    if (request.burstIdx >= 0) {
        result["burst"] = {{"index", request.burstIdx}, {"count", request.burstCnt}};
    }
    return result;
}

}  // namespace

void printTable(std::ostream& out, Recording const& recording, std::vector<PlayedSession> const& played) {
    for (auto const& [session, result] : played) {
        out << session->name << '\n';
        std::vector<Row> rows = {{"request", "shutter ms", "chosen", "offset ms", "waited ms", "calls", "locked",
                                  "unlocked", "last refusal"}};
        for (Outcome const& outcome : result.outcomes) {
            rows.push_back(rowOf(outcome, startOf(*session)));
        }
        printRows(out, rows);
        out << '\n';
    }
    for (std::string const& note : recording.notes) {
        out << "note: " << note << '\n';
    }
    Summary const summary = summarize(played);
    out << summary.requests << " requests: " << summary.fromHistory << " served from history, " << summary.nonZsl
        << " non-ZSL, " << summary.pending << " still pending; offset median "
        << offsetText(median(summary.offsetsMs)) << " ms, worst " << offsetText(worst(summary.offsetsMs))
        << " ms; wait median " << waitText(median(summary.waitsMs)) << " ms, worst "
        << waitText(worst(summary.waitsMs)) << " ms; " << summary.locks << " locks asked, " << summary.unlocks
        << " unlocks asked, " << summary.lockedAtEnd << " frames still locked\n";
}

void printJson(std::ostream& out, Recording const& recording, std::vector<PlayedSession> const& played) {
    nlohmann::json sessions = nlohmann::json::array();
    for (auto const& [session, result] : played) {
        nlohmann::json requests = nlohmann::json::array();
        for (Outcome const& outcome : result.outcomes) {
            requests.push_back(toJson(outcome));
        }
        sessions.push_back({{"name", session->name},
                            {"startNs", startOf(*session)},
                            {"requests", requests},
                            {"lockedAtEnd", result.lockedAtEnd}});
    }
    Summary const summary = summarize(played);
    nlohmann::json const document = {{"sessions", sessions},
                                     {"notes", recording.notes},
                                     {"summary",
                                      {{"requests", summary.requests},
                                       {"servedFromHistory", summary.fromHistory},
                                       {"nonZsl", summary.nonZsl},
                                       {"stillPending", summary.pending},
                                       {"medianOffsetMs", toJson(median(summary.offsetsMs))},
                                       {"worstOffsetMs", toJson(worst(summary.offsetsMs))},
                                       {"medianWaitMs", toJson(median(summary.waitsMs))},
                                       {"worstWaitMs", toJson(worst(summary.waitsMs))},
                                       {"locks", summary.locks},
                                       {"unlocks", summary.unlocks},
                                       {"lockedAtEnd", summary.lockedAtEnd}}}};
    out << document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

}  // namespace Replay
