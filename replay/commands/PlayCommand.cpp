// zsl-replay play: plays a recorded camera session through the plug-in and tells which frames it chose, and why.
#include <vzrcam/LogSink.h>

#include <iostream>

#include "Commands.h"
#include "OutputFiles.h"
#include "PlayOptions.h"
#include "replay/model/InputError.h"
#include "replay/model/Printable.h"
#include "replay/report/Page.h"
#include "replay/report/Timeline.h"
#include "replay/report/Trace.h"

namespace Replay {

namespace {

struct PlayArguments : PlayOptions {
    std::string input;
    std::string logLevel;
    bool asJson = false;
    std::string pageFile;
    std::string svgFile;
    std::string traceFile;
};

/// Standard output has a picture in place of the table.
bool isPiped(PlayArguments const& arguments) {
    return arguments.pageFile == "-" || arguments.svgFile == "-" || arguments.traceFile == "-";
}

void checkOutputs(PlayArguments const& arguments) {
    bool const isPrinted = arguments.asJson || !isPiped(arguments);
    refuseOverwriting({{"its input", arguments.input},
                       {"the properties of --props", arguments.propertyFile},
                       {"the plug-in", arguments.plugin}},
                      {{arguments.asJson ? "--json" : "the table", isPrinted ? "-" : ""},
                       {"--html", arguments.pageFile},
                       {"--svg", arguments.svgFile},
                       {"--trace", arguments.traceFile}});
}

/// The report in all forms that are asked for. False: one could not be written, which is told.
bool write(PlayArguments const& arguments, Report const& report) {
    if (!isPiped(arguments)) {
        (arguments.asJson ? printJson : printTable)(std::cout, report);
    } else {
        for (std::string const& note : report.notes) {  // which the table would have told
            std::cerr << "zsl-replay: note: " << printable(note) << '\n';
        }
    }
    auto const picture = [&](std::string const& path, void (*draw)(std::ostream&, Report const&)) {
        return path.empty() || writeOutput(path, [&](std::ostream& out) { draw(out, report); });
    };
    bool const hasPage = picture(arguments.pageFile, writePage);
    bool const hasTimeline = picture(arguments.svgFile, writeSvg);
    bool const hasTrace = picture(arguments.traceFile, writeTrace);
    return hasPage && hasTimeline && hasTrace;
}

std::string parseLogLevel(std::string const& text) {
    if (text.size() != 1 || std::string("VDIWEFS").find(text) == std::string::npos) {
        throw InputError("--log: '" + text + "' is no level; V, D, I, W, E, F or S");
    }
    return text;
}

int play(PlayArguments const& arguments) {
    checkOutputs(arguments);
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
                std::cerr << printable(NSCam::Utils::Log::threadtimeLine(line.priority, line.tag.c_str(), line.text,
                                                                         line.sessionNs))
                          << '\n';
            }
        };
    }
    options.explain = !arguments.pageFile.empty() || !arguments.svgFile.empty() || !arguments.traceFile.empty();
    options.keepLog = !arguments.traceFile.empty();
    if (!playSessions(prepared, options)) {
        return kExitFailed;
    }
    bool const areWritten = write(arguments, report);
    return report.failed > 0 || !areWritten ? kExitFailed : 0;
}

}  // namespace

std::function<int()> addPlay(CommandLine& line) {
    auto const arguments = std::make_shared<PlayArguments>();
    auto const into = [arguments](std::string PlayArguments::*target) {
        return [arguments, target](std::string const& text) { (*arguments).*target = text; };
    };
    line.addInput("INPUT",
                  "Session file (JSON), camera service tag monitor dump, or recording; - is standard input",
                  into(&PlayArguments::input));
    addSettingOptions(line, *arguments);
    addRequestOption(line, *arguments);
    line.addFlag("--json", "Print JSON in place of the table", arguments->asJson);
    line.add("--html", "FILE",
             "Write a page with timeline and explanations, complete in one file; - is standard output",
             into(&PlayArguments::pageFile));
    line.add("--svg", "FILE", "Write the timeline alone, as SVG, into this file or -",
             into(&PlayArguments::svgFile));
    line.add("--trace", "FILE", "Write trace events for ui.perfetto.dev or chrome://tracing into this file or -",
             into(&PlayArguments::traceFile));
    line.add("--log", "V|D|I|W|E|F|S", "Show the plug-in's log from this level on, on standard error",
             [arguments](std::string const& text) { arguments->logLevel = parseLogLevel(text); });
    addHostOptions(line, *arguments);
    return [arguments] { return play(*arguments); };
}

}  // namespace Replay
