// One file of a recording.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace NSCam::Recorder {

/// Takes text that consists of whole lines. Has one owner, and is used by one thread.
class RecordingFile {
  public:
    /// Makes a file of a new name, zsl-PROCESS-TIME-N.ndjson, for selector N; nothing, with errno, if that fails.
    static std::optional<RecordingFile> make(std::string const& folder, uint64_t selector);

    ~RecordingFile();
    RecordingFile(RecordingFile&& other) noexcept;
    RecordingFile& operator=(RecordingFile&& other) noexcept;

    std::string const& name() const { return mName; }
    uint64_t bytes() const { return mBytes; }

    /// Whether it is still as it was written: nobody has deleted it or changed its size.
    bool isUntouched() const;

    /// Writes the text. False, with errno: the file has the whole lines that there was room for, and is gone if
    /// that is none.
    bool write(std::string const& text);

  private:
    RecordingFile(std::string const& folder, std::string name);
    void keepLines(size_t bytes);

    int mDescriptor = -1;
    std::string mPath;
    std::string mName;
    uint64_t mBytes = 0;
};

}  // namespace NSCam::Recorder
