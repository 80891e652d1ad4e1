#include "Input.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <new>

#include "RecordedCalls.h"
#include "RecordedSession.h"
#include "SessionReader.h"
#include "replay/model/InputError.h"

namespace Replay {

namespace {

constexpr char const* kLookedFor =
    "; expected a session file (JSON, an object), what `cmd media.camera watch dump` prints, or a recording";

bool startsWith(std::string const& text, std::string_view start) {
    return text.compare(0, start.size(), start) == 0;
}

/// What the bytes are when they are no text; null when nothing tells.
char const* foreignBytes(std::string const& text) {
    if (startsWith(text, "\x1f\x8b")) {
        return "a gzip file: unpack it first";
    }
    if (startsWith(text, "PK\x03\x04")) {
        return "a zip file: unpack it first";
    }
    if (startsWith(text, "\xff\xfe") || startsWith(text, "\xfe\xff")) {
        return "UTF-16 text: save it as UTF-8";
    }
    if (text.find('\0') != std::string::npos) {
        return "a binary file";
    }
    return nullptr;
}

/// Whether the text goes on with the pattern at `at`, in which "0" stands for any digit.
bool goesOnWith(std::string const& text, size_t at, std::string_view pattern) {
    if (text.size() - at < pattern.size()) {
        return false;
    }
    for (size_t index = 0; index < pattern.size(); ++index) {
        char const c = text[at + index];
        bool const isMatch = pattern[index] == '0' ? c >= '0' && c <= '9' : c == pattern[index];
        if (!isMatch) {
            return false;
        }
    }
    return true;
}

/// Whether a line of a log (logcat) begins there: a date, perhaps with its year, a heading, or level and tag.
bool isLogLine(std::string const& text, size_t at) {
    constexpr std::string_view kLevels = "VDIWEF";
    return goesOnWith(text, at, "00-00 00:00:00.000") || goesOnWith(text, at, "0000-00-00 00:00:00.000") ||
           goesOnWith(text, at, "--------- beginning of ") ||
           (text.size() - at > 1 && kLevels.find(text[at]) != std::string_view::npos && text[at + 1] == '/');
}

/// What the text is when it can hold no session; null when nothing tells.
char const* foreignText(std::string const& text) {
    size_t const first = text.find_first_not_of(" \t\r\n");
    if (first == std::string::npos) {
        return "empty";
    }
    if (text[first] == '[') {
        return "a JSON array";
    }
    return isLogLine(text, first) ? "a log (logcat), which `zsl-replay explain --logcat` reads" : nullptr;
}

/// An open file, closed at the end.
class File {
  public:
    explicit File(std::string const& path)
        : mName(path), mDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK)) {
        if (mDescriptor < 0) {
            fail(std::strerror(errno));
        }
        struct stat status {};
        if (::fstat(mDescriptor, &status) == 0 && !S_ISREG(status.st_mode)) {
            fail(S_ISDIR(status.st_mode)    ? "is a folder; expected a file"
                 : S_ISFIFO(status.st_mode) ? "is a pipe; expected a file, or - for standard input"
                                            : "is no file");
        }
    }
    ~File() { ::close(mDescriptor); }
    File(File const&) = delete;
    File& operator=(File const&) = delete;

    int descriptor() const { return mDescriptor; }

  private:
    [[noreturn]] void fail(std::string const& reason) {
        if (mDescriptor >= 0) {
            ::close(mDescriptor);
        }
        throw InputError(mName + ": " + reason);
    }

    std::string mName;
    int mDescriptor;
};

std::string readAll(int descriptor, std::string const& name) {
    std::string text;
    char buffer[65536];
    for (;;) {
        ssize_t const count = ::read(descriptor, buffer, sizeof buffer);
        if (count == 0) {
            return text;
        }
        if (count > 0) {
            text.append(buffer, static_cast<size_t>(count));
        } else if (errno != EINTR) {
            throw InputError(name + ": " + std::strerror(errno));
        }
    }
}

/// Does what reads an input; it says whose fault it is when memory runs out.
template <typename Read>
auto withMemory(std::string const& name, Read read) {
    try {
        return read();
    } catch (std::bad_alloc const&) {
        throw InputError(name + ": not enough memory to read it");
    }
}

}  // namespace

Text readText(std::string const& path) {
    Text input{path == "-" ? "standard input" : path, ""};
    withMemory(input.name, [&] {
        input.text = path == "-" ? readAll(STDIN_FILENO, input.name) : readAll(File(path).descriptor(), path);
    });
    if (startsWith(input.text, "\xef\xbb\xbf")) {
        input.text.erase(0, 3);  // a byte order mark says nothing in UTF-8
    }
    if (char const* const kind = foreignBytes(input.text)) {
        throw InputError(input.name + ": this is " + kind);
    }
    return input;
}

Input readInput(std::string const& path) { return toInput(readText(path)); }

Input toInput(Text text) {
    Input input{std::move(text), InputKind::Dump};
    if (char const* const kind = foreignText(input.text)) {
        throw InputError(input.name + ": this is " + kind + kLookedFor);
    }
    if (isRecording(input.text)) {
        input.kind = InputKind::Recording;
    } else if (input.text[input.text.find_first_not_of(" \t\r\n")] == '{') {
        input.kind = InputKind::Session;
    }
    return input;
}

SessionSet sessionsOf(Input const& input, DumpOptions const& options) {
    return withMemory(input.name, [&] {
        switch (input.kind) {
            case InputKind::Session: return readSession(input.text, input.name);
            case InputKind::Recording: return readRecordedSessions(input.text, input.name);
            case InputKind::Dump: break;
        }
        return readPhoneDump(input.text, input.name, options);
    });
}

}  // namespace Replay
