// Text from outside (names, file names, log lines) made fit to be shown.
#pragma once

#include <string>

namespace Replay {

/// The text as it may be written on one line of a terminal. Control characters, new lines and tabs included, and
/// marks that turn the direction of writing are named ("\n", "\x1b", "\u009b"), and so are bytes that are no UTF-8
/// ("\xff"): a terminal obeys none of them, and none is lost. All else, backslashes included, stays.
std::string printable(std::string const& text);

/// The character that begins at `at` and its bytes; 0 bytes: no UTF-8 begins there. `at` has to be inside the text.
struct Character {
    char32_t code;
    size_t size;
};
Character characterAt(std::string const& text, size_t at);

}  // namespace Replay
