// A line on a terminal that says how far the work is.
#pragma once

#include <chrono>
#include <string>

namespace Replay {

/// Shows nothing unless standard error is a terminal, and nothing of work that is soon done.
class Progress {
  public:
    explicit Progress(std::chrono::milliseconds patience = std::chrono::seconds(1));

    /// The line in place of the one before; at most five times a second.
    void show(std::string const& text);

    /// Whether the next show() would be seen: so that no text need be made for the others.
    bool isDue() const { return mIsTerminal && Clock::now() >= mNext; }

    /// Takes the line away: something else is to be written, or the work is done.
    void clear();

  private:
    using Clock = std::chrono::steady_clock;

    bool mIsTerminal;
    Clock::time_point mNext;
    size_t mWidth = 0;  // of what is on the screen
};

}  // namespace Replay
