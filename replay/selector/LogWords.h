// The words of the plug-in's log lines, and ours for them.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace Replay {

/// Why a frame was refused or a request was not served.
struct Reason {
    std::string name;         ///< short, for tables: "AF scanning"; empty: no reason
    std::string words;        ///< for sentences: "auto-focus scanning, lens moving"
    bool isOfFrames = false;  ///< of a request: frames were refused for it
};

/// A part of a line, and the reason that it stands for.
struct Phrase {
    std::string_view part;
    char const* name;
    char const* words;
    bool hasDetail = false;  ///< the lines before say more
};

/// The refusal of a frame in a line of isQualify; null: none.
Phrase const* verdictPhrase(std::string const& line);

/// Why the whole call waits or goes without ZSL, in a line of a strategy; null: the line does not say.
Phrase const* waitPhrase(std::string const& line);

/// What a predicate's line says beside the verdict that follows it.
std::optional<Reason> detailOf(std::string const& line);

/// Whether a line, without its request's name, was cut before it says how the call ends.
bool isTorn(std::string const& rest);

bool contains(std::string const& line, std::string_view part);
bool startsWith(std::string const& line, std::string_view start);

/// The number behind `label`, at or after `from`; nothing if there is none.
std::optional<int64_t> numberAfter(std::string const& line, std::string_view label, size_t from = 0);

}  // namespace Replay
