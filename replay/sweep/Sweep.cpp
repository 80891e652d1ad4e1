#include "Sweep.h"

#include <algorithm>
#include <cmath>
#include <cstdio>

#include "replay/model/TagTable.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

/// The value of the tag in the first stream of the frame that has it.
std::optional<int64_t> valueOf(Frame const& frame, uint32_t tag) {
    for (auto const* const metas : {&frame.appMetas, &frame.halMetas}) {
        for (auto const& entry : *metas) {
            uint8_t byte = 0;
            int32_t number = 0;
            if (NSCam::IMetadata::getEntry(&entry.second, tag, byte, 0)) {
                return byte;
            }
            if (NSCam::IMetadata::getEntry(&entry.second, tag, number, 0)) {
                return number;
            }
        }
    }
    return std::nullopt;
}

void count(Share& share, bool isKnown, bool isAtRest) {
    share.all += isKnown ? 1 : 0;
    share.atRest += isKnown && isAtRest ? 1 : 0;
}

enum class Best { None, Least, Most };

struct Column {
    char const* name;
    char const* heading;
    Best best;
    int decimals;
};

constexpr Column kColumns[] = {{"requests", "requests", Best::None, 0},
                               {"servedFromHistory", "history", Best::Most, 0},
                               {"nonZsl", "non-ZSL", Best::Least, 0},
                               {"stillPending", "pending", Best::Least, 0},
                               {"medianDistanceMs", "distance 50 %", Best::Least, 1},
                               {"p95DistanceMs", "95 %", Best::Least, 1},
                               {"worstDistanceMs", "worst", Best::Least, 1},
                               {"medianWaitMs", "wait 50 %", Best::Least, 1},
                               {"p95WaitMs", "95 %", Best::Least, 1},
                               {"worstWaitMs", "worst", Best::Least, 1},
                               {"focusAtRestPercent", "focus %", Best::Most, 1},
                               {"exposureAtRestPercent", "exposure %", Best::Most, 1},
                               {"softExposureAtRestPercent", "soft exp. %", Best::Most, 1}};

std::string textOf(std::optional<double> value, int decimals) {
    char text[64] = "";
    if (value) {
        std::snprintf(text, sizeof text, "%.*f", decimals, *value);
    }
    return text;
}

/// The best value of a column that not all rows share.
std::optional<double> bestOf(Best best, std::vector<std::optional<double>> const& values) {
    std::optional<double> least;
    std::optional<double> most;
    for (auto const& value : values) {
        least = value && (!least || *value < *least) ? value : least;
        most = value && (!most || *value > *most) ? value : most;
    }
    return best == Best::None || least == most ? std::nullopt : best == Best::Least ? least : most;
}

}  // namespace

void Distribution::add(double ms) {
    ++mCounts[std::llround(ms * 10)];
    ++mSize;
}

void Distribution::add(Distribution const& other) {
    for (auto const& [value, count] : other.mCounts) {
        mCounts[value] += count;
        mSize += count;
    }
}

std::optional<double> Distribution::quantile(double share) const {
    auto const rank = std::max<uint64_t>(1, static_cast<uint64_t>(std::ceil(share * static_cast<double>(mSize))));
    uint64_t seen = 0;
    for (auto const& [value, count] : mCounts) {
        seen += count;
        if (seen >= rank) {
            return static_cast<double>(value) / 10;
        }
    }
    return std::nullopt;
}

Distribution Distribution::fromJson(nlohmann::json const& json) {
    Distribution distribution;
    distribution.mCounts = json.get<std::map<int64_t, uint64_t>>();
    for (auto const& entry : distribution.mCounts) {
        distribution.mSize += entry.second;
    }
    return distribution;
}

std::optional<double> Share::percent() const {
    return all == 0 ? std::nullopt : std::optional(100 * static_cast<double>(atRest) / static_cast<double>(all));
}

void Tally::add(Session const& session, SessionResult const& result) {
    std::map<FrameNo, Frame const*> frames;
    for (Frame const& frame : session.frames) {
        frames[frame.frameNo] = &frame;
    }
    for (Outcome const& outcome : result.outcomes) {
        requests.add(outcome.state);
        if (outcome.isAnswered()) {
            waits.add(toMs(outcome.waitedNs));
        }
        for (int64_t const offset : outcome.offsetsNs) {
            distances.add(std::abs(toMs(offset)));
        }
        for (auto const& entry : outcome.chosen) {
            auto const frame = frames.find(entry.second);
            if (frame == frames.end()) {
                continue;
            }
            auto const afState = valueOf(*frame->second, kAfState);
            auto const lens = valueOf(*frame->second, kLensState);
            auto const aeState = valueOf(*frame->second, kAeState);
            auto const soft = valueOf(*frame->second, kSoftAeState);
            bool const isScanning = afState.value_or(0) == 1 || afState.value_or(0) == 3;
            count(focus, afState || lens, !isScanning && lens.value_or(0) != 1);
            count(exposure, aeState.has_value(), aeState.value_or(0) == 2 || aeState.value_or(0) == 3);
            count(softExposure, soft.has_value(), soft.value_or(0) == 1);
        }
    }
}

