// Reads what a command is given: a file or standard input, a session or a dump.
#pragma once

#include <string>

#include "replay/model/Session.h"

namespace Replay {

/// What an input is.
enum class InputKind { Session, Recording, Dump };

struct Input {
    std::string name;  ///< for messages
    std::string text;
    InputKind kind = InputKind::Dump;
};

/// Reads the file, or standard input for "-", as text. A folder, a file that cannot be read, and one that is
/// packed, binary or not in UTF-8 are named for what they are: InputError.
Input readText(std::string const& path);

/// Reads the file, or standard input for "-". What is neither a session nor a dump is named for what it is:
/// InputError.
Input readInput(std::string const& path);

/// The same of a text that was read already; `name` is for messages.
Input toInput(std::string const& name, std::string const& text);

}  // namespace Replay
