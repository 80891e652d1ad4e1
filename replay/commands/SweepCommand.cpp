// zsl-replay sweep: plays many inputs under many combinations of settings, and compares.
#include <algorithm>
#include <iostream>
#include <nlohmann/json.hpp>
#include <thread>

#include "CommandSupport.h"
#include "Commands.h"
#include "PlayOptions.h"
#include "replay/input/Input.h"
#include "replay/run/Workers.h"
#include "replay/sweep/Sweep.h"

namespace Replay {

namespace {

using Json = nlohmann::json;

/// A value to try of one setting: its name on the command line, and nothing for "default".
template <typename T>
struct Choice {
    std::string name = "default";
    std::optional<T> value = {};
};

struct Arguments : PlayOptions {
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

std::vector<Combination> combinationsOf(Arguments const& arguments) {
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

/// Plays one input under one combination, in a process of its own.
/// The answer: {"tally", "settings"} or {"error"}, with "fatal" when no other input will fare better.
std::string playOne(PlayOptions options, Combination const& combination, std::function<Input()> const& read) {
    options.settings = combination.settings;
    try {
        Prepared const prepared = prepare(options, read());
        Tally tally;
        for (Session const& session : prepared.set.sessions) {
            RunResult const run = runSession(session, runOptions(options));
            if (!run.played) {
                return Json{{"error", (run.isPluginMissing ? "" : session.name + ": ") + run.failure},
                            {"fatal", run.isPluginMissing}}
                    .dump(-1, ' ', false, Json::error_handler_t::replace);
            }
            tally.add(session, run.played->result);
        }
        Settings const& settings = prepared.report.settings;
        return Json{
            {"tally", tally.toJson()},
            {"settings", {{"hint", settings.hint}, {"policy", settings.policy}, {"timeoutMs", settings.timeoutMs}}}}
            .dump();
    } catch (std::exception const& error) {
        return Json{{"error", error.what()}, {"fatal", false}}.dump(-1, ' ', false, Json::error_handler_t::replace);
    }
}

/// Takes the answers of the processes, and tells them.
class Collector {
  public:
    Collector(Arguments const& arguments, std::vector<Combination> const& combinations)
        : mArguments(arguments), mCombinations(combinations), mTallies(combinations.size()) {}

    /// An input is about to be played under all combinations.
    void begin(size_t input, std::string const& name) { mNames[input] = {name, mCombinations.size(), false}; }

    void take(size_t task, std::string const& answer, std::string const& failure) {
        size_t const combination = task % mCombinations.size();
        auto const input = mNames.find(task / mCombinations.size());
        Json const json = failure.empty() ? Json::parse(answer) : Json{{"error", failure}, {"fatal", false}};
        bool const isFine = !json.contains("error");
        if (isFine) {
            Tally const tally = Tally::fromJson(json.at("tally"));
            mTallies[combination].add(tally);
            if (mArguments.asNdjson) {
                printObject(input->second.name, json.at("settings"), tally);
            }
        } else if (!input->second.hasFailed && !mIsFatal) {
            input->second.hasFailed = true;
            ++mFailed;
            mProgress.clear();
            std::string const text = json.at("error");
            bool const isNamed = text.compare(0, input->second.name.size(), input->second.name) == 0;
            std::cerr << "zsl-replay: " << (isNamed || json.at("fatal") ? "" : input->second.name + ": ") << text
                      << '\n';
        }
        mIsFatal = mIsFatal || (!isFine && json.at("fatal"));
        ++mDone;
        if (--input->second.left == 0) {
            mNames.erase(input);
        }
        mProgress.show(std::to_string(mDone) + " played, " + std::to_string(mFailed) + " inputs failed");
    }

    bool isFatal() const { return mIsFatal; }

    /// The exit code.
    int end(size_t inputs) {
        mProgress.clear();
        if (mArguments.asCsv) {
            printSweepCsv(std::cout, mCombinations, mTallies);
        } else if (!mArguments.asNdjson) {
            printSweepTable(std::cout, mCombinations, mTallies);
        }
        if (mFailed > 0) {
            std::cerr << "zsl-replay: " << mFailed << " of " << inputs << " inputs failed and were left out\n";
        }
        return mFailed > 0 ? kExitFailed : 0;
    }

  private:
    struct Named {
        std::string name;
        size_t left = 0;  // combinations
        bool hasFailed = false;
    };

    static void printObject(std::string const& name, Json const& settings, Tally const& tally) {
        nlohmann::ordered_json object{{"input", name}};
        object.update(nlohmann::ordered_json(settings));
        for (auto const& [column, value] : columnsOf(tally)) {
            bool const isWhole = value && *value == static_cast<double>(static_cast<int64_t>(*value));
            if (isWhole) {
                object[column] = static_cast<int64_t>(*value);
            } else {
                object[column] = value ? nlohmann::ordered_json(*value) : nlohmann::ordered_json();
            }
        }
        std::cout << object.dump(-1, ' ', false, nlohmann::ordered_json::error_handler_t::replace) << std::endl;
    }

    Arguments const& mArguments;
    std::vector<Combination> const& mCombinations;
    std::vector<Tally> mTallies;
    std::map<size_t, Named> mNames;  // the inputs that are being played
    size_t mDone = 0;
    size_t mFailed = 0;
    bool mIsFatal = false;
    Progress mProgress;
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
        std::cerr << "zsl-replay: warning: " << warning << '\n';
    }
}

int sweep(Arguments const& arguments) {
    auto const combinations = combinationsOf(arguments);
    auto const files = filesOf(arguments.inputs);
    tellOdd(arguments, combinations);
    Collector collector(arguments, combinations);
    Workers workers(arguments.jobs, [&](size_t task, std::string const& answer, std::string const& failure) {
        collector.take(task, answer, failure);
    });
    size_t inputs = 0;
    auto const play = [&](std::string const& name, std::function<Input()> const& read) {
        if (collector.isFatal()) {
            return;
        }
        collector.begin(inputs, name);
        for (size_t index = 0; index < combinations.size() && !collector.isFatal(); ++index) {
            workers.start(inputs * combinations.size() + index,
                          [&] { return playOne(arguments, combinations[index], read); });
        }
        ++inputs;
    };
    for (std::string const& input : files) {
        if (input != "-") {
            play(input, [&input] { return readInput(input); });
            continue;
        }
        size_t number = 0;
        for (std::string line; !collector.isFatal() && std::getline(std::cin, line);) {
            ++number;
            if (line.find_first_not_of(" \t\r") != std::string::npos) {
                std::string const name = "standard input line " + std::to_string(number);
                play(name, [&] { return toInput(name, line); });
            }
        }
    }
    workers.finish();
    return collector.isFatal() ? kExitFailed : collector.end(inputs);
}

}  // namespace

std::function<int()> addSweep(CommandLine& line) {
    auto const arguments = std::make_shared<Arguments>();
    arguments->jobs = std::max(1U, std::thread::hardware_concurrency());
    line.addInputs("INPUT",
                   "Session files, dumps, recordings, and folders of them; - reads a session object a line from "
                   "standard input",
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
    line.add("--jobs", "COUNT", "How many processes play at once (default: as many as processors)",
             [arguments](std::string const& text) {
                 arguments->jobs = static_cast<size_t>(wholeNumber(text, "--jobs", 1, 1024));
             });
    line.addFlag("--csv", "Print comma-separated values in place of the table", arguments->asCsv);
    line.addFlag("--ndjson", "Print one JSON object an input and combination, a line each, as they are done",
                 arguments->asNdjson);
    line.exclude("--csv", "--ndjson");
    addHostOptions(line, *arguments);
    return [arguments] { return sweep(*arguments); };
}

}  // namespace Replay
