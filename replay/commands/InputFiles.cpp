#include "InputFiles.h"

#include <fmt/core.h>

#include <algorithm>
#include <filesystem>
#include <iostream>

#include "replay/model/InputError.h"
#include "replay/model/Printable.h"

namespace Replay {

namespace {

namespace Files = std::filesystem;

/// What it is, if neither a file nor a folder; null: it is one of them, or not there.
char const* foreignKind(Files::file_status const& status) {
    switch (status.type()) {
        case Files::file_type::fifo: return "a FIFO";
        case Files::file_type::socket: return "a socket";
        case Files::file_type::block:
        case Files::file_type::character: return "a device";
        default: return nullptr;
    }
}

class FolderReader {
  public:
    explicit FolderReader(InputFiles& found) : mFound(found) {}

    /// The files of the folder and of those below it.
    void read(Files::path const& folder) {
        auto const place = Files::canonical(folder);
        if (std::find(mAbove.begin(), mAbove.end(), place) != mAbove.end()) {
            leaveOut(folder, "leads back to a folder above it");
            return;
        }
        std::vector<Files::path> paths;
        for (auto const& entry : Files::directory_iterator(folder)) {
            if (entry.path().filename().string()[0] != '.') {
                paths.push_back(entry.path());
            }
        }
        std::sort(paths.begin(), paths.end());
        mAbove.push_back(place);
        for (auto const& path : paths) {
            take(path);
        }
        mAbove.pop_back();
    }

  private:
    void take(Files::path const& path) {
        std::error_code error;
        auto const status = Files::status(path, error);
        if (error == std::errc::too_many_symbolic_link_levels) {
            leaveOut(path, "links that lead nowhere");
        } else if (char const* const kind = foreignKind(status)) {
            leaveOut(path, kind);
        } else if (Files::is_directory(status)) {
            read(path);
        } else {
            mFound.paths.push_back(path.string());
        }
    }

    void leaveOut(Files::path const& path, char const* reason) {
        mFound.notes.push_back(fmt::format("{}: left out: {}", path.string(), reason));
    }

    InputFiles& mFound;
    std::vector<Files::path> mAbove;  // the folders that are being read
};

}  // namespace

void InputFiles::tellNotes() const {
    for (std::string const& note : notes) {
        std::cerr << "zsl-replay: note: " << printable(note) << '\n';
    }
}

InputFiles filesOf(std::vector<std::string> const& inputs) {
    InputFiles found;
    for (std::string const& input : inputs) {
        std::error_code error;
        auto const status = Files::status(input, error);
        if (char const* const kind = input == "-" ? nullptr : foreignKind(status)) {
            throw InputError(fmt::format("{}: is {}; expected a file or a folder", input, kind));
        }
        if (input == "-" || !Files::is_directory(status)) {
            found.paths.push_back(input);
            continue;
        }
        size_t const before = found.paths.size();
        try {
            FolderReader(found).read(input);
        } catch (Files::filesystem_error const& failure) {
            throw InputError(fmt::format("{}: {}", failure.path1().string(), failure.code().message()));
        }
        if (found.paths.size() == before) {
            throw InputError(fmt::format("{}: there is no file in the folder", input));
        }
    }
    return found;
}

}  // namespace Replay
