// Why a request was not served, in a few words, from the plug-in's log lines alone. The lines are its contract;
// what they mean is told in docs/log.md.
#pragma once

#include <string>

namespace Replay {

/// What the log says of one call.
struct CallReason {
    std::string text;  ///< why the request waits, or goes without ZSL; "" when no line tells
    bool hasTimedOut =
        false;  ///< the request had reached the time-out: frames were taken unchecked, or none at all
};

/// Reads the lines of one call after the other.
class Reasons {
  public:
    /// Takes a line of the present call.
    void take(std::string const& line);

    /// Ends the call.
    CallReason endCall();

  private:
    void takeVerdict(std::string const& line);

    std::string mDetail;   // of the frame being judged
    std::string mRefusal;  // of the last frame that was refused
    std::string mOther;    // what says more than the refusal of a frame, or stands where none is
    bool mHasTimedOut = false;
};

}  // namespace Replay
