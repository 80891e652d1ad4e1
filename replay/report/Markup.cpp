#include "Markup.h"

#include <cmath>
#include <cstdio>
#include <nlohmann/json.hpp>

namespace Replay {

std::string escaped(std::string const& text) {
    // The JSON library replaces what is no UTF-8.
    std::string const valid =
        nlohmann::json::parse(nlohmann::json(text).dump(-1, ' ', false, nlohmann::json::error_handler_t::replace));
    std::string markup;
    for (char const c : valid) {
        switch (c) {
            case '&': markup += "&amp;"; break;
            case '<': markup += "&lt;"; break;
            case '>': markup += "&gt;"; break;
            case '"': markup += "&quot;"; break;
            case '\'': markup += "&#39;"; break;
            default: {
                bool const isControl = static_cast<unsigned char>(c) < 0x20 && c != '\n' && c != '\t';
                markup += isControl || c == 0x7F ? "\xEF\xBF\xBD" : std::string(1, c);
            }
        }
    }
    return markup;
}

std::string numberText(double value) {
    char text[48];
    double const rounded = std::round(value * 10) / 10;
    std::snprintf(text, sizeof text, rounded == std::floor(rounded) ? "%.0f" : "%.1f", rounded);
    return text;
}

}  // namespace Replay
