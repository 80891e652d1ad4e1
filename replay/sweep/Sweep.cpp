#include "Sweep.h"

#include <fmt/core.h>

#include <algorithm>
#include <iterator>

#include "replay/report/Numbers.h"
#include "replay/report/TextTable.h"

namespace Replay {

namespace {

enum class Best { None, Least, Most };

struct Column {
    char const* name;
    char const* heading;
    Best best;
    int decimals;
    std::optional<double> (*value)(Tally const& tally);
};

template <size_t StateCounts::*count>
std::optional<double> countOf(Tally const& tally) {
    return static_cast<double>(tally.requests.*count);
}

std::optional<double> countAll(Tally const& tally) { return static_cast<double>(tally.requests.all()); }

template <Distribution Tally::*values, int percent>
std::optional<double> quantileOf(Tally const& tally) {
    return (tally.*values).quantile(percent / 100.0);
}

template <Share Tally::*share>
std::optional<double> percentOf(Tally const& tally) {
    return (tally.*share).percent();
}

constexpr Column kColumns[] = {
    {"requests", "requests", Best::None, 0, countAll},
    {"servedFromHistory", "history", Best::Most, 0, countOf<&StateCounts::fromHistory>},
    {"nonZsl", "non-ZSL", Best::Least, 0, countOf<&StateCounts::nonZsl>},
    {"stillPending", "pending", Best::Least, 0, countOf<&StateCounts::pending>},
    {"medianDistanceMs", "distance 50 %", Best::Least, 1, quantileOf<&Tally::distances, 50>},
    {"p95DistanceMs", "95 %", Best::Least, 1, quantileOf<&Tally::distances, 95>},
    {"worstDistanceMs", "worst", Best::Least, 1, quantileOf<&Tally::distances, 100>},
    {"medianWaitMs", "wait 50 %", Best::Least, 1, quantileOf<&Tally::waits, 50>},
    {"p95WaitMs", "95 %", Best::Least, 1, quantileOf<&Tally::waits, 95>},
    {"worstWaitMs", "worst", Best::Least, 1, quantileOf<&Tally::waits, 100>},
    {"focusAtRestPercent", "focus %", Best::Most, 1, percentOf<&Tally::focus>},
    {"exposureAtRestPercent", "exposure %", Best::Most, 1, percentOf<&Tally::exposure>},
    {"softExposureAtRestPercent", "soft exp. %", Best::Most, 1, percentOf<&Tally::softExposure>}};

/// The best value of a column that not all rows share.
std::optional<double> bestOf(Best best, std::vector<std::optional<double>> const& values) {
    std::optional<double> least;
    std::optional<double> most;
    for (auto const& value : values) {
        least = value && (!least || *value < *least) ? value : least;
        most = value && (!most || *value > *most) ? value : most;
    }
    if (best == Best::None || least == most) {
        return std::nullopt;
    }
    return best == Best::Least ? least : most;
}

}  // namespace

std::vector<std::pair<std::string, std::optional<double>>> columnsOf(Tally const& tally) {
    std::vector<std::pair<std::string, std::optional<double>>> columns;
    for (Column const& column : kColumns) {
        columns.emplace_back(column.name, column.value(tally));
    }
    return columns;
}

void printSweepTable(std::ostream& out, std::vector<Combination> const& combinations,
                     std::vector<Tally> const& tallies) {
    TextTable table;
    std::vector<std::vector<std::string>> rows;
    for (char const* const heading : {"hint", "policy", "time-out ms"}) {
        table.addColumn(heading);
    }
    std::transform(combinations.begin(), combinations.end(), std::back_inserter(rows), [](Combination const& from) {
        return std::vector<std::string>{from.hint, from.policy, from.timeoutMs};
    });
    for (Column const& column : kColumns) {
        table.addColumn(column.heading, TextTable::Align::Right);
        std::vector<std::optional<double>> values;
        std::transform(tallies.begin(), tallies.end(), std::back_inserter(values), column.value);
        auto const best = bestOf(column.best, values);
        for (size_t row = 0; row < values.size(); ++row) {
            rows[row].push_back(fixedText(values[row], column.decimals) +
                                (best && values[row] == best ? "*" : " "));
        }
    }
    for (auto& row : rows) {
        table.addRow(std::move(row));
    }
    table.print(out);
    out << "times in ms; distance: of the chosen frames from the shutter; %: of the chosen frames that carry the "
           "tag, "
           "the share that is stable; * the best\n";
}

void printSweepCsv(std::ostream& out, std::vector<Combination> const& combinations,
                   std::vector<Tally> const& tallies) {
    out << "hint,policy,timeoutMs";
    for (Column const& column : kColumns) {
        out << ',' << column.name;
    }
    out << '\n';
    for (size_t row = 0; row < combinations.size(); ++row) {
        out << fmt::format("{},{},{}", combinations[row].hint, combinations[row].policy,
                           combinations[row].timeoutMs);
        for (Column const& column : kColumns) {
            auto const value = column.value(tallies[row]);
            out << ',' << (value ? fixedText(value, column.decimals) : "");
        }
        out << '\n';
    }
}

}  // namespace Replay
