#include "Markup.h"

#include "replay/model/Printable.h"

namespace Replay {

std::string escaped(std::string const& text) {
    std::string markup;
    for (size_t at = 0; at < text.size();) {
        auto const [code, size] = characterAt(text, at);
        bool const isControl = (code < 0x20 && code != '\n' && code != '\t') || code == 0x7F;
        if (size == 0 || isControl || code == 0xFFFE || code == 0xFFFF) {
            markup += "\xEF\xBF\xBD";
            at += size == 0 ? 1 : size;
            continue;
        }
        switch (code) {
            case '&': markup += "&amp;"; break;
            case '<': markup += "&lt;"; break;
            case '>': markup += "&gt;"; break;
            case '"': markup += "&quot;"; break;
            case '\'': markup += "&#39;"; break;
            default: markup.append(text, at, size);
        }
        at += size;
    }
    return markup;
}

}  // namespace Replay
