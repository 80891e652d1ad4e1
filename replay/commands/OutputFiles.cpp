#include "OutputFiles.h"

#include <fmt/core.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <optional>
#include <stdexcept>

#include "replay/model/InputError.h"
#include "replay/model/Printable.h"

namespace Replay {

namespace {

namespace fs = std::filesystem;

/// Nothing: there is no such file.
std::optional<struct stat> statusOf(std::string const& path, int standardStream) {
    struct stat status {};
    int const failed = path == "-" ? fstat(standardStream, &status) : stat(path.c_str(), &status);
    return failed == 0 ? std::optional(status) : std::nullopt;
}

/// The path without links and detours, as far as it exists.
fs::path resolved(std::string const& path) {
    std::error_code error;
    fs::path const whole = fs::weakly_canonical(fs::absolute(path, error), error);
    return error ? fs::path(path) : whole;
}

/// Of files alone: a device or a pipe takes what several write.
bool areSame(std::string const& output, std::string const& other, int standardStream) {
    if (output == "-" && other == "-") {
        return standardStream == STDOUT_FILENO;
    }
    auto const one = statusOf(output, STDOUT_FILENO);
    auto const two = statusOf(other, standardStream);
    if (one && two) {
        return S_ISREG(one->st_mode) && one->st_dev == two->st_dev && one->st_ino == two->st_ino;
    }
    return !one && !two && output != "-" && other != "-" && resolved(output) == resolved(other);
}

/// An unused file beside `path`, which is to take its place and has its permissions. Empty: see errno.
std::string fileBeside(fs::path const& path) {
    std::string name = (path.parent_path() / ("." + path.filename().string() + ".XXXXXX")).string();
    int const descriptor = mkstemp(name.data());
    if (descriptor < 0) {
        return {};
    }
    auto const old = statusOf(path.string(), STDOUT_FILENO);
    mode_t const mask = umask(0);
    umask(mask);
    fchmod(descriptor, old ? old->st_mode & 07777U : 0666U & ~mask);
    close(descriptor);
    return name;
}

/// Throws std::exception.
void check(bool isFine) {
    if (!isFine) {
        throw std::runtime_error(errno != 0 ? std::strerror(errno) : "cannot be written");
    }
}

void writeInto(std::string const& path, std::function<void(std::ostream&)> const& write) {
    std::ofstream file(path);
    check(file.is_open());
    write(file);
    file.close();
    check(static_cast<bool>(file));
}

void replace(fs::path const& path, std::function<void(std::ostream&)> const& write) {
    std::string const name = fileBeside(path);
    check(!name.empty());
    try {
        writeInto(name, write);
        check(rename(name.c_str(), path.c_str()) == 0);
    } catch (...) {
        unlink(name.c_str());
        throw;
    }
}

}  // namespace

void refuseOverwriting(std::vector<NamedFile> const& inputs, std::vector<NamedFile> const& outputs) {
    for (auto output = outputs.begin(); output != outputs.end(); ++output) {
        if (output->path.empty()) {
            continue;
        }
        for (NamedFile const& input : inputs) {
            if (!input.path.empty() && areSame(output->path, input.path, STDIN_FILENO)) {
                throw InputError(fmt::format("{} would overwrite {}, {}", output->name, input.name,
                                             input.path == "-" ? "standard input" : input.path));
            }
        }
        for (auto other = outputs.begin(); other != output; ++other) {
            if (!other->path.empty() && areSame(output->path, other->path, STDOUT_FILENO)) {
                throw InputError(fmt::format("{} and {} would both write {}", other->name, output->name,
                                             output->path == "-" ? "to standard output" : output->path));
            }
        }
    }
}

bool writeOutput(std::string const& path, std::function<void(std::ostream&)> const& write) {
    errno = 0;
    try {
        if (path == "-") {
            write(std::cout);  // main tells when standard output fails
            return true;
        }
        auto const old = statusOf(path, STDOUT_FILENO);
        bool const isFile = !old || S_ISREG(old->st_mode);
        isFile ? replace(resolved(path), write) : writeInto(path, write);
        return true;
    } catch (std::exception const& error) {
        std::cerr << fmt::format("zsl-replay: {}: {}\n", printable(path), error.what());
        return false;
    }
}

}  // namespace Replay
