// Which plug-in is called, for how long, and by how many processes: what all commands that call it share.
#pragma once

#include <chrono>

#include "CommandLine.h"

namespace Replay {

struct PluginOptions {
    std::string plugin;                           ///< as dlopen takes it
    std::chrono::duration<double> deadline{600};  ///< for each process that calls it; 0: none

    /// With the plug-in of the build or installation that this program belongs to; else the one on the library
    /// path.
    PluginOptions();
};

/// Adds --plugin and --deadline-s.
void addPluginOptions(CommandLine& line, PluginOptions& options);

/// Adds --jobs, and sets it to the number of processors.
void addJobsOption(CommandLine& line, size_t& jobs, std::string const& help);

}  // namespace Replay
