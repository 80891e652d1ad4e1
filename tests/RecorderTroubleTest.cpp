// The recorder in trouble: short memory, bad disks, forks, kills. The host notices none of it, and what is recorded
// can be read.
#include <dlfcn.h>
#include <sys/mman.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cerrno>
#include <random>
#include <thread>

#include "CountingNew.h"
#include "RecorderDesk.h"

namespace {

/// What the disk does, shared with children: the write that fails, and how many there were.
struct Disk {
    std::atomic<int> writes{0};
    std::atomic<int> failing{0};  // 0: none; it writes half of it if the number is even
    std::atomic<int> slowMs{0};
    std::atomic<int64_t> bytes{0};
};
Disk* const disk =
    new (mmap(nullptr, sizeof(Disk), PROT_READ | PROT_WRITE, MAP_SHARED | MAP_ANONYMOUS, -1, 0)) Disk;

bool isRecording(int descriptor) {
    char path[4096];
    std::string const link = "/proc/self/fd/" + std::to_string(descriptor);
    ssize_t const length = readlink(link.c_str(), path, sizeof path);
    return length > 7 && std::string(path + length - 7, 7) == ".ndjson";
}

}  // namespace

/// Comes before the C library's for the recorder, too.
extern "C" ssize_t writeHere(int descriptor, void const* data, size_t size) __asm__("write");
extern "C" ssize_t writeHere(int descriptor, void const* data, size_t size) {
    if (!isRecording(descriptor)) {
        return syscall(SYS_write, descriptor, data, size);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(disk->slowMs));
    int const number = ++disk->writes;
    int const failing = disk->failing;
    if (failing > 0 && number == failing + 1 - failing % 2) {
        errno = failing % 4 < 2 ? ENOSPC : EIO;
        return -1;
    }
    bool const isHalf = failing > 0 && number == failing && failing % 2 == 0;
    ssize_t const written = syscall(SYS_write, descriptor, data, isHalf ? size / 2 : size);
    disk->bytes += written;
    return written;
}

namespace ZslTest {
namespace {

constexpr size_t kNever = SIZE_MAX / 4;

class InTrouble : public Recording {
  protected:
    /// What a host shows at one call after the other: a new frame each, the oldest leaves.
    static std::deque<Scene> scenes(FrameNo calls) {
        std::deque<Scene> scenes;
        for (FrameNo call = 0; call < calls; ++call) {
            scenes.emplace_back().history(call + 1, call + 9).inflight(call + 10, call + 11).shutterAt(call + 6);
            scenes.back().request(call);
        }
        return scenes;
    }

    /// Makes a selector, calls it, and lets it go; the answers. In the step that is told, the allocation after
    /// `count` others fails, so many in a row; a step that memory ends is made again.
    std::vector<std::string> live(std::deque<Scene> const& calls, std::chrono::milliseconds pause = {},
                                  size_t failing = kNever, size_t count = 0, size_t inARow = 0) {
        std::shared_ptr<ISelector> selector;
        std::vector<std::string> answers(calls.size());
        hasFailed = false;
        for (size_t step = 0; step < calls.size() + 2; ++step) {
            ISelector::SelectOutputParams out;
            auto const make = [&] {
                if (step == 0) {
                    selector = mRecorder->makeSelector();
                } else if (step <= calls.size()) {
                    out = selector->select(calls[step - 1].in);
                } else {
                    selector.reset();
                }
            };
            try {
                failAllocationAfter(step == failing ? count : kNever, inARow);
                make();
            } catch (std::bad_alloc const&) {
                ++badAllocations;
                failAllocationAfter(kNever);
                hasFailed = true;
                make();
            }
            hasFailed = hasFailed || hasAllocationFailed();
            failAllocationAfter(kNever);
            if (step > 0 && step <= calls.size()) {
                answers[step - 1] = show(out);
                std::this_thread::sleep_for(pause);
            }
        }
        return answers;
    }

    /// All recordings can be read, and every call is told or counted as lost; the calls that are told.
    size_t expectWhole(uint64_t calls) {
        size_t told = 0;
        for (auto const& files : series()) {
            auto const recording = read(files);
            EXPECT_LE(recording.lastCall, calls) << files.at(0);
            told += recording.calls.size();
        }
        return told;
    }

