// The selector's strategies by number and name.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Replay {

struct Strategy {
    int64_t hint;             ///< the number that asks for it
    char const* logWord;      ///< in the log name of the requests that it serves
    char const* name;         ///< in lists
    char const* inSentences;  ///< in explanations
};

constexpr Strategy kStrategies[] = {
    {0, "multiFrame", "continuous", "continuous selection"},
    {1, "ispHidl", "first in first out", "first in first out"},
    {2, "ispHidlSelect_Latest", "latest", "latest frames"},
    {3, "ispHidlSelect_LatestWithQuality", "latest with quality check", "latest frames with quality check"},
    {4, "ispHidlSelect_MFNR_HDR", "noise reduction, then HDR", "noise reduction, then HDR"}};

/// Null: no strategy has this number.
constexpr Strategy const* strategyOf(int64_t hint) { return hint >= 0 && hint <= 4 ? &kStrategies[hint] : nullptr; }

/// By the word of a log name; null: unknown. "none", for a request that no burst strategy could take, is served by
/// the continuous selection.
constexpr Strategy const* strategyOfWord(std::string_view word) {
    for (Strategy const& strategy : kStrategies) {
        if (word == strategy.logWord) {
            return &strategy;
        }
    }
    return word == "none" ? &kStrategies[0] : nullptr;
}

/// "0 continuous, 1 first in first out, ...": what --hint takes.
std::string strategyList();

}  // namespace Replay
