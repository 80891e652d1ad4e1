// zsl-replay play: plays a recorded camera session through the plug-in and tells which frames it chose, and why.
#include <vzrcam/LogSink.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <iostream>

#include "Commands.h"
#include "PlayOptions.h"
#include "replay/model/InputError.h"
#include "replay/report/Page.h"
#include "replay/report/Timeline.h"
#include "replay/report/Trace.h"

namespace Replay {

namespace {

struct Arguments : PlayOptions {
    std::string input;
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

std::string parseLogLevel(std::string const& text) {
    if (text.size() != 1 || std::string("VDIWEFS").find(text) == std::string::npos) {
        throw InputError("--log: '" + text + "' is no level; V, D, I, W, E, F or S");
    }
    return text;
}

int play(Arguments const& arguments) {
    Input const input = readInput(arguments.input);
    refuseDumpOptions(arguments, input);
    Prepared prepared = prepare(arguments, input);
    refuseUnknownRequests(arguments, requestsOf(prepared.set));
    Report const& report = prepared.report;
    RunOptions options = runOptions(arguments);
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
    if (!playSessions(prepared, options)) {
        return kExitFailed;
    }
    (arguments.asJson ? printJson : printTable)(std::cout, report);
    bool const isWritten = writeFile(arguments.pageFile, writePage, report) &&
                           writeFile(arguments.svgFile, writeSvg, report) &&
                           writeFile(arguments.traceFile, writeTrace, report);
    return report.failed > 0 || !isWritten ? kExitFailed : 0;
}

}  // namespace

std::function<int()> addPlay(CommandLine& line) {
    auto const arguments = std::make_shared<Arguments>();
    auto const into = [arguments](std::string Arguments::*target) {
        return [arguments, target](std::string const& text) { (*arguments).*target = text; };
    };
    line.addInput("INPUT",
                  "Session file (JSON), camera service tag monitor dump, or recording; - is standard input",
                  into(&Arguments::input));
    addSettingOptions(line, *arguments);
    addRequestOption(line, *arguments);
    line.addFlag("--json", "Print JSON in place of the table", arguments->asJson);
    line.add("--html", "FILE", "Write a page with timeline and explanations, which stands alone, into this file",
             into(&Arguments::pageFile));
    line.add("--svg", "FILE", "Write the timeline alone, as SVG, into this file", into(&Arguments::svgFile));
    line.add("--trace", "FILE", "Write trace events for ui.perfetto.dev or chrome://tracing into this file",
             into(&Arguments::traceFile));
    line.add("--log", "V|D|I|W|E|F|S", "Show the plug-in's log from this level on, on standard error",
             [arguments](std::string const& text) { arguments->logLevel = parseLogLevel(text); });
    addHostOptions(line, *arguments);
    return [arguments] { return play(*arguments); };
}

}  // namespace Replay
