// Files that a command writes for its user: whole or not at all, and never over what it reads.
#pragma once

#include <functional>
#include <ostream>
#include <string>
#include <vector>

namespace Replay {

/// A file by its path, "-" for a standard stream, and what the user calls it: "--html", "the input".
struct NamedFile {
    std::string name;
    std::string path;
};

/// Refuses outputs that are a file that is read, or one another: by paths, links or standard streams. Outputs
/// without a path are not asked for. Throws InputError.
void refuseOverwriting(std::vector<NamedFile> const& inputs, std::vector<NamedFile> const& outputs);

/// Writes a file, or standard output. Its new content takes the place of the old one when all of it is there: when
/// it cannot be written, which is told on standard error, the old one stays, and the answer is false.
bool writeOutput(std::string const& path, std::function<void(std::ostream&)> const& write);

}  // namespace Replay
