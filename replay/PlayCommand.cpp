// zsl-replay play: plays a recorded camera session through the plug-in and tells which frames it chose, and why.
#include <vzrcam/LogSink.h>

#include <iostream>

#include "Commands.h"
#include "SessionOptions.h"

namespace Replay {

namespace {

struct Arguments : SessionArguments {
    std::string logLevel;
    bool asJson = false;
};

int play(Arguments const& arguments) {
    Report report;
    Recording const recording = readRecording(arguments, readInput(arguments.input), report);
    report.requests = chosenRequests(arguments, requestsOf(recording));
    RunOptions options = runOptions(report);
    if (!arguments.logLevel.empty()) {
        int const shown = NSCam::Utils::Log::priorityOf(arguments.logLevel[0]);
        options.host.logLevel = arguments.logLevel[0];
        options.host.onLogLine = [shown](LogLine const& line) {
            if (line.priority >= shown) {
                std::cerr << NSCam::Utils::Log::threadtimeLine(line.priority, line.tag.c_str(), line.text,
                                                               line.sessionNs)
                          << '\n';
            }
        };
    }
    if (!playSessions(recording, options, report)) {
        return kExitFailed;
    }
    (arguments.asJson ? printJson : printTable)(std::cout, report);
    return report.failed > 0 ? kExitFailed : 0;
}

}  // namespace

std::function<int()> addPlay(CLI::App& app) {
    auto const arguments = std::make_shared<Arguments>();
    app.add_option("INPUT", arguments->input,
                   "Session file (JSON) or camera service tag monitor dump; - is standard input")
        ->required()
        ->check(notEmpty);
    addSettingOptions(app, *arguments);
    addRequestOption(app, *arguments);
    app.add_flag("--json", arguments->asJson, "Print JSON in place of the table");
    app.add_option("--log", arguments->logLevel, "Show the plug-in's log from this level on, on standard error")
        ->check(CLI::IsMember({"V", "D", "I", "W", "E", "F", "S"}));
    addHostOptions(app, *arguments);
    return [arguments] { return play(*arguments); };
}

}  // namespace Replay
