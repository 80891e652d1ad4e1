// Stands between host and selector: passes every call through, and has it recorded when that is asked for.
#include <pthread.h>
#include <sys/syscall.h>
#include <unistd.h>
#include <vzrcam/Properties.h>

#include <chrono>
#include <mutex>

#include "Capture.h"
#include "RealPlugin.h"
#include "Writer.h"

namespace NSCam::Recorder {

namespace {

std::atomic<int64_t> theSelectors{0};  // that there are

int64_t monotonicNs() {
    return std::chrono::duration_cast<std::chrono::nanoseconds>(std::chrono::steady_clock::now().time_since_epoch())
        .count();
}

/// The number of the thread, as the log shows it. The system is asked once a thread, or for one that has another's
/// place.
class ThreadNumber {
  public:
    int64_t ofCaller() {
        pthread_t const self = pthread_self();
        if (mNumber == 0 || pthread_equal(self, mThread) == 0) {
            mThread = self;
            mNumber = syscall(SYS_gettid);
        }
        return mNumber;
    }

  private:
    pthread_t mThread{};
    int64_t mNumber = 0;
};

/// The host's end of a selector's recording.
class Recorded {
  public:
    /// Has the selector recorded from now on; null, if it cannot be.
    static std::unique_ptr<Recorded> begin(ISelector const& selector) noexcept {
        try {
            Writer* const writer = Writer::ofProcess();
            return std::unique_ptr<Recorded>(writer != nullptr ? new Recorded(*writer, selector) : nullptr);
        } catch (...) {
            logError("recording: no memory for it");
            return nullptr;
        }
    }

    ~Recorded() {
        if (!mWriter.isOfThisProcess()) {
            return;  // the recording is the parent's
        }
        mGone->words()[0] = static_cast<int64_t>(mLost);
        mGone->words()[1] = monotonicNs();
        mWriter.queue().push(mGone);
    }
    Recorded(Recorded const&) = delete;
    Recorded& operator=(Recorded const&) = delete;

    bool isWanted() const noexcept { return mWriter.isOfThisProcess() && !mRecording.isOver(); }

    /// Takes a call down. Whatever goes wrong costs a record, and nothing else; a call that is lost is counted.
    void take(ISelector::SelectInputParams const& in, ISelector::SelectOutputParams const& out, CallFacts facts,
              bool isWhole) noexcept {
        std::lock_guard<std::mutex> const lock(mMutex);  // a host's calls must not overlap, but they may
        facts.number = ++mCalls;
        if (isWhole && !mWriter.queue().isFull()) {
            try {
                if (mRecording.takeWishForBase()) {
                    mCapture.forget();
                }
                facts.thread = mThread.ofCaller();
                facts.lost = mLost;
                facts.after = readProperties();
                facts.runtimeSwitch = RealPlugin::runtimeSwitch();
                facts.others = RealPlugin::calledSelectors() - 1;
                if (mWriter.queue().put(mRecording, RecordKind::Call, mCapture.take(in, out, facts))) {
                    mLost = 0;
                    return;
                }
            } catch (...) {  // no memory, which is why nothing is allocated here
            }
        }
        ++mLost;
        mCapture.forget();
    }

  private:
    Recorded(Writer& writer, ISelector const& selector)
        : Recorded(writer, std::unique_ptr<Recording>(
                               new Recording({writer.nextSelector(), monotonicNs(), selector.getName()},
                                             writer.folder(), writer.mostBytesAFile()))) {}

    Recorded(Writer& writer, std::unique_ptr<Recording> recording) : mWriter(writer), mRecording(*recording) {
        PropertyValues const properties = readProperties();
        int64_t const end[2] = {};
        Record* const made = RecordQueue::make(mRecording, RecordKind::Made, properties.data(), properties.size());
        mGone = RecordQueue::make(mRecording, RecordKind::Gone, end, 2);
        if (made == nullptr || mGone == nullptr) {
            RecordQueue::discard(made);
            RecordQueue::discard(mGone);
            throw std::bad_alloc();
        }
        writer.queue().push(made);
        static_cast<void>(recording.release());  // the writer's
    }

    Writer& mWriter;
    Recording& mRecording;
    Record* mGone = nullptr;  // made in time: that it is gone can always be told
    std::mutex mMutex;
    Capture mCapture;
    ThreadNumber mThread;
    uint64_t mCalls = 0;
    uint64_t mLost = 0;  // calls since the last one that was taken down
};

class Recorder : public ISelector {
  public:
    explicit Recorder(std::shared_ptr<ISelector> inner) : mInner(std::move(inner)) {
        if (Utils::Properties::property_get_bool("vendor.debug.camera.zsl.record", 0) != 0) {
            mRecorded = Recorded::begin(*mInner);
        }
    }

    ~Recorder() override {
        mRecorded.reset();
        mInner.reset();
        theSelectors.fetch_sub(1);  // made by the factory, which counts it
    }

    Recorder(Recorder const&) = delete;
    Recorder& operator=(Recorder const&) = delete;

    char const* getName() const override { return mInner->getName(); }

    SelectOutputParams select(SelectInputParams const& in) override {
        if (!mHasCalled.load(std::memory_order_relaxed) && !mHasCalled.exchange(true)) {
            RealPlugin::FirstCall first;
            return answer(in, &first);
        }
        return mRecorded == nullptr ? mInner->select(in) : answer(in, nullptr);
    }

  private:
    SelectOutputParams answer(SelectInputParams const& in, RealPlugin::FirstCall* first) {
        bool const isRecorded = mRecorded != nullptr && mRecorded->isWanted();
        CallFacts facts;
        bool const isWhole = isRecorded && guarded([&] { facts.before = readProperties(); });
        facts.ns = monotonicNs();
        SelectOutputParams out = mInner->select(in);
        facts.tookNs = monotonicNs() - facts.ns;
        if (first != nullptr) {
            guarded([&] { first->hasAnswered(); });
        }
        if (isRecorded) {
            mRecorded->take(in, out, facts, isWhole);
        }
        return out;
    }

    /// Nothing that goes wrong here may reach the host.
    template <typename Work>
    static bool guarded(Work work) noexcept {
        try {
            work();
            return true;
        } catch (...) {
            return false;
        }
    }

    std::shared_ptr<ISelector> mInner;
    std::unique_ptr<Recorded> mRecorded;
    std::atomic<bool> mHasCalled{false};
};

/// Runs when the library is unloaded; at the end of the process, behind the destructors of its statics.
__attribute__((destructor)) void unload() {
    bool const isInUse = theSelectors.load() > 0;
    Writer::endOfProcess(isInUse);
    if (!isInUse) {
        RealPlugin::close();
    }
}

}  // namespace

}  // namespace NSCam::Recorder

extern "C" void createCustomSelector(std::shared_ptr<NSCam::ZslPolicy::ISelector>& selector) {
    using namespace NSCam::Recorder;
    std::shared_ptr<ISelector> const inner = RealPlugin::makeSelector();
    if (inner == nullptr) {
        return;
    }
    theSelectors.fetch_add(1);
    try {
        selector = std::make_shared<Recorder>(inner);
    } catch (...) {
        selector = inner;  // no memory for the recorder, but there is a selector
    }
}
