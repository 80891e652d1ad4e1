// The words of the plug-in's log lines, read.
#pragma once

#include <charconv>
#include <cstdint>
#include <optional>
#include <string_view>

#include "Reason.h"

namespace Replay {

inline bool contains(std::string_view line, std::string_view part) {
    return line.find(part) != std::string_view::npos;
}
inline bool startsWith(std::string_view line, std::string_view start) {
    return line.compare(0, start.size(), start) == 0;
}

/// Takes a text apart from its beginning.
struct Cursor {
    std::string_view rest;

    /// False, and nothing is taken, when the text goes on with something else.
    bool skip(std::string_view words) {
        bool const isNext = startsWith(rest, words);
        rest.remove_prefix(isNext ? words.size() : 0);
        return isNext;
    }

    /// False when there is no number, or one that the type cannot hold.
    template <typename T>
    bool number(T& value) {
        auto const [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), value);
        if (error != std::errc()) {
            return false;
        }
        rest.remove_prefix(static_cast<size_t>(end - rest.data()));
        return true;
    }
};

/// The number behind the first `label`; nothing if there is none, or one out of the type's range.
template <typename T>
std::optional<T> numberAfter(std::string_view line, std::string_view label) {
    size_t const place = line.find(label);
    T value = 0;
    if (place == std::string_view::npos || !Cursor{line.substr(place + label.size())}.number(value)) {
        return std::nullopt;
    }
    return value;
}

/// What a predicate's line says of the refusal that its frame's verdict will name.
struct Detail {
    ReasonKind of = ReasonKind::None;
    std::string name;
    std::string words;
};

/// Without a detail: the line refuses nothing.
Detail detailOf(std::string_view line);

/// What a line of isQualify says of its frame.
enum class VerdictKind {
    Torn,       ///< the line was cut
    Fit,        ///< the frame may be used
    Unchecked,  ///< likewise, after the time-out
    Refused
};

struct VerdictLine {
    VerdictKind kind = VerdictKind::Torn;
    ReasonKind reason = ReasonKind::None;  ///< of a refusal
    bool hasDetail = false;                ///< the lines before may say more of it
};

VerdictLine verdictOf(std::string_view line);

/// Where in the judging of a frame a line is written; a frame's lines never step back. 0: not a line of judging.
int stageOf(std::string_view line);

/// Whether several lines of a frame may be of this stage: one for each of its streams.
bool isRepeatable(int stage);

/// Whether a DEBUG line with this text tells that the selector's DEBUG lines are on.
bool isSelectorDebug(std::string_view line);

}  // namespace Replay
