#include <nlohmann/json.hpp>

#include "Summary.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

using NSCam::ZslPolicy::kNoFrame;

nlohmann::json toJson(std::optional<double> value) { return value ? nlohmann::json(*value) : nlohmann::json(); }

nlohmann::json toJson(Outcome const& outcome) {
    nlohmann::json chosen = nlohmann::json::object();
    for (auto const& [index, frameNo] : outcome.chosen) {
        chosen[std::to_string(index)] = frameNo == kNoFrame ? nlohmann::json() : nlohmann::json(frameNo);
    }
    std::vector<double> offsetsMs;
    for (int64_t const offset : outcome.offsetsNs) {
        offsetsMs.push_back(toMs(offset));
    }
    nlohmann::json refusals = nlohmann::json::array();
    for (auto const& [reason, calls] : outcome.refusals) {
        refusals.push_back({{"reason", reason}, {"calls", calls}});
    }
    Request const& request = *outcome.request;
    nlohmann::json result = {{"requestNo", request.requestNo},
                             {"shutterNs", request.shutterNs},
                             {"state", nameOf(outcome.state)},
                             {"chosen", chosen},
                             {"offsetsMs", offsetsMs},
                             {"waitedMs", toMs(outcome.waitedNs)},
                             {"calls", outcome.calls},
                             {"locks", outcome.locks},
                             {"unlocks", outcome.unlocks},
                             {"timedOut", outcome.hasTimedOut},
                             {"refusals", refusals}};
    if (request.burstIdx >= 0) {
        result["burst"] = {{"index", request.burstIdx}, {"count", request.burstCnt}};
    }
    return result;
}

nlohmann::json toJson(Report const& report, Summary const& summary) {
    Settings const& settings = report.settings;
    return {{"settings",
             {{"hint", settings.hint},
              {"strategy", settings.strategy},
              {"policy", settings.policy},
              {"timeoutMs", settings.timeoutMs},
              {"historyFrames", report.historyDepth},
              {"resultAfterMs", toJson(report.resultAfterMs)},
              {"plugin", report.plugin}}},
            {"notes", report.notes},
            {"summary",
             {{"requests", summary.requests.all()},
              {"servedFromHistory", summary.requests.fromHistory},
              {"nonZsl", summary.requests.nonZsl},
              {"stillPending", summary.requests.pending},
              {"medianOffsetMs", toJson(median(summary.offsetsMs))},
              {"worstOffsetMs", toJson(worst(summary.offsetsMs))},
              {"medianWaitMs", toJson(median(summary.waitsMs))},
              {"worstWaitMs", toJson(worst(summary.waitsMs))},
              {"locks", summary.locks},
              {"unlocks", summary.unlocks},
              {"lockedAtEnd", summary.lockedAtEnd},
              {"failedSessions", report.failed}}}};
}

}  // namespace

void printJson(std::ostream& out, Report const& report) {
    nlohmann::json sessions = nlohmann::json::array();
    for (PlayedSession const& played : report.played) {
        nlohmann::json requests = nlohmann::json::array();
        for (Outcome const& outcome : played.result.outcomes) {
            if (report.isShown(outcome)) {
                requests.push_back(toJson(outcome));
            }
        }
        sessions.push_back({{"name", played.session->name},
                            {"startNs", startOf(*played.session)},
                            {"requests", requests},
                            {"refusalsComplete", played.result.isExplained},
                            {"lockedAtEnd", played.result.lockedAtEnd}});
    }
    nlohmann::json document = toJson(report, summarize(report));
    document["sessions"] = sessions;
    out << document.dump(2, ' ', false, nlohmann::json::error_handler_t::replace) << '\n';
}

}  // namespace Replay
