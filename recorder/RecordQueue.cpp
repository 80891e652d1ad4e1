#include "RecordQueue.h"

#include <cerrno>
#include <cstring>
#include <new>

namespace NSCam::Recorder {

RecordQueue::RecordQueue(size_t mostBytes) : mMostBytes(mostBytes) { sem_init(&mWake, 0, 0); }

RecordQueue::~RecordQueue() {
    for (Record* record = takeAll(); record != nullptr;) {
        Record* const next = record->next;
        discard(record);
        record = next;
    }
    sem_destroy(&mWake);
}

Record* RecordQueue::make(Recording& recording, RecordKind kind, int64_t const* words, size_t count) noexcept {
    void* const memory = ::operator new(sizeof(Record) + count * sizeof(int64_t), std::nothrow);
    if (memory == nullptr) {
        return nullptr;
    }
    auto* const record = new (memory) Record{nullptr, &recording, kind, count};
    std::memcpy(record->words(), words, count * sizeof(int64_t));
    return record;
}

void RecordQueue::discard(Record* record) noexcept { ::operator delete(record); }

bool RecordQueue::put(Recording& recording, RecordKind kind, Words const& words) noexcept {
    size_t const bytes = sizeof(Record) + words.size() * sizeof(int64_t);
    if (mBytes.load(std::memory_order_relaxed) + bytes > mMostBytes) {
        return false;
    }
    Record* const record = make(recording, kind, words.data(), words.size());
    if (record == nullptr) {
        return false;
    }
    push(record);
    return true;
}

void RecordQueue::push(Record* record) noexcept {
    mBytes.fetch_add(record->bytes(), std::memory_order_relaxed);
    Record* newest = mNewest.load(std::memory_order_relaxed);
    do {
        record->next = newest;
    } while (!mNewest.compare_exchange_weak(newest, record, std::memory_order_release, std::memory_order_relaxed));
    if (newest == nullptr) {
        wake();  // for others behind it, the writer comes anyway
    }
}

void RecordQueue::wait() noexcept {
    while (sem_wait(&mWake) != 0 && errno == EINTR) {
    }
}

Record* RecordQueue::takeAll() noexcept {
    Record* oldest = nullptr;
    for (Record* record = mNewest.exchange(nullptr, std::memory_order_acquire); record != nullptr;) {
        Record* const next = record->next;
        record->next = oldest;
        oldest = record;
        record = next;
    }
    return oldest;
}

void RecordQueue::release(Record* record) noexcept {
    mBytes.fetch_sub(record->bytes(), std::memory_order_relaxed);
    discard(record);
}

}  // namespace NSCam::Recorder
