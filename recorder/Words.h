// What passes from a host's thread to the writer: numbers in a row, in memory that is kept from call to call.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace NSCam::Recorder {

/// Takes numbers. Only growing allocates.
class Words {
  public:
    /// With room for so many from the beginning.
    explicit Words(size_t room = 0) : mWords(room) {}

    void clear() noexcept { mSize = 0; }
    size_t size() const { return mSize; }
    int64_t const* data() const { return mWords.data(); }

    void put(int64_t word) {
        *room(1) = word;
        ++mSize;
    }
    void put(int64_t const* words, size_t count) {
        int64_t* to = room(count);
        for (size_t index = 0; index < count; ++index) {
            *to++ = words[index];
        }
        mSize += count;
    }

    /// Room for `count` numbers behind the last; put() or used() makes them part of the row.
    int64_t* room(size_t count) {
        if (mWords.size() - mSize < count) {
            mWords.resize(2 * mWords.size() + count);
        }
        return mWords.data() + mSize;
    }
    void used(int64_t const* end) { mSize = static_cast<size_t>(end - mWords.data()); }

    void set(size_t place, int64_t word) { mWords[place] = word; }

  private:
    std::vector<int64_t> mWords;
    size_t mSize = 0;
};

/// Gives numbers back in the order in which they were put.
class WordReader {
  public:
    explicit WordReader(int64_t const* words) : mNext(words) {}

    int64_t next() { return *mNext++; }
    size_t count() { return static_cast<size_t>(next()); }
    int64_t const* place() const { return mNext; }
    void skip(size_t count) { mNext += count; }

  private:
    int64_t const* mNext;
};

}  // namespace NSCam::Recorder
