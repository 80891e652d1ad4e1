// The folder of the recordings, and what all of them together may take of it.
#pragma once

#include <cstdint>
#include <string>

namespace NSCam::Recorder {

/// Used by one thread.
class RecordingFolder {
  public:
    RecordingFolder(std::string path, uint64_t mostBytes) : mPath(std::move(path)), mMostBytes(mostBytes) {}

    std::string const& path() const { return mPath; }

    /// Makes room for so many bytes more: the recordings that were changed longest ago go, whatever process wrote
    /// them, but never `current` (a file's name). False, if that is not enough. Other files are not touched.
    bool reserve(uint64_t bytes, std::string const& current);

  private:
    bool makeRoom(uint64_t bytes, std::string const& current);

    std::string mPath;
    uint64_t mMostBytes;
    uint64_t mRoom = 0;  // may be written before it has to be looked again
};

/// Whether a file's name is one that the recorder gives: zsl-PROCESS-TIME-N.ndjson, or without N.
bool isRecordingName(char const* name);

/// Writes an ERROR line to the log.
void logError(char const* text) noexcept;

}  // namespace NSCam::Recorder