void Tally::add(Tally const& other) {
    requests.add(RequestState::Pending, other.requests.pending);
    requests.add(RequestState::FromHistory, other.requests.fromHistory);
    requests.add(RequestState::NonZsl, other.requests.nonZsl);
    distances.add(other.distances);
    waits.add(other.waits);
    for (auto const share : {&Tally::focus, &Tally::exposure, &Tally::softExposure}) {
        (this->*share).atRest += (other.*share).atRest;
        (this->*share).all += (other.*share).all;
    }
}

nlohmann::json Tally::toJson() const {
    return {requests.fromHistory, requests.nonZsl,     requests.pending, distances.toJson(),
            waits.toJson(),       focus.atRest,        focus.all,        exposure.atRest,
            exposure.all,         softExposure.atRest, softExposure.all};
}

Tally Tally::fromJson(nlohmann::json const& json) {
    Tally tally;
    tally.requests.fromHistory = json.at(0);
    tally.requests.nonZsl = json.at(1);
    tally.requests.pending = json.at(2);
    tally.distances = Distribution::fromJson(json.at(3));
    tally.waits = Distribution::fromJson(json.at(4));
    tally.focus = {json.at(5), json.at(6)};
    tally.exposure = {json.at(7), json.at(8)};
    tally.softExposure = {json.at(9), json.at(10)};
    return tally;
}

std::vector<std::pair<std::string, std::optional<double>>> columnsOf(Tally const& tally) {
    std::optional<double> const values[] = {static_cast<double>(tally.requests.all()),
                                            static_cast<double>(tally.requests.fromHistory),
                                            static_cast<double>(tally.requests.nonZsl),
                                            static_cast<double>(tally.requests.pending),
                                            tally.distances.quantile(0.5),
                                            tally.distances.quantile(0.95),
                                            tally.distances.quantile(1),
                                            tally.waits.quantile(0.5),
                                            tally.waits.quantile(0.95),
                                            tally.waits.quantile(1),
                                            tally.focus.percent(),
                                            tally.exposure.percent(),
                                            tally.softExposure.percent()};
    static_assert(std::size(values) == std::size(kColumns));
    std::vector<std::pair<std::string, std::optional<double>>> columns;
    for (size_t index = 0; index < std::size(kColumns); ++index) {
        columns.emplace_back(kColumns[index].name, values[index]);
    }
    return columns;
}

void printSweepTable(std::ostream& out, std::vector<Combination> const& combinations,
                     std::vector<Tally> const& tallies) {
    std::vector<std::vector<std::string>> rows(combinations.size() + 1);
    rows[0] = {"hint", "policy", "time-out ms"};
    for (size_t row = 0; row < combinations.size(); ++row) {
        rows[row + 1] = {combinations[row].hint, combinations[row].policy, combinations[row].timeoutMs};
    }
    for (size_t column = 0; column < std::size(kColumns); ++column) {
        std::vector<std::optional<double>> values;
        values.reserve(tallies.size());
        for (Tally const& tally : tallies) {
            values.push_back(columnsOf(tally)[column].second);
        }
        auto const best = bestOf(kColumns[column].best, values);
        rows[0].emplace_back(kColumns[column].heading);
        for (size_t row = 0; row < values.size(); ++row) {
            std::string const text = textOf(values[row], kColumns[column].decimals);
            rows[row + 1].push_back((text.empty() ? "-" : text) + (best && values[row] == best ? "*" : " "));
        }
    }
    std::vector<size_t> widths(rows[0].size());
    for (auto const& row : rows) {
        for (size_t column = 0; column < row.size(); ++column) {
            widths[column] = std::max(widths[column], row[column].size());
        }
    }
    for (auto const& row : rows) {
        std::string line;
        for (size_t column = 0; column < row.size(); ++column) {
            std::string const fill(widths[column] - row[column].size(), ' ');
            bool const isNumber = column > 2;
            bool const isHeading = &row == &rows[0];
            line += column == 0 ? "" : "  ";
            line += isNumber && !isHeading ? fill + row[column] : row[column] + fill;
        }
        out << line.substr(0, line.find_last_not_of(' ') + 1) << '\n';
    }
    out << "times in ms; distance: of the chosen frames from the shutter; %: of the chosen frames that tell, those "
           "at "
           "rest; * the best\n";
}

void printSweepCsv(std::ostream& out, std::vector<Combination> const& combinations,
                   std::vector<Tally> const& tallies) {
    out << "hint,policy,timeoutMs";
    for (Column const& column : kColumns) {
        out << ',' << column.name;
    }
    out << '\n';
    for (size_t row = 0; row < combinations.size(); ++row) {
        out << combinations[row].hint << ',' << combinations[row].policy << ',' << combinations[row].timeoutMs;
        auto const columns = columnsOf(tallies[row]);
        for (size_t column = 0; column < columns.size(); ++column) {
            out << ',' << textOf(columns[column].second, kColumns[column].decimals);
        }
        out << '\n';
    }
}

}  // namespace Replay
