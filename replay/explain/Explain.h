// Tells in words how a request fared, from what its calls' log lines said.
#pragma once

#include <memory>

#include "replay/selector/CallReader.h"

namespace Replay {

/// A request explained.
struct Explanation {
    std::string heading;             ///< the request, the strategy that served it, the settings
    std::vector<std::string> lines;  ///< call by call, equal calls folded; indented by two blanks a level
    std::string closing;             ///< the whole in a sentence or two

    /// As a text of several lines.
    std::string text() const;
};

/// When frames were exposed (ns), by their numbers.
using Timestamps = std::map<uint32_t, int64_t>;

/// Collects the calls of one request.
class Explainer {
  public:
    /// `timestamps` is shared by the requests of a selector; those that lines tell are added. `shutterNs`: the
    /// shutter of the request, if it is known otherwise than from its lines.
    explicit Explainer(std::shared_ptr<Timestamps> timestamps, std::optional<int64_t> shutterNs = {})
        : mTimestamps(std::move(timestamps)), mShutterNs(shutterNs) {}

    /// Takes the next call of the request.
    void add(CallStory call);

    /// Answers the explanation of the calls so far; at least one has to be there. `where` follows the request's
    /// name.
    Explanation explain(std::string const& where = "");

  private:
    /// What a call says, but for frames that nobody judged before.
    struct Said {
        std::vector<std::string> steps;
        std::optional<uint32_t> shutterFrame;
        bool isEndKnown = false;
        Reason reason;

        /// Whether it says nothing beyond what `before` said.
        bool repeats(Said const& before) const;
    };

    struct Fold {
        size_t calls = 0;
        int64_t fromMs = 0;
        int64_t toMs = 0;
        std::vector<Verdict> added;
    };

    struct Wait {
        Reason reason;
        size_t calls = 0;
    };

    void countWait(CallStory const& call);
    std::vector<Verdict> newVerdicts(CallStory const& call) const;
    void write(CallStory const& call, std::vector<Verdict> const& verdicts);
    void writeFold();
    std::string closing() const;
    std::string because() const;
    std::string answer() const;
    std::string framesOf(CallStory const& call) const;
    std::optional<int64_t> offsetNs(uint32_t frameNo) const;

    std::shared_ptr<Timestamps> mTimestamps;
    std::optional<int64_t> mShutterNs;
    std::vector<std::string> mLines;
    std::vector<Wait> mWaits;
    size_t mUnsaid = 0;                         // calls that left the request waiting, and no line says why
    std::map<uint32_t, std::string> mVerdicts;  // what was said last of a frame
    CallStory mLast;
    std::optional<Said> mSaid;  // by the last call that was written out
    std::string mPolicy;
    Fold mFold;
};

}  // namespace Replay
