// zsl-replay verify: makes recorded calls again, and compares every answer.
#include <fmt/core.h>

#include <iostream>

#include "Commands.h"
#include "InputFiles.h"
#include "PluginOptions.h"
#include "Progress.h"
#include "replay/input/RecordedCalls.h"
#include "replay/model/Printable.h"
#include "replay/run/Wire.h"
#include "replay/run/Workers.h"

namespace Replay {

namespace {

struct VerifyArguments : PluginOptions {
    std::vector<std::string> inputs;
    size_t jobs = 1;
};

/// Each with its files.
using Recordings = std::vector<std::vector<std::string>>;

/// Tells what comes of each recording, and counts.
class Results {
  public:
    explicit Results(Recordings const& recordings) : mRecordings(recordings) {}

    void take(size_t recording, ChildEnd const& end) {
        mProgress.clear();
        std::string const& name = mRecordings[recording].front();
        try {
            if (end.failure) {
                fail(name, *end.failure);
            } else {
                tell(name, unpackVerification(end.answer));
            }
        } catch (BrokenPlugin const& error) {
            fail(name, {error.what()});
        }
        mProgress.show(fmt::format("{} of {} recordings verified", ++mDone, mRecordings.size()));
    }

    /// No other recording will fare better.
    bool isPluginMissing() const { return mIsPluginMissing; }

    /// The exit code.
    int end() {
        mProgress.clear();
        if (mIsPluginMissing) {
            return kExitFailed;
        }
        if (mRecordings.size() > 1) {
            std::cout << fmt::format(
                "{} recordings: {} as recorded, {} differ, {} failed{}\n", mRecordings.size(), mSame, mDiffering,
                mFailed, mNothing > 0 ? fmt::format(", {} without an answer to compare", mNothing) : "");
        }
        if (mDiffering > 0) {
            return kExitDiffers;
        }
        if (mFailed > 0) {
            return kExitFailed;
        }
        return mSame > 0 ? 0 : kExitBadInput;
    }

  private:
    void fail(std::string const& file, Failure const& failure) {
        ++mFailed;
        if (!mIsPluginMissing) {
            bool const isNamed = failure.isPluginMissing || failure.text.compare(0, file.size(), file) == 0;
            std::cerr << "zsl-replay: " << printable((isNamed ? "" : file + ": ") + failure.text) << '\n';
        }
        mIsPluginMissing = mIsPluginMissing || failure.isPluginMissing;
    }

    void tell(std::string const& file, Verification const& result) {
        for (std::string const& note : result.notes) {
            std::cerr << "zsl-replay: note: " << printable(note) << '\n';
        }
        if (result.calls == 0) {
            ++mNothing;
            std::cerr << "zsl-replay: " << printable(file)
                      << ": no call is recorded, so there is nothing to verify\n";
            return;
        }
        bool const isSame = result.differing == 0;
        bool const isCompared = result.unsure < result.calls;
        ++(!isCompared ? mNothing : isSame ? mSame : mDiffering);
        std::string const others =
            result.unsure > 0 ? fmt::format("; {} cannot be checked ({})", result.unsure, result.why) : "";
        char const* const which = result.unsure == 0 ? "all" : isCompared ? "the other" : "no";
        std::cout << (mRecordings.size() == 1 ? "" : printable(file) + ": ")
                  << fmt::format("{} calls of {} selectors: ", result.calls, result.selectors)
                  << (isSame ? fmt::format("{} answers as recorded", which)
                             : fmt::format("{} answers differ", result.differing))
                  << printable(others) << '\n';
        for (std::string const& difference : result.differences) {
            std::cout << "  " << printable(difference) << '\n';
        }
        if (result.differing > result.differences.size()) {
            std::cout << "  and " << result.differing - result.differences.size() << " more\n";
        }
        std::cout << std::flush;
    }

    Recordings const& mRecordings;
    size_t mDone = 0;
    size_t mSame = 0;
    size_t mDiffering = 0;
    size_t mFailed = 0;
    size_t mNothing = 0;
    bool mIsPluginMissing = false;
    Progress mProgress;
};

int verify(VerifyArguments const& arguments) {
    auto const files = filesOf(arguments.inputs);
    files.tellNotes();
    Recordings const recordings = seriesOf(files.paths);
    Results results(recordings);
    Workers workers(arguments.jobs, [&](size_t task, ChildEnd const& end) { results.take(task, end); });
    for (size_t task = 0; task < recordings.size() && !results.isPluginMissing(); ++task) {
        workers.start(task, {[&, task] { return pack(verifyRecording(recordings[task], arguments.plugin)); },
                             arguments.deadline});
    }
    workers.finish();
    return results.end();
}

}  // namespace

std::function<int()> addVerify(CommandLine& line) {
    auto const arguments = std::make_shared<VerifyArguments>();
    line.addInputs("FILE", "Recordings, and folders of them",
                   [arguments](std::string const& text) { arguments->inputs.push_back(text); });
    addPluginOptions(line, *arguments);
    addJobsOption(line, arguments->jobs, "How many processes verify at once");
    return [arguments] { return verify(*arguments); };
}

}  // namespace Replay
