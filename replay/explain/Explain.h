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

/// Frame timestamps (ns) that the log of a process has named.
using Timestamps = std::map<uint32_t, int64_t>;

/// Collects the calls of one request.
class Explainer {
  public:
    /// `timestamps` is shared by the requests of a process.
    explicit Explainer(std::shared_ptr<Timestamps> timestamps) : mTimestamps(std::move(timestamps)) {}

    /// Takes the next call of the request.
    void add(CallStory call);

    bool isServed() const { return mLast.isServed; }

    /// Answers the explanation of the calls so far; at least one has to be there.
    Explanation explain();

  private:
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

    std::vector<Verdict> newVerdicts(CallStory const& call) const;
    void write(CallStory const& call, std::vector<Verdict> const& verdicts);
    void writeFold();
    std::string closing() const;
    std::string because() const;
    std::string answer() const;
    std::string offset(uint32_t frameNo, bool inWords) const;

    std::shared_ptr<Timestamps> mTimestamps;
    std::vector<std::string> mLines;
    std::vector<Wait> mWaits;
    std::map<uint32_t, std::string> mVerdicts;  // what was said last of a frame
    CallStory mLast;
    std::optional<int64_t> mShutterNs;
    std::string mPolicy;
    Fold mFold;
};

}  // namespace Replay
