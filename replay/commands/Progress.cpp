#include "Progress.h"

#include <unistd.h>

#include <iostream>

namespace Replay {

Progress::Progress(std::chrono::milliseconds patience)
    : mIsTerminal(isatty(STDERR_FILENO) != 0), mNext(Clock::now() + patience) {}

void Progress::show(std::string const& text) {
    if (!isDue()) {
        return;
    }
    mNext = Clock::now() + std::chrono::milliseconds(200);
    std::string const fill(mWidth > text.size() ? mWidth - text.size() : 0, ' ');
    std::cerr << "\r" << text << fill << std::flush;
    mWidth = text.size();
}

void Progress::clear() {
    if (mWidth > 0) {
        std::cerr << "\r" << std::string(mWidth, ' ') << "\r" << std::flush;
        mWidth = 0;
    }
}

}  // namespace Replay
