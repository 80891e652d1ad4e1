// The bounded buffer between the hosts' threads and the writer.
#pragma once

#include <semaphore.h>

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "Words.h"

namespace NSCam::Recorder {

class Recording;

enum class RecordKind { Made, Call, Gone };

/// Something that happened to a selector, as numbers.
struct Record {
    Record* next;
    Recording* recording;
    RecordKind kind;
    size_t count;

    /// The numbers stand behind the record.
    int64_t* words() { return reinterpret_cast<int64_t*>(this + 1); }
    int64_t const* words() const { return reinterpret_cast<int64_t const*>(this + 1); }
    size_t bytes() const { return sizeof(Record) + count * sizeof(int64_t); }
};

/// Takes records from any thread without a lock, and gives them to one. A thread that puts one in waits for
/// nothing.
class RecordQueue {
  public:
    /// At most so many bytes wait at a time.
    explicit RecordQueue(size_t mostBytes);
    ~RecordQueue();
    RecordQueue(RecordQueue const&) = delete;
    RecordQueue& operator=(RecordQueue const&) = delete;

    /// A record that belongs to the caller until it is pushed; null if there is no memory.
    static Record* make(Recording& recording, RecordKind kind, int64_t const* words, size_t count) noexcept;
    static void discard(Record* record) noexcept;

    /// Whether the next record has a chance: if not, there is no need to make it.
    bool isFull() const noexcept { return mBytes.load(std::memory_order_relaxed) >= mMostBytes; }

    /// Makes a record and puts it in; false, if there is no room or no memory.
    bool put(Recording& recording, RecordKind kind, Words const& words) noexcept;

    /// Puts a record in that must not be lost, room or not.
    void push(Record* record) noexcept;

    /// For the writer: returns when there is a record, or after wake().
    void wait() noexcept;
    void wake() noexcept { sem_post(&mWake); }

    /// For the writer: what is there, oldest first; null if nothing is. Each is to be released.
    Record* takeAll() noexcept;
    void release(Record* record) noexcept;

  private:
    size_t const mMostBytes;
    std::atomic<size_t> mBytes{0};
    std::atomic<Record*> mNewest{nullptr};
    sem_t mWake{};
};

}  // namespace NSCam::Recorder
