// What the subcommands for many inputs share.
#pragma once

#include <chrono>
#include <string>
#include <vector>

namespace Replay {

/// The inputs with the files of folders in their place, in the order of their paths and without hidden ones; "-"
/// stays. A folder without files is a InputError.
std::vector<std::string> filesOf(std::vector<std::string> const& inputs);

/// A line on a terminal that says how far the work is, once it takes longer than a second.
class Progress {
  public:
    Progress();
    void show(std::string const& text);
    void clear();

  private:
    using Clock = std::chrono::steady_clock;

    bool mIsTerminal;
    bool mIsShown = false;
    Clock::time_point mNext;
};

}  // namespace Replay
