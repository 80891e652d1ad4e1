#include "RecordingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <utility>

namespace NSCam::Recorder {

std::optional<RecordingFile> RecordingFile::make(std::string const& folder, uint64_t selector) {
    constexpr int kAttempts = 100;
    auto const sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    auto const nowMs = std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count();
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        RecordingFile file(folder, "zsl-" + std::to_string(getpid()) + "-" + std::to_string(nowMs + attempt) + "-" +
                                       std::to_string(selector) + ".ndjson");
        file.mDescriptor = ::open(file.mPath.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_APPEND | O_CLOEXEC, 0640);
        if (file.mDescriptor >= 0) {
            return file;
        }
        if (errno != EEXIST) {
            break;
        }
    }
    return std::nullopt;
}

RecordingFile::RecordingFile(std::string const& folder, std::string name)
    : mPath(folder + "/" + name), mName(std::move(name)) {}

RecordingFile::RecordingFile(RecordingFile&& other) noexcept
    : mDescriptor(std::exchange(other.mDescriptor, -1)),
      mPath(std::move(other.mPath)),
      mName(std::move(other.mName)),
      mBytes(other.mBytes) {}

RecordingFile& RecordingFile::operator=(RecordingFile&& other) noexcept {
    std::swap(mDescriptor, other.mDescriptor);
    std::swap(mPath, other.mPath);
    std::swap(mName, other.mName);
    std::swap(mBytes, other.mBytes);
    return *this;
}

RecordingFile::~RecordingFile() {
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
    }
}

bool RecordingFile::isUntouched() const {
    struct stat about {};
    return fstat(mDescriptor, &about) == 0 && about.st_nlink > 0 && static_cast<uint64_t>(about.st_size) == mBytes;
}

/// Lets the file end with so many bytes of what was being written.
void RecordingFile::keepLines(size_t bytes) {
    mBytes += bytes;
    if (mBytes == 0) {
        ::unlink(mPath.c_str());
    } else if (ftruncate(mDescriptor, static_cast<off_t>(mBytes)) != 0) {
        // A device that is gone: a reader takes the torn line.
    }
}

bool RecordingFile::write(std::string const& text) {
    for (size_t written = 0; written < text.size();) {
        ssize_t const count = ::write(mDescriptor, text.data() + written, text.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            int const error = count == 0 ? ENOSPC : errno;
            keepLines(written > 0 ? text.rfind('\n', written - 1) + 1 : 0);
            errno = error;
            return false;
        }
        written += static_cast<size_t>(count);
    }
    mBytes += text.size();
    return true;
}

}  // namespace NSCam::Recorder
