// The one thread that puts recordings into words and writes them.
#pragma once

#include <thread>

#include "Recording.h"

namespace NSCam::Recorder {

class Writer {
  public:
    struct Limits {
        size_t queueBytes;
        uint64_t fileBytes;
        uint64_t totalBytes;
    };

    /// The writer of this process, which is made when it is asked for first; null if there is no memory or no
    /// thread to be had. A child that the process forks gets one of its own: that of its parent has no thread
    /// there.
    static Writer* ofProcess() noexcept;
    /// Writes what is there, and ends the thread: the library is being unloaded, or the process ends. `isInUse`:
    /// there are selectors, whose calls are not recorded any more.
    static void endOfProcess(bool isInUse) noexcept;

    ~Writer();
    Writer(Writer const&) = delete;
    Writer& operator=(Writer const&) = delete;

    /// Whether this is the process that made the writer, and no child of it.
    bool isOfThisProcess() const noexcept;

    RecordQueue& queue() { return mQueue; }
    RecordingFolder& folder() { return mFolder; }
    uint64_t nextSelector() { return mSelectors.fetch_add(1, std::memory_order_relaxed) + 1; }
    uint64_t mostBytesAFile() const { return mMostBytesAFile; }

  private:
    Writer(std::string folder, Limits const& limits);
    void start();
    void end() noexcept;
    void run() noexcept;
    void writeRound() noexcept;

    RecordQueue mQueue;
    RecordingFolder mFolder;
    uint64_t const mMostBytesAFile;
    uint32_t const mForks;  // of this process, when it was made
    std::atomic<uint64_t> mSelectors{0};
    std::atomic<bool> mIsEnding{false};
    std::thread mThread;
};

}  // namespace NSCam::Recorder
