// zsl-replay sweep: plays many inputs under many combinations of settings, and compares.
#include <algorithm>
#include <iostream>

#include "Commands.h"
#include "InputFiles.h"
#include "PlayOptions.h"
#include "SweepSums.h"
#include "replay/model/Printable.h"
#include "replay/run/Workers.h"
#include "replay/selector/Plugin.h"

namespace Replay {

namespace {

/// A value to try of one setting: its name on the command line, and nothing for "default".
template <typename T>
struct Choice {
    std::string name = "default";
    std::optional<T> value = {};
};

struct SweepArguments : PlayOptions {
    std::vector<std::string> inputs;
    std::vector<Choice<int64_t>> hints;
    std::vector<Choice<uint32_t>> policies;
    std::vector<Choice<int64_t>> timeouts;
    size_t jobs = 1;
    bool asCsv = false;
    bool asNdjson = false;
};

template <typename T>
std::vector<Choice<T>> orDefault(std::vector<Choice<T>> const& choices) {
    return choices.empty() ? std::vector<Choice<T>>(1) : choices;
}

std::vector<Combination> combinationsOf(SweepArguments const& arguments) {
    std::vector<Combination> combinations;
    for (auto const& hint : orDefault(arguments.hints)) {
        for (auto const& policy : orDefault(arguments.policies)) {
            for (auto const& timeout : orDefault(arguments.timeouts)) {
                combinations.push_back(
                    {hint.name, policy.name, timeout.name, {hint.value, policy.value, timeout.value}});
            }
        }
    }
    return combinations;
}

/// Plays one input under one combination, in a process of its own: the settings are the process's. Each of its
/// sessions has another.
SweepAnswer playOne(PlayOptions const& given, Combination const& combination, std::function<Input()> const& read) {
    PlayOptions options = given;
    options.settings = combination.settings;
    Prepared const prepared = prepare(options, read());
    SweepAnswer answer{prepared.report.settings, {}};
    for (Session const& session : prepared.set.sessions) {
        RunResult const run = runSession(session, runOptions(options));
        if (run.isOutOfProcesses) {
            throw OutOfProcesses(run.failure.text);
        }
        if (run.failure.isPluginMissing) {
            throw PluginError(run.failure.text);
        }
        if (!run.played) {
            throw BrokenPlugin(session.name + ": " + run.failure.text);
        }
        answer.tally.add(session, run.played->result);
    }
    return answer;
}

class Sweep {
  public:
    explicit Sweep(SweepArguments const& arguments)
        : mArguments(arguments),
          mCombinations(combinationsOf(arguments)),
          mSums(mCombinations.size(), arguments.asNdjson ? &std::cout : nullptr),
          mWorkers(arguments.jobs, [this](size_t task, ChildEnd const& end) {
              mSums.take(task / mCombinations.size(), task % mCombinations.size(), end);
          }) {}

    void play(std::string const& path) {
        if (path != "-") {
            play(path, [path] { return readInput(path); });
            return;
        }
        size_t number = 0;
        for (std::string line; !mSums.isPluginMissing() && std::getline(std::cin, line);) {
            ++number;
            if (line.find_first_not_of(" \t\r") != std::string::npos) {
                std::string const name = "standard input line " + std::to_string(number);
                play(name, [name, line] { return toInput({name, line}); });
            }
        }
    }

    std::vector<Combination> const& combinations() const { return mCombinations; }

    /// The exit code.
    int end() {
        mWorkers.finish();
        mSums.clearProgress();
        if (mSums.isPluginMissing()) {
            return kExitFailed;
        }
        if (mArguments.asCsv) {
            printSweepCsv(std::cout, mCombinations, mSums.tallies());
        } else if (!mArguments.asNdjson) {
            printSweepTable(std::cout, mCombinations, mSums.tallies());
        }
        if (mSums.failed() > 0) {
            std::cerr << "zsl-replay: " << mSums.failed() << " of " << mInputs
                      << " inputs failed and were left out\n";
        }
        return mSums.failed() > 0 ? kExitFailed : 0;
    }

  private:
    void play(std::string const& name, std::function<Input()> const& read) {
        if (mSums.isPluginMissing()) {
            return;
        }
        size_t const input = mInputs++;
        mSums.begin(input, name);
        for (size_t index = 0; index < mCombinations.size() && !mSums.isPluginMissing(); ++index) {
            ChildTask task{[this, index, read] { return pack(playOne(mArguments, mCombinations[index], read)); }};
            task.hasPlugin = false;
            mWorkers.start(input * mCombinations.size() + index, std::move(task));
        }
    }

    SweepArguments const& mArguments;
    std::vector<Combination> mCombinations;
    SweepSums mSums;
    Workers mWorkers;
    size_t mInputs = 0;
};

/// Tells once, before anything is played, what is odd about the settings. Throws InputError and PropertyError.
void tellOdd(PlayOptions const& options, std::vector<Combination> const& combinations) {
    std::vector<std::string> warnings = applyProperties(options, {});
    for (Combination const& combination : combinations) {
        auto const& [hint, policy, timeoutMs] = combination.settings;
        auto unread = hint && policy ? unreadPolicy(*hint, *policy) : std::nullopt;
        if (unread && std::find(warnings.begin(), warnings.end(), *unread) == warnings.end()) {
            warnings.push_back(std::move(*unread));
        }
    }
    for (std::string const& warning : warnings) {
        std::cerr << "zsl-replay: warning: " << printable(warning) << '\n';
    }
}

int sweep(SweepArguments const& arguments) {
    Sweep sweep(arguments);
    auto const files = filesOf(arguments.inputs);
    files.tellNotes();
    tellOdd(arguments, sweep.combinations());
    for (std::string const& path : files.paths) {
        sweep.play(path);
    }
    return sweep.end();
}

}  // namespace

std::function<int()> addSweep(CommandLine& line) {
    auto const arguments = std::make_shared<SweepArguments>();
    line.addInputs("INPUT",
                   "Session files, dumps, recordings, and folders of them; - reads session objects from standard "
                   "input, one per line",
                   [arguments](std::string const& text) { arguments->inputs.push_back(text); });
    auto const addChoices = [&](char const* name, char const* shown, char const* help, auto& choices, auto parse) {
        line.addList(name, shown, help, [&choices, parse, arguments](std::string const& text) {
            choices.push_back({text, {}});
            if (text != "default") {
                choices.back().value = parse(text);
            }
        });
    };
    addChoices("--hint", "0,2", "Strategies to try, 0 to 4 or default", arguments->hints, parseHint);
    addChoices("--policy", "A,B", "Policies to try: numbers, names joined by |, or default", arguments->policies,
               parsePolicy);
    addChoices("--timeout-ms", "300,1000", "Time-outs to try, in ms, or default", arguments->timeouts,
               [](std::string const& text) { return wholeNumber(text, "--timeout-ms", 0, INT64_MAX); });
    addJobsOption(line, arguments->jobs, "How many processes play at once");
    line.addFlag("--csv", "Print comma-separated values in place of the table", arguments->asCsv);
    line.addFlag("--ndjson", "Print one JSON object per input and combination, one per line, as each is done",
                 arguments->asNdjson);
    line.exclude("--csv", "--ndjson");
    addHostOptions(line, *arguments);
    return [arguments] { return sweep(*arguments); };
}

}  // namespace Replay
