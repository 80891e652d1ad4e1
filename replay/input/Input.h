// Reads what a command is given, a file or standard input, and tells what it is.
#pragma once

#include <string>

#include "PhoneDump.h"

namespace Replay {

/// What a text holds, by how it begins.
enum class InputKind {
    Session,    ///< a session file of ours
    Recording,  ///< what the recorder wrote
    Dump,       ///< neither: what a phone's camera service prints, if anything
};

struct Text {
    std::string name;  ///< for messages
    std::string text;
};

struct Input : Text {
    InputKind kind = InputKind::Dump;
};

/// Reads the file, or standard input for "-", as text. What is no file, a file that cannot be read, and one that is
/// packed, binary or not in UTF-8 are named for what they are: InputError.
Text readText(std::string const& path);

/// Reads the file, or standard input for "-". What cannot hold sessions is named for what it is: InputError.
Input readInput(std::string const& path);

/// The same of a text that was read already.
Input toInput(Text text);

/// The input's sessions. Options are for dumps. Throws InputError.
SessionSet sessionsOf(Input const& input, DumpOptions const& options);

}  // namespace Replay
