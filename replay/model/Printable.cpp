#include "Printable.h"

#include <fmt/core.h>

namespace Replay {

namespace {

constexpr Character kNone{0, 0};

bool isTextDirection(char32_t code) {
    return code == 0x061C || code == 0x200E || code == 0x200F || (code >= 0x202A && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069);
}

/// Empty: the character may stay as it is.
std::string nameOf(char32_t code) {
    if (code == '\n') {
        return "\\n";
    }
    if (code == '\t') {
        return "\\t";
    }
    if (code < 0x20 || code == 0x7F) {
        return fmt::format("\\x{:02x}", static_cast<unsigned>(code));
    }
    bool const isLineEnd = code == 0x2028 || code == 0x2029;
    bool const isC1 = code >= 0x80 && code < 0xA0;
    return isC1 || isLineEnd || isTextDirection(code) ? fmt::format("\\u{:04x}", static_cast<unsigned>(code)) : "";
}

}  // namespace

Character characterAt(std::string const& text, size_t at) {
    auto const byte = [&](size_t index) { return static_cast<unsigned char>(text[index]); };
    unsigned char const first = byte(at);
    if (first < 0x80) {
        return {first, 1};
    }
    size_t const size = first >= 0xF0 && first < 0xF8 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC0 || first >= 0xF8 || text.size() - at < size) {
        return kNone;
    }
    char32_t code = first & (0x7FU >> size);
    for (size_t index = at + 1; index < at + size; ++index) {
        if ((byte(index) & 0xC0U) != 0x80) {
            return kNone;
        }
        code = code << 6U | (byte(index) & 0x3FU);
    }
    // Longer than need be, a half of a surrogate pair, or beyond the last character: no UTF-8 either.
    constexpr char32_t kLeast[] = {0, 0, 0x80, 0x800, 0x10000};
    bool const isSurrogate = code >= 0xD800 && code < 0xE000;
    return code < kLeast[size] || isSurrogate || code > 0x10FFFF ? kNone : Character{code, size};
}

std::string printable(std::string const& text) {
    std::string shown;
    for (size_t at = 0; at < text.size();) {
        auto const [code, size] = characterAt(text, at);
        std::string const name =
            size == 0 ? fmt::format("\\x{:02x}", static_cast<unsigned char>(text[at])) : nameOf(code);
        shown += name.empty() ? text.substr(at, size) : name;
        at += size == 0 ? 1 : size;
    }
    return shown;
}

}  // namespace Replay
