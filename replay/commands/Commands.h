// The subcommands of zsl-replay.
#pragma once

#include "CommandLine.h"
#include "ExitCodes.h"

namespace Replay {

/// Each adds its options to `line`; what it answers runs it, once they are parsed, and answers the exit code.
std::function<int()> addPlay(CommandLine& line);
std::function<int()> addExplain(CommandLine& line);
std::function<int()> addSweep(CommandLine& line);
std::function<int()> addGenerate(CommandLine& line);
std::function<int()> addVerify(CommandLine& line);

}  // namespace Replay
