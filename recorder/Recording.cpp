#include "Recording.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstring>

#include "Capture.h"

namespace NSCam::Recorder {

namespace {

constexpr size_t kMostText = 1 << 20;  // is written before more is taken

/// A name as JSON text; what needs an escape is left out.
std::string quoted(std::string const& name) {
    std::string text = "\"";
    for (char const letter : name) {
        bool const isPlain = letter >= ' ' && letter != '"' && letter != '\\' && letter != '\x7F';
        text += isPlain ? std::string(1, letter) : "";
    }
    return text + '"';
}

}  // namespace

void Recording::wishForBase() noexcept {
    mNeedsBase = true;
    mWantsBase.store(true, std::memory_order_relaxed);
}

/// What is not written yet will never be.
void Recording::lose() noexcept {
    mLost += mUnwritten;
    mUnwritten = 0;
    mText.clear();
    mNeedsPart = true;
    wishForBase();
}

void Recording::take(Record const& record) noexcept {
    if (isOver()) {
        mIsGone = record.kind == RecordKind::Gone;
        return;
    }
    size_t const size = mText.size();
    uint64_t const unwritten = mUnwritten;
    uint64_t const part = mPart;
    try {
        WordReader const words(record.words());
        switch (record.kind) {
            case RecordKind::Made: takeMade(words); break;
            case RecordKind::Call: takeCall(words); break;
            case RecordKind::Gone: takeGone(words); break;
        }
    } catch (...) {  // no memory: from here on nothing is allocated
        bool const isNewPart = mPart != part;
        mText.resize(isNewPart ? 0 : size);
        mLost += mUnwritten - (isNewPart ? 0 : unwritten);
        mUnwritten = isNewPart ? 0 : unwritten;
        mNeedsPart = mNeedsPart || isNewPart;
        if (record.kind == RecordKind::Call) {
            ++mLost;
            wishForBase();
        }
    }
    if (mText.size() >= std::min(kMostText, static_cast<size_t>(mMostBytes / 2))) {
        flush();
    }
}

void Recording::takeMade(WordReader words) {
    beginPart(words.place(), mSelector.madeNs);
    mText +=
        "{\"made\":" + std::to_string(mSelector.number) + ",\"ns\":" + std::to_string(mSelector.madeNs) + "}\n";
}

/// A file's header. The first call behind it stands for itself.
void Recording::beginPart(int64_t const* properties, int64_t ns) {
    ++mPart;
    auto const epoch = std::chrono::system_clock::now().time_since_epoch();
    mText +=
        "{\"format\":\"zsl-recording\",\"version\":2,\"plugin\":" + quoted(mSelector.name) +
        ",\"process\":" + std::to_string(getpid()) + ",\"selector\":" + std::to_string(mSelector.number) +
        ",\"madeNs\":" + std::to_string(mSelector.madeNs) + ",\"part\":" + std::to_string(mPart) +
        ",\"startedAtMs\":" + std::to_string(std::chrono::duration_cast<std::chrono::milliseconds>(epoch).count()) +
        ",\"ns\":" + std::to_string(ns) + ",\"properties\":";
    appendProperties(mText, properties);
    mText += "}\n";
    mNeedsPart = false;
}

void Recording::takeCall(WordReader words) {
    int64_t const bits = words.next();
    mLost += words.count();
    if ((bits & kIsBase) == 0 && mNeedsBase) {
        ++mLost;
        return;
    }
    if ((bits & kIsBase) != 0) {
        mCallText.forget();
        if (mNeedsPart) {
            if (mFile) {
                mText += "{\"ended\":\"continued\"}\n";
                flush();
                mFile.reset();
                if (isOver()) {
                    return;
                }
            }
            int64_t const* const facts = words.place();
            beginPart(facts + 4, facts[1]);
        }
        mNeedsBase = false;
    }
    tellLost();
    mCallText.append(mText, bits, words);
    ++mUnwritten;
    if (!mNeedsPart && mFile && mFile->bytes() + mText.size() > mMostBytes) {
        mNeedsPart = true;
        mWantsBase.store(true, std::memory_order_relaxed);
    }
}

void Recording::tellLost() {
    if (mLost > 0) {
        mText += "{\"lost\":" + std::to_string(mLost) + "}\n";
        mUnwritten += mLost;
        mLost = 0;
    }
}

void Recording::takeGone(WordReader words) {
    mIsGone = true;
    mLost += words.count();
    if (mFile || !mText.empty()) {
        tellLost();
        mText +=
            "{\"gone\":" + std::to_string(mSelector.number) + ",\"ns\":" + std::to_string(words.next()) + "}\n";
    }
}

void Recording::flush() noexcept {
    if (isOver() || mText.empty()) {
        return;
    }
    constexpr int kAttempts = 2;  // memory that was short may be there again
    for (int attempt = 0; attempt < kAttempts; ++attempt) {
        try {
            write();
            return;
        } catch (...) {
        }
    }
    lose();
}

void Recording::write() {
    if (!mFolder.reserve(mText.size(), mFile ? mFile->name() : std::string())) {
        if (!mHasToldRoom) {
            mHasToldRoom = true;
            logError(("recording: no room for more in " + mFolder.path()).c_str());
        }
        lose();
        return;
    }
    if (mFile && !mFile->isUntouched()) {
        logError(("recording: " + mFile->name() + " was deleted or changed: a new file begins").c_str());
        mFile.reset();
        lose();
        return;
    }
    if (!mFile) {
        mFile = RecordingFile::make(mFolder.path(), mSelector.number);
        if (!mFile) {
            int const error = errno;
            end("cannot make a file in " + mFolder.path(), error);
            return;
        }
    }
    if (!mFile->write(mText)) {
        int const error = errno;
        mIsOver.store(true, std::memory_order_relaxed);  // if there is no memory for words, either
        end(mFile->name() + " ends", error);
        return;
    }
    mText.clear();
    mUnwritten = 0;
}

/// No more of this selector, for this reason.
void Recording::end(std::string const& what, int error) {
    mIsOver.store(true, std::memory_order_relaxed);
    mFile.reset();
    mText = std::string();
    logError(("recording: " + what + ": " + std::strerror(error)).c_str());
}

}  // namespace NSCam::Recorder