    std::deque<Scene> const few = scenes(4);
    bool hasFailed = false;
    int badAllocations = 0;
};

/// The recorder lives without the memory; what the selector itself lacks, the host hears.
TEST_F(InTrouble, ShortOfMemory) {
    auto const answers = live(few);
    size_t total = 0;
    for (size_t const inARow : {size_t{1}, size_t{2}, size_t{5}}) {
        for (size_t step = 0; step < few.size() + 2; ++step) {
            size_t count = 0;
            do {
                if (step == 0) {
                    mRecorder.emplace(RECORDER);  // with what is made for the first selector
                }
                ASSERT_EQ(live(few, {}, step, count++, inARow), answers)
                    << "step " << step << ", allocation " << count;
                total += hasFailed ? 1 : 0;
            } while (hasFailed);
        }
    }
    EXPECT_GT(total, 100U);
    EXPECT_GT(badAllocations, 0);
    EXPECT_GT(expectWhole(few.size()), total);
    RecordProperty("failures", static_cast<int>(total));
}

TEST_F(InTrouble, ShortOfMemoryForTheWriter) {
    size_t count = 0;
    size_t told = 0;
    do {
        mRecorder.emplace(RECORDER);
        failAllocationOfOthersAfter(count++);
        live(few);
        mRecorder.reset();
        hasFailed = hasAllocationFailed();
        failAllocationOfOthersAfter(kNever * 2);
        told += expectWhole(few.size());
        std::filesystem::remove_all(mFolder);
        std::filesystem::create_directory(mFolder);
    } while (hasFailed);
    EXPECT_GT(count, 50U);
    EXPECT_GT(told, count / 2);  // a lost base takes with it what was queued behind it
    RecordProperty("failures", static_cast<int>(count));
}

TEST_F(InTrouble, ADiskThatFails) {
    auto const answers = live(few, std::chrono::milliseconds(40));
    for (disk->failing = 1; disk->writes >= disk->failing; ++disk->failing) {
        disk->writes = 0;
        ASSERT_EQ(live(few, std::chrono::milliseconds(40)), answers) << "write " << disk->failing;
        mRecorder.emplace(RECORDER);
    }
    EXPECT_GT(disk->failing, 3);
    for (auto const& files : series()) {
        EXPECT_GT(std::filesystem::file_size(files.at(0)), 0U);
    }
    EXPECT_GT(expectWhole(few.size()), few.size());
}

TEST_F(InTrouble, ADiskThatIsSlow) {
    Properties::set("vendor.debug.camera.zsl.record.kb", "16");
    disk->slowMs = 200;
    auto const calls = scenes(400);
    auto const before = std::chrono::steady_clock::now();
    live(calls, std::chrono::milliseconds(1));
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::seconds(20));
    auto const told = read(series().at(0));
    EXPECT_EQ(told.lastCall, 400U);
    EXPECT_GT(told.gaps, 0U);
    EXPECT_GT(told.calls.size(), 10U);
    EXPECT_LT(told.calls.size(), 400U);
}

#ifdef __SANITIZE_THREAD__
constexpr bool kCanChildrenHaveThreads = false;  // the sanitizer cannot follow them
#else
constexpr bool kCanChildrenHaveThreads = true;
#endif

/// Each of a process's forks has its own recording, and none of the parent's.
TEST_F(InTrouble, Forks) {
    auto selector = mRecorder->makeSelector();
    for (int fork = 0; fork < 30; ++fork) {
        selector->select(few[0].in);
        pid_t const child = ::fork();
        if (child == 0) {
            alarm(20);
            selector->select(few[1].in);
            if (fork == 0 && kCanChildrenHaveThreads) {
                live(few);
            }
            selector.reset();
            mRecorder.reset();
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(child, waitpid(child, &status, 0));
        EXPECT_EQ(status, 0);
    }
    selector.reset();
    auto const recordings = series();
    ASSERT_EQ(recordings.size(), kCanChildrenHaveThreads ? 2U : 1U);
    uint64_t calls = 0;
    for (auto const& files : recordings) {
        calls += read(files).lastCall;
        EXPECT_EQ(read(files).gaps, 0U);
    }
    EXPECT_EQ(calls, 30 + (kCanChildrenHaveThreads ? few.size() : 0));
}

/// The file goes, or shrinks, while it is written: a new one begins, and what is missing is said.
TEST_F(InTrouble, AFileThatIsTampered) {
    for (bool const isDeleted : {true, false}) {
        mRecorder.emplace(RECORDER);
        auto selector = mRecorder->makeSelector();
        for (int round = 0; round < 3; ++round) {
            for (Scene const& scene : few) {
                selector->select(scene.in);
                std::this_thread::sleep_for(std::chrono::milliseconds(50));
            }
            for (auto const& file : std::filesystem::directory_iterator(mFolder)) {
                if (round == 0) {
                    isDeleted ? void(std::filesystem::remove(file)) : std::filesystem::resize_file(file, 1500);
                }
            }
        }
        selector.reset();
        auto const files = series().at(0);
        ASSERT_EQ(files.size(), isDeleted ? 1U : 2U);
        auto const told = read({files.back()});
        EXPECT_EQ(told.lastCall, 12U);
        EXPECT_GE(told.calls.size(), 4U);
        EXPECT_GE(told.gaps, 1U);
        std::filesystem::remove_all(mFolder);
        std::filesystem::create_directory(mFolder);
    }
}

/// What the disk was given is there, in whole lines, whenever the process ends.
TEST_F(InTrouble, AHundredKills) {
    mRecorder.reset();
    std::mt19937 random(7);
    size_t told = 0;
    for (int kill = 0; kill < 100; ++kill) {
        disk->bytes = 0;
        pid_t const child = fork();
        if (child == 0) {
            mRecorder.emplace(RECORDER);
            while (true) {
                live(few, std::chrono::milliseconds(kill % 3));
            }
        }
        std::this_thread::sleep_for(std::chrono::milliseconds(20 + random() % 60));
        ::kill(child, SIGKILL);
        waitpid(child, nullptr, 0);
        int64_t bytes = 0;
        for (auto const& files : series()) {
            bytes += static_cast<int64_t>(std::filesystem::file_size(files.at(0)));
            auto const size = std::filesystem::file_size(files.at(0));
            told += size > 0 ? read(files).calls.size() : 0;
            std::filesystem::remove(files.at(0));
        }
        EXPECT_GE(bytes, disk->bytes);
    }
    EXPECT_GT(told, 100U);
}

/// A long session goes on in further files; all together keep to their greatest size, and nothing else is touched.
TEST_F(InTrouble, TheOldestGo) {
    Properties::set("vendor.debug.camera.zsl.record.mb", "1");
    Properties::set("vendor.debug.camera.zsl.record.total.mb", "2");
    auto const place = [&](char const* name, size_t bytes) {
        std::ofstream(mFolder / name) << std::string(bytes, 'x');
    };
    place("zsl-1-1-1.ndjson", 900000);
    place("zsl-1-2.ndjson", 900000);
    place("zsl-notes.ndjson", 900000);
    place("zsl-1-1-1.txt", 900000);
    auto const sum = [&] {
        uintmax_t bytes = 0;
        for (auto const& file : std::filesystem::directory_iterator(mFolder)) {
            bytes += file.path().filename().string().find("zsl-notes") == 0 || file.path().extension() == ".txt"
                         ? 0
                         : file.file_size();
        }
        return bytes;
    };
    auto selector = mRecorder->makeSelector();
    Scene scene;
    scene.history(1, 60);
    for (int call = 0; call < 1000; ++call) {
        scene.app(scene.in.history.begin()->first).set(kEv, int32_t{call});  // frames change as they should not
        for (auto& frame : scene.in.history) {
            frame.second.requestNo = static_cast<RequestNo>(call);
        }
        selector->select(scene.in);
        if (call % 20 == 0) {
            std::this_thread::sleep_for(std::chrono::milliseconds(25));
            EXPECT_LT(sum(), 2000000U);
        }
    }
    selector.reset();
    mRecorder.reset();
    EXPECT_FALSE(std::filesystem::exists(mFolder / "zsl-1-1-1.ndjson"));
    EXPECT_FALSE(std::filesystem::exists(mFolder / "zsl-1-2.ndjson"));
    EXPECT_TRUE(std::filesystem::remove(mFolder / "zsl-notes.ndjson"));
    EXPECT_TRUE(std::filesystem::remove(mFolder / "zsl-1-1-1.txt"));
    auto const told = read(series().at(0));
    EXPECT_GT(told.parts, 2U);
    EXPECT_EQ(told.lastCall, 1000U);
    EXPECT_GT(told.calls.size(), 20U);
    EXPECT_GE(told.gaps, 1U);  // the first files are gone
}

/// The host closes the library and opens it again: so it does with the plug-in, and the recording is whole.
TEST_F(InTrouble, ClosedAndOpenedAgain) {
    auto const isOpen = [] {
        void* const library = dlopen(PLUGIN, RTLD_NOW | RTLD_NOLOAD);
        return library != nullptr && dlclose(library) == 0;
    };
    for (int life = 0; life < 3; ++life) {
        mRecorder.emplace(RECORDER);
        live(few);
        EXPECT_TRUE(isOpen());
        mRecorder.reset();
        EXPECT_FALSE(isOpen());
    }
    EXPECT_EQ(expectWhole(few.size()), 3 * few.size());
}

}  // namespace
}  // namespace ZslTest
