// What a replay found, for people and for programs.
#pragma once

#include <ostream>
#include <set>

#include "replay/model/Settings.h"
#include "replay/run/Runner.h"

namespace Replay {

/// What is reported, and what was in force.
struct Report {
    Settings settings;
    std::string plugin;
    size_t historyDepth = 0;              ///< of several sessions, the greatest
    std::optional<double> resultAfterMs;  ///< of a dump, whose results have no times of their own
    std::vector<PlayedSession> played;
    std::vector<std::string> notes;
    std::set<RequestNo> requests;  ///< only these are shown; empty: all
    size_t failed = 0;             ///< sessions that the plug-in did not survive

    bool isShown(Outcome const& outcome) const {
        return requests.empty() || requests.count(outcome.request->requestNo) != 0;
    }
};

/// A table a session, a row a request; then notes and a summary line over all sessions.
void printTable(std::ostream& out, Report const& report);

/// The same as one JSON object, see docs/replay.md.
void printJson(std::ostream& out, Report const& report);

}  // namespace Replay
