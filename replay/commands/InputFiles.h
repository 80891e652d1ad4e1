// The files that a command for many inputs is given.
#pragma once

#include <string>
#include <vector>

namespace Replay {

struct InputFiles {
    std::vector<std::string> paths;
    std::vector<std::string> notes;  ///< what was found in folders and left out

    /// On standard error.
    void tellNotes() const;
};

/// The inputs with the files of folders in their place, in the order of their paths and without hidden ones; "-"
/// stays. In folders, what is no file, and links that lead to where they come from, are left out. InputError for a
/// folder without files, one that cannot be read, and an input that is neither file nor folder, from which a read
/// may never return.
InputFiles filesOf(std::vector<std::string> const& inputs);

}  // namespace Replay
