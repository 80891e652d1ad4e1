// zsl-replay play: plays a recorded camera session through the plug-in and tells which frames it chose, and why.
#include <vzrcam/LogSink.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "Commands.h"
#include "SessionOptions.h"
#include "replay/report/Page.h"
#include "replay/report/Timeline.h"
#include "replay/report/Trace.h"

namespace Replay {

namespace {

struct Arguments : SessionArguments {
    std::string logLevel;
    bool asJson = false;
    std::string pageFile;
    std::string svgFile;
    std::string traceFile;
};

/// Writes a picture into a file; false: it could not be written, which is told.
bool writeFile(std::string const& path, void (*write)(std::ostream&, Report const&), Report const& report) {
    if (path.empty()) {
        return true;
    }
    errno = 0;
    std::ofstream file(path);
    if (file) {
        write(file, report);
    }
    file.close();
    if (!file) {
        std::cerr << "zsl-replay: " << path << ": " << (errno != 0 ? std::strerror(errno) : "cannot be written")
                  << '\n';
        return false;
    }
    return true;
}

int play(Arguments const& arguments) {
    Report report;
    SessionSet const set = readSessions(arguments, readInput(arguments.input), report);
    report.notes = set.notes;
    report.requests = chosenRequests(arguments, requestsOf(set));
    RunOptions options = runOptions(arguments, report);
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
    options.explain = !arguments.pageFile.empty() || !arguments.svgFile.empty() || !arguments.traceFile.empty();
    options.host.keepLog = !arguments.traceFile.empty();
    if (!playSessions(set, options, report)) {
        return kExitFailed;
    }
    (arguments.asJson ? printJson : printTable)(std::cout, report);
    bool const isWritten = writeFile(arguments.pageFile, writePage, report) &&
                           writeFile(arguments.svgFile, writeSvg, report) &&
                           writeFile(arguments.traceFile, writeTrace, report);
    return report.failed > 0 || !isWritten ? kExitFailed : 0;
}

}  // namespace

std::function<int()> addPlay(CLI::App& app) {
    auto const arguments = std::make_shared<Arguments>();
    app.add_option("INPUT", arguments->input,
                   "Session file (JSON), camera service tag monitor dump, or recording; - is standard input")
        ->required()
        ->check(notEmpty);
    addSettingOptions(app, *arguments);
    addRequestOption(app, *arguments);
    app.add_flag("--json", arguments->asJson, "Print JSON in place of the table");
    app.add_option("--html", arguments->pageFile,
                   "Write a page with timeline and explanations, which stands alone, into this file")
        ->check(notEmpty);
    app.add_option("--svg", arguments->svgFile, "Write the timeline alone, as SVG, into this file")
        ->check(notEmpty);
    app.add_option("--trace", arguments->traceFile,
                   "Write trace events for ui.perfetto.dev or chrome://tracing into this file")
        ->check(notEmpty);
    app.add_option("--log", arguments->logLevel, "Show the plug-in's log from this level on, on standard error")
        ->check(CLI::IsMember({"V", "D", "I", "W", "E", "F", "S"}));
    addHostOptions(app, *arguments);
    return [arguments] { return play(*arguments); };
}

}  // namespace Replay
