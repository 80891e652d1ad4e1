// The log of a session, kept out of memory, where the process that writes it and the one that reads it both see it.
#pragma once

#include <cstdio>
#include <functional>
#include <memory>

#include "Outcome.h"

namespace Replay {

/// A file without a name: it is gone when no process has it any more. One process writes, and then one reads.
class LogFile {
  public:
    LogFile();  ///< Throws std::system_error.

    void add(LogLine const& line);

    /// After the last line. Whether all could be written shows when they are read.
    void finish();

    /// Calls `take` with the lines in their order. Throws std::runtime_error unless all of them are there.
    void forEach(std::function<void(LogLine const&)> const& take) const;

  private:
    struct Close {
        void operator()(std::FILE* file) const { std::fclose(file); }
    };

    std::unique_ptr<std::FILE, Close> mFile;
};

}  // namespace Replay
