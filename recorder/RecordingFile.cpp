#include "RecordingFile.h"

#include <android/log.h>
#include <fcntl.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstring>

namespace NSCam::Recorder {

void logError(std::string const& text) {
    constexpr int kError = 6;
    __android_log_print(kError, "SampleRecorder", "%s", text.c_str());
}

std::shared_ptr<RecordingFile> RecordingFile::open(std::string const& folder, uint64_t mostBytes) {
    auto const sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
    auto const startMs = std::chrono::duration_cast<std::chrono::milliseconds>(sinceEpoch).count();
    std::string const stem = folder + "/zsl-" + std::to_string(getpid()) + "-" + std::to_string(startMs);
    std::string path = stem + ".ndjson";
    int descriptor = -1;
    for (int attempt = 2; attempt < 100; ++attempt) {
        descriptor = ::open(path.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0640);
        if (descriptor >= 0 || errno != EEXIST) {
            break;
        }
        path = stem + "-" + std::to_string(attempt) + ".ndjson";
    }
    if (descriptor < 0) {
        logError("recording: cannot make " + path + ": " + std::strerror(errno));
        return nullptr;
    }
    return std::shared_ptr<RecordingFile>(new RecordingFile(descriptor, path, mostBytes));
}

RecordingFile::RecordingFile(int descriptor, std::string path, uint64_t mostBytes)
    : mDescriptor(descriptor), mPath(std::move(path)), mMostBytes(mostBytes) {}

RecordingFile::~RecordingFile() { close(); }

void RecordingFile::close() {
    if (mDescriptor >= 0) {
        ::close(mDescriptor);
        mDescriptor = -1;
    }
}

bool RecordingFile::writeBytes(std::string const& bytes) {
    for (size_t written = 0; written < bytes.size();) {
        ssize_t const count = ::write(mDescriptor, bytes.data() + written, bytes.size() - written);
        if (count < 0 && errno == EINTR) {
            continue;
        }
        if (count <= 0) {
            return false;
        }
        written += static_cast<size_t>(count);
    }
    mBytes += bytes.size();
    return true;
}

void RecordingFile::write(std::string line) {
    if (!isOpen()) {
        return;
    }
    line += '\n';
    bool const isFull = mBytes + line.size() > mMostBytes;
    if (!writeBytes(isFull ? "{\"ended\":\"full\",\"mostBytes\":" + std::to_string(mMostBytes) + "}\n" : line)) {
        int const error = errno;
        if (ftruncate(mDescriptor, static_cast<off_t>(mBytes)) != 0) {
            // A device that is no file, or gone: a reader takes the torn line.
        }
        fail(std::strerror(error));
    } else if (isFull) {
        close();
    }
}

void RecordingFile::fail(std::string const& reason) {
    if (isOpen()) {
        close();
        logError("recording: " + mPath + " ends: " + reason);
    }
}

}  // namespace NSCam::Recorder
