// The recording of one selector: what its host's thread and the writer tell one another, and the writer's side.
#pragma once

#include <atomic>
#include <optional>
#include <string>

#include "CallText.h"
#include "RecordQueue.h"
#include "RecordingFile.h"
#include "RecordingFolder.h"

namespace NSCam::Recorder {

/// Belongs to its host's thread until its Made record is in the queue, then to the writer, which deletes it behind
/// the Gone record.
class Recording {
  public:
    struct Selector {
        uint64_t number;  ///< of the process's recorded ones
        int64_t madeNs;
        std::string name;
    };

    Recording(Selector selector, RecordingFolder& folder, uint64_t mostBytesAFile)
        : mSelector(std::move(selector)), mFolder(folder), mMostBytes(mostBytesAFile) {}

    /// For the host's thread: no more is wanted.
    bool isOver() const noexcept { return mIsOver.load(std::memory_order_relaxed); }
    /// For the host's thread, told once a wish: the next call has to stand for itself.
    bool takeWishForBase() noexcept {
        return mWantsBase.load(std::memory_order_relaxed) && mWantsBase.exchange(false, std::memory_order_relaxed);
    }

    /// Takes a record. What has no memory is lost, and said to be.
    void take(Record const& record) noexcept;
    /// Writes what was taken. What goes wrong costs a line in the log.
    void flush() noexcept;

    bool isGone() const { return mIsGone; }

    Recording* nextTouched = nullptr;  ///< of the writer's round
    bool isTouched = false;

  private:
    void takeMade(WordReader words);
    void takeCall(WordReader words);
    void takeGone(WordReader words);
    void beginPart(int64_t const* properties, int64_t ns);
    void tellLost();
    void write();
    void lose() noexcept;
    void wishForBase() noexcept;
    void end(std::string const& what, int error);

    std::atomic<bool> mIsOver{false};
    std::atomic<bool> mWantsBase{false};

    Selector const mSelector;
    RecordingFolder& mFolder;
    uint64_t const mMostBytes;
    std::optional<RecordingFile> mFile;
    CallText mCallText;
    std::string mText;        // whole lines, not written yet
    uint64_t mPart = 0;       // of the files
    uint64_t mLost = 0;       // calls since the last line
    uint64_t mUnwritten = 0;  // calls in mText, and those told lost there
    bool mNeedsBase = true;   // only a call that stands for itself can be told
    bool mNeedsPart = false;  // the next such call begins a new file
    bool mHasToldRoom = false;
    bool mIsGone = false;
};

}  // namespace NSCam::Recorder
