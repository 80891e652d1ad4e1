#include "LogFile.h"

#include <cerrno>
#include <stdexcept>
#include <system_error>

namespace Replay {

namespace {

/// Stands before the tag and the text of a line.
struct Head {
    int priority;
    uint32_t tagSize;
    uint32_t textSize;
    int64_t sessionNs;
};

constexpr Head kEnd{-1, 0, 0, 0};

bool read(std::FILE* file, void* bytes, size_t size) { return std::fread(bytes, 1, size, file) == size; }

}  // namespace

LogFile::LogFile() : mFile(std::tmpfile()) {
    if (!mFile) {
        throw std::system_error(errno, std::generic_category(), "cannot make a temporary file for the log");
    }
}

void LogFile::add(LogLine const& line) {
    Head const head{line.priority, static_cast<uint32_t>(line.tag.size()), static_cast<uint32_t>(line.text.size()),
                    line.sessionNs};
    std::fwrite(&head, sizeof head, 1, mFile.get());
    std::fwrite(line.tag.data(), 1, line.tag.size(), mFile.get());
    std::fwrite(line.text.data(), 1, line.text.size(), mFile.get());
}

void LogFile::finish() {
    if (std::ferror(mFile.get()) == 0) {
        std::fwrite(&kEnd, sizeof kEnd, 1, mFile.get());
        std::fflush(mFile.get());
    }
}

void LogFile::forEach(std::function<void(LogLine const&)> const& take) const {
    std::rewind(mFile.get());
    LogLine line{};
    for (Head head{}; read(mFile.get(), &head, sizeof head);) {
        if (head.priority == kEnd.priority) {
            return;
        }
        line.priority = head.priority;
        line.sessionNs = head.sessionNs;
        line.tag.resize(head.tagSize);
        line.text.resize(head.textSize);
        if (!read(mFile.get(), line.tag.data(), line.tag.size()) ||
            !read(mFile.get(), line.text.data(), line.text.size())) {
            break;
        }
        take(line);
    }
    throw std::runtime_error("the temporary file of the log is not whole: there was no room for it");
}

}  // namespace Replay
