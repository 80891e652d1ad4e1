#include "Input.h"

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <regex>

#include "RecordedCalls.h"

namespace Replay {

namespace {

constexpr char const* kLookedFor =
    "; expected a session file (JSON, an object), what `cmd media.camera watch dump` prints, or a recording";

bool startsWith(std::string const& text, char const* start, size_t length) {
    return text.compare(0, length, start, length) == 0;
}

/// What the bytes are when they are no text; null when nothing tells.
char const* foreignBytes(std::string const& text) {
    if (startsWith(text, "\x1f\x8b", 2)) {
        return "a gzip file: unpack it first";
    }
    if (startsWith(text, "PK\x03\x04", 4)) {
        return "a zip file: unpack it first";
    }
    if (startsWith(text, "\xff\xfe", 2) || startsWith(text, "\xfe\xff", 2)) {
        return "UTF-16 text: save it as UTF-8";
    }
    if (text.find('\0') != std::string::npos) {
        return "a binary file";
    }
    return nullptr;
}

/// What the text is when it is neither a session nor a dump; null when nothing tells.
char const* foreignText(std::string const& text) {
    static std::regex const kLogcat(
        R"((\d{4}-)?\d\d-\d\d \d\d:\d\d:\d\d\.\d{3}|--------- beginning of |[VDIWEF]/)");
    size_t const first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) {
        return "empty";
    }
    if (text[first] == '[') {
        return "a JSON array";
    }
    if (std::regex_search(text.begin() + static_cast<ptrdiff_t>(first), text.end(), kLogcat,
                          std::regex_constants::match_continuous)) {
        return "a log (logcat), which `zsl-replay explain --logcat` reads";
    }
    return nullptr;
}

}  // namespace

Input readText(std::string const& path) {
    Input input{path == "-" ? "standard input" : path, "", InputKind::Dump};
    std::error_code error;
    if (path == "-") {
        input.text.assign(std::istreambuf_iterator<char>(std::cin), {});
    } else if (std::filesystem::is_directory(path, error)) {
        throw InputError(path + ": is a folder; expected a file");
    } else {
        errno = 0;
        std::ifstream file(path, std::ios::binary);
        if (!file) {
            throw InputError(path + ": " + std::strerror(errno));
        }
        input.text.assign(std::istreambuf_iterator<char>(file), {});
    }
    if (startsWith(input.text, "\xef\xbb\xbf", 3)) {
        input.text.erase(0, 3);  // a byte order mark says nothing in UTF-8
    }
    if (char const* const kind = foreignBytes(input.text)) {
        throw InputError(input.name + ": this is " + kind);
    }
    return input;
}

Input readInput(std::string const& path) {
    Input const input = readText(path);
    return toInput(input.name, input.text);
}

Input toInput(std::string const& name, std::string const& text) {
    Input input{name, text, isRecording(text) ? InputKind::Recording : InputKind::Dump};
    if (char const* const kind = foreignText(input.text)) {
        throw InputError(input.name + ": this is " + kind + kLookedFor);
    }
    if (input.kind == InputKind::Dump && input.text[input.text.find_first_not_of(" \t\r\n")] == '{') {
        input.kind = InputKind::Session;
    }
    return input;
}

}  // namespace Replay
