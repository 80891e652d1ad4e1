// zsl-replay explain: tells call by call why each request got its frames.
#include <iostream>
#include <sstream>

#include "Commands.h"
#include "PlayOptions.h"
#include "replay/explain/Logcat.h"
#include "replay/model/InputError.h"
#include "replay/model/Printable.h"

namespace Replay {

namespace {

struct ExplainArguments : PlayOptions {
    std::string input;
    std::string logcat;
};

/// A blank line stands between two explanations.
class Printer {
  public:
    void print(std::string const& text) {
        std::cout << (mIsFirst ? "" : "\n");
        mIsFirst = false;
        std::istringstream lines(text);  // with words from outside
        for (std::string line; std::getline(lines, line);) {
            std::cout << printable(line) << '\n';
        }
    }

  private:
    bool mIsFirst = true;
};

int explainSessions(ExplainArguments const& arguments) {
    Input const input = readInput(arguments.input);
    refuseDumpOptions(arguments, input);
    Prepared prepared = prepare(arguments, input);
    refuseUnknownRequests(arguments, requestsOf(prepared.set));
    Report const& report = prepared.report;
    SessionSet const& set = prepared.set;
    RunOptions options = runOptions(arguments);
    options.explain = true;
    if (!playSessions(prepared, options)) {
        return kExitFailed;
    }
    Printer printer;
    for (auto const& [session, result, explanations, log] : report.played) {
        bool isNamed = set.sessions.size() == 1;
        for (size_t index = 0; index < result.outcomes.size(); ++index) {
            Outcome const& outcome = result.outcomes[index];
            if (!report.isShown(outcome)) {
                continue;
            }
            if (!isNamed) {
                printer.print("== " + session->name + " ==\n");
                isNamed = true;
            }
            printer.print(outcome.calls > 0 ? explanations[index].text()
                                            : "R" + std::to_string(outcome.request->requestNo) +
                                                  ": the session ends before it comes\n");
        }
    }
    for (std::string const& note : set.notes) {
        std::cerr << "zsl-replay: note: " << printable(note) << '\n';
    }
    return report.failed > 0 ? kExitFailed : 0;
}

int explainLog(ExplainArguments const& arguments) {
    Text const input = readText(arguments.logcat);
    auto const processes = readLogcat(input.text);
    std::set<RequestNo> known;
    for (LoggedProcess const& process : processes) {
        for (LoggedRequest const& request : process.requests) {
            known.insert(request.requestNo);
        }
    }
    if (known.empty()) {
        throw InputError(input.name +
                         ": no call of the selector; looked for the tag SampleSelector in the forms threadtime, "
                         "time, brief and tag of adb logcat");
    }
    refuseUnknownRequests(arguments, known);
    Printer printer;
    for (LoggedProcess const& process : processes) {
        if (!process.hasDebug) {
            std::cerr << "zsl-replay: note: process " << printable(process.id)
                      << " has no DEBUG lines of the selector: frames that qualified, answers and locks are not in "
                         "this log; see docs/log.md\n";
        }
        for (std::string const& note : process.notes) {
            std::cerr << "zsl-replay: note: " << printable(note) << '\n';
        }
        bool isNamed = processes.size() == 1;
        for (LoggedRequest const& request : process.requests) {
            if (!arguments.requests.empty() && arguments.requests.count(request.requestNo) == 0) {
                continue;
            }
            if (!isNamed) {
                printer.print("== process " + process.id + " ==\n");
                isNamed = true;
            }
            printer.print(request.explanation.text());
        }
    }
    return 0;
}

}  // namespace

std::function<int()> addExplain(CommandLine& line) {
    auto const arguments = std::make_shared<ExplainArguments>();
    line.addInput(
        "INPUT", "Session file (JSON), camera service tag monitor dump, or recording; - is standard input",
        [arguments](std::string const& text) { arguments->input = text; }, false);
    line.add("--logcat", "FILE", "Explain what adb logcat printed; - is standard input",
             [arguments](std::string const& text) { arguments->logcat = text; });
    line.exclude("--logcat", "INPUT");
    addRequestOption(line, *arguments);
    line.beginGroup("When a session is played");
    addSettingOptions(line, *arguments);
    addHostOptions(line, *arguments);
    return [arguments] {
        if (arguments->input.empty() && arguments->logcat.empty()) {
            throw InputError("nothing to explain: give INPUT or --logcat FILE; --help tells more");
        }
        return arguments->logcat.empty() ? explainSessions(*arguments) : explainLog(*arguments);
    };
}

}  // namespace Replay
