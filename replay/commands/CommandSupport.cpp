#include "CommandSupport.h"

#include <unistd.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "replay/model/InputError.h"

namespace Replay {

namespace {

/// The files of the folder and of those below it, in the order of their paths, without hidden ones.
void addFiles(std::filesystem::path const& folder, std::vector<std::string>& files) {
    std::vector<std::filesystem::path> paths;
    for (auto const& entry : std::filesystem::directory_iterator(folder)) {
        if (entry.path().filename().string()[0] != '.') {
            paths.push_back(entry.path());
        }
    }
    std::sort(paths.begin(), paths.end());
    for (auto const& path : paths) {
        if (std::filesystem::is_directory(path)) {
            addFiles(path, files);
        } else {
            files.push_back(path.string());
        }
    }
}

}  // namespace

std::vector<std::string> filesOf(std::vector<std::string> const& inputs) {
    std::vector<std::string> files;
    for (std::string const& input : inputs) {
        std::error_code error;
        if (!std::filesystem::is_directory(input, error)) {
            files.push_back(input);
            continue;
        }
        size_t const before = files.size();
        try {
            addFiles(input, files);
        } catch (std::filesystem::filesystem_error const& failure) {
            throw InputError(failure.path1().string() + ": " + failure.code().message());
        }
        if (files.size() == before) {
            throw InputError(input + ": there is no file in the folder");
        }
    }
    return files;
}

Progress::Progress() : mIsTerminal(isatty(STDERR_FILENO) != 0), mNext(Clock::now() + std::chrono::seconds(1)) {}

void Progress::show(std::string const& text) {
    if (mIsTerminal && Clock::now() >= mNext) {
        mNext = Clock::now() + std::chrono::milliseconds(200);
        mIsShown = true;
        std::cerr << "\r" << text << ' ' << std::flush;
    }
}

void Progress::clear() {
    if (mIsShown) {
        std::cerr << "\r" << std::string(60, ' ') << "\r";
        mIsShown = false;
    }
}

}  // namespace Replay
