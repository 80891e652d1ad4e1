#include "Writer.h"

#include <pthread.h>
#include <sched.h>
#include <signal.h>
#include <unistd.h>
#include <vzrcam/Properties.h>

#include <algorithm>
#include <chrono>
#include <cstdlib>
#include <memory>

namespace NSCam::Recorder {

namespace {

/// So long a round waits for more, for which the hosts' threads then need not wake the writer.
constexpr std::chrono::milliseconds kRound{20};

std::atomic<Writer*> theWriter{nullptr};

/// Counts the forks between this process and the one that loaded the library.
std::atomic<uint32_t> theForks{0};

/// A child that is forked while a thread is in here must find no lock held: none is needed.
bool const kIsWatchingForks = pthread_atfork(nullptr, nullptr, [] { theForks.fetch_add(1); }) == 0;

/// A property's number of units as bytes.
uint64_t sizeOf(char const* property, int64_t defaultValue, uint64_t unit) {
    constexpr int64_t kMost = 1000000;
    int64_t const value = Utils::Properties::property_get_int64(property, defaultValue);
    return static_cast<uint64_t>(value > 0 && value <= kMost ? value : defaultValue) * unit;
}

Writer::Limits readLimits() {
    constexpr uint64_t kMegabyte = 1000000;
    uint64_t const total = sizeOf("vendor.debug.camera.zsl.record.total.mb", 512, kMegabyte);
    return {static_cast<size_t>(sizeOf("vendor.debug.camera.zsl.record.kb", 4096, 1024)),
            std::min(sizeOf("vendor.debug.camera.zsl.record.mb", 64, kMegabyte), total / 2), total};
}

std::string folderOfRecordings() {
#ifdef __ANDROID__
    char const* const defaultFolder = "/data/vendor/camera";
#else
    char const* const defaultFolder = ".";
#endif
    char const* const folder = std::getenv("ZSL_RECORD_DIR");
    return folder != nullptr && *folder != '\0' ? folder : defaultFolder;
}

}  // namespace

Writer::Writer(std::string folder, Limits const& limits)
    : mQueue(limits.queueBytes),
      mFolder(std::move(folder), limits.totalBytes),
      mMostBytesAFile(limits.fileBytes),
      mForks(theForks.load()) {}

Writer::~Writer() { end(); }

void Writer::end() noexcept {
    if (mThread.joinable()) {
        mIsEnding.store(true);
        mQueue.wake();
        mThread.join();
    }
}

bool Writer::isOfThisProcess() const noexcept {
    return kIsWatchingForks && mForks == theForks.load(std::memory_order_relaxed);
}

/// Signals are the host's: its handlers do not run on this thread, and the signal of a file-size limit reaches
/// nobody.
void Writer::start() {
    sigset_t all;
    sigset_t before;
    sigfillset(&all);
    pthread_sigmask(SIG_SETMASK, &all, &before);
    try {
        mThread = std::thread([this] { run(); });
    } catch (...) {
        pthread_sigmask(SIG_SETMASK, &before, nullptr);
        throw;
    }
    pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

Writer* Writer::ofProcess() noexcept {
    Writer* known = theWriter.load(std::memory_order_acquire);
    if (known != nullptr && known->isOfThisProcess()) {
        return known;
    }
    try {
        std::unique_ptr<Writer> fresh(new Writer(folderOfRecordings(), readLimits()));
        fresh->start();
        if (theWriter.compare_exchange_strong(known, fresh.get(), std::memory_order_acq_rel)) {
            return fresh.release();  // in a child, the parent's is left alone
        }
        return known;
    } catch (...) {
        logError("recording: no memory or no thread for it");
        return nullptr;
    }
}

void Writer::endOfProcess(bool isInUse) noexcept {
    Writer* const writer = theWriter.load(std::memory_order_acquire);
    if (writer == nullptr || !writer->isOfThisProcess()) {
        return;
    }
    writer->end();
    if (!isInUse) {
        theWriter.store(nullptr, std::memory_order_release);
        delete writer;
    }
}

void Writer::run() noexcept {
    // Batch: waking up never takes the processor from a thread of the host. No lower priority: a thread that hardly
    // runs would hold locks of the heap that the hosts' threads wait for.
    sched_param const batch{};
    pthread_setschedparam(pthread_self(), SCHED_BATCH, &batch);
    pthread_setname_np(pthread_self(), "zsl-recorder");
    while (!mIsEnding.load()) {
        mQueue.wait();
        for (int slice = 0; slice < 4 && !mIsEnding.load(); ++slice) {
            std::this_thread::sleep_for(kRound / 4);
        }
        writeRound();
    }
    writeRound();  // what came until the end was asked for
}

/// Takes what is there, and writes it.
void Writer::writeRound() noexcept {
    Recording* touched = nullptr;
    for (Record* record = mQueue.takeAll(); record != nullptr;) {
        Recording& recording = *record->recording;
        recording.take(*record);
        if (!recording.isTouched) {
            recording.isTouched = true;
            recording.nextTouched = touched;
            touched = &recording;
        }
        Record* const next = record->next;
        mQueue.release(record);
        record = next;
    }
    while (touched != nullptr) {
        Recording* const next = touched->nextTouched;
        touched->isTouched = false;
        touched->flush();
        if (touched->isGone()) {
            delete touched;
        }
        touched = next;
    }
}

}  // namespace NSCam::Recorder
