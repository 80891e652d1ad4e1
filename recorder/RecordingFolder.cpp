#include "RecordingFolder.h"

#include <android/log.h>
#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <tuple>
#include <vector>

namespace NSCam::Recorder {

namespace {

struct File {
    std::string name;
    timespec changed;
    uint64_t bytes;
};

/// What a file takes, by the blocks of usual file systems: many small ones fill a partition, too.
uint64_t blocksOf(uint64_t bytes) {
    constexpr uint64_t kBlock = 4096;
    return (bytes + kBlock - 1) / kBlock * kBlock;
}

}  // namespace

void logError(char const* text) noexcept {
    constexpr int kError = 6;
    __android_log_print(kError, "SampleRecorder", "%s", text);
}

bool isRecordingName(char const* name) {
    if (std::strncmp(name, "zsl-", 4) != 0) {
        return false;
    }
    char const* place = name + 3;
    int numbers = 0;
    while (*place == '-' && place[1] >= '0' && place[1] <= '9') {
        for (++place; *place >= '0' && *place <= '9'; ++place) {
        }
        ++numbers;
    }
    return (numbers == 2 || numbers == 3) && std::strcmp(place, ".ndjson") == 0;
}

bool RecordingFolder::reserve(uint64_t bytes, std::string const& current) {
    if (bytes > mRoom && !makeRoom(bytes, current)) {
        return false;
    }
    mRoom -= bytes;
    return true;
}

bool RecordingFolder::makeRoom(uint64_t bytes, std::string const& current) {
    std::unique_ptr<DIR, int (*)(DIR*)> const folder(opendir(mPath.c_str()), closedir);
    if (folder == nullptr) {
        mRoom = bytes;  // whoever makes a file there hears what is wrong
        return true;
    }
    std::vector<File> files;
    uint64_t sum = 0;
    while (dirent const* const entry = readdir(folder.get())) {
        struct stat about {};
        if (isRecordingName(entry->d_name) &&
            fstatat(dirfd(folder.get()), entry->d_name, &about, AT_SYMLINK_NOFOLLOW) == 0 &&
            S_ISREG(about.st_mode)) {
            uint64_t const size = blocksOf(static_cast<uint64_t>(about.st_size));
            sum += size;
            if (entry->d_name != current) {
                files.push_back({entry->d_name, about.st_mtim, size});
            }
        }
    }
    std::sort(files.begin(), files.end(), [](File const& left, File const& right) {
        return std::tie(left.changed.tv_sec, left.changed.tv_nsec, left.name) <
               std::tie(right.changed.tv_sec, right.changed.tv_nsec, right.name);
    });
    // Other processes write, too: the room is told anew after a sixty-fourth of the whole.
    uint64_t const wanted = blocksOf(std::max(bytes, mMostBytes / 64));
    for (auto file = files.begin(); file != files.end() && sum + wanted > mMostBytes; ++file) {
        if (unlinkat(dirfd(folder.get()), file->name.c_str(), 0) == 0) {
            sum -= file->bytes;
        }
    }
    mRoom = sum < mMostBytes ? std::min(mMostBytes - sum, wanted) : 0;
    return bytes <= mRoom;
}

}  // namespace NSCam::Recorder
