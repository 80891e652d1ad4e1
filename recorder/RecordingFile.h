// The file of a process's recording.
#pragma once

#include <cstdint>
#include <memory>
#include <mutex>
#include <string>

namespace NSCam::Recorder {

/// Takes lines from any thread; each goes out whole. What cannot be written costs one line in the log, and the rest
/// of the recording.
class RecordingFile {
  public:
    /// Opens a file of a new name in `folder`; null, with a line in the log, if that fails.
    static std::shared_ptr<RecordingFile> open(std::string const& folder, uint64_t mostBytes);

    ~RecordingFile();
    RecordingFile(RecordingFile const&) = delete;
    RecordingFile& operator=(RecordingFile const&) = delete;

    /// Held while a call is put into words and written, so that the lines of several selectors do not mix.
    std::mutex& mutex() { return mMutex; }

    bool isOpen() const { return mDescriptor >= 0; }

    /// Writes a line, without its end, while the mutex is held.
    void write(std::string line);

    /// Ends the recording for this reason, which the log tells.
    void fail(std::string const& reason);

    /// Running numbers, while the mutex is held.
    uint64_t nextCall() { return ++mCalls; }
    uint64_t nextSelector() { return ++mSelectors; }

    /// The properties that were told last, as the recording writes them.
    std::string& properties() { return mProperties; }

  private:
    RecordingFile(int descriptor, std::string path, uint64_t mostBytes);
    bool writeBytes(std::string const& bytes);
    void close();

    int mDescriptor;
    std::string mPath;
    uint64_t mMostBytes;
    uint64_t mBytes = 0;
    uint64_t mCalls = 0;
    uint64_t mSelectors = 0;
    std::string mProperties;
    std::mutex mMutex;
};

/// Writes an ERROR line to the log.
void logError(std::string const& text);

}  // namespace NSCam::Recorder
