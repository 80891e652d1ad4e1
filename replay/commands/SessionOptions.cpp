#include "SessionOptions.h"

#include <unistd.h>
#include <vzrcam/PropertyStore.h>

#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>

#include "replay/input/PhoneDump.h"
#include "replay/input/RecordedSession.h"
#include "replay/input/SessionReader.h"
#include "replay/model/InputError.h"
#include "replay/model/Integer.h"
#include "replay/model/TagTable.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

namespace Properties = NSCam::Utils::Properties;

void setPropertiesOfFile(std::string const& path) {
    std::error_code error;
    if (std::filesystem::is_directory(path, error)) {
        throw InputError("--props: " + path + " is a folder; expected a file of name=value lines");
    }
    errno = 0;
    std::ifstream file(path);
    if (!file) {
        throw InputError("--props: " + path + ": " + std::strerror(errno));
    }
    Properties::load(file, path);
}

/// TAG=VALUE, the value a word or number of the tag, or "absent".
std::pair<uint32_t, std::optional<int64_t>> parseAssumption(std::string const& text) {
    size_t const equals = text.find('=');
    std::string const name = text.substr(0, equals);
    Tag const* const tag = findTag(name);
    if (equals == std::string::npos) {
        throw InputError("--assume: expected TAG=VALUE, found '" + text + "'");
    }
    if (tag == nullptr) {
        throw InputError("--assume: unknown tag '" + name + "'; docs/session-format.md lists the tags");
    }
    std::string const word = text.substr(equals + 1);
    if (word == "absent") {
        return {tag->number, std::nullopt};
    }
    auto value = parseInteger(word);
    value = value ? value : valueOfWord(*tag, word);
    if (!value || !toItems(tag->type, {*value})) {
        throw InputError("--assume: '" + word + "' is no value of " + tag->name);
    }
    return {tag->number, value};
}

DumpOptions dumpOptions(SessionArguments const& arguments, Settings const& settings) {
    DumpOptions options;
    options.asBursts = settings.hint >= 1 && settings.hint <= 4;
    options.resultAfterNs = toNs(arguments.resultAfterMs);
    options.client = arguments.client;
    options.judgedTags = settings.judgedTags;
    for (std::string const& text : arguments.assume) {
        options.assume.insert(parseAssumption(text));
    }
    return options;
}

/// A line on a terminal, once playing takes longer than two seconds.
std::function<void(size_t, size_t)> progressOf(std::string const& name) {
    if (isatty(STDERR_FILENO) == 0) {
        return {};
    }
    using Clock = std::chrono::steady_clock;
    return [name, next = Clock::now() + std::chrono::seconds(2), isShown = false](size_t done, size_t all) mutable {
        if (Clock::now() >= next || (isShown && done == all)) {
            isShown = true;
            next = Clock::now() + std::chrono::milliseconds(200);
            std::cerr << "\r" << name << ": " << 100 * done / all << " % of " << all << " events"
                      << (done == all ? "\n" : "") << std::flush;
        }
    };
}

}  // namespace

std::string defaultPlugin() {
    constexpr char const* kName = "libvzrcam_zsl_sampleselector.so";
    std::error_code error;
    auto const program = std::filesystem::read_symlink("/proc/self/exe", error);
    auto const built = program.parent_path().parent_path() / "lib" / kName;
    return !error && std::filesystem::exists(built, error) ? built.string() : kName;
}

std::string notEmpty(std::string const& text) { return text.empty() ? "must not be empty" : ""; }

void addHostOptions(CLI::App& app, SessionArguments& arguments) {
    app.add_option("--plugin", arguments.plugin, "The plug-in library (default: the one of this build)")
        ->check(notEmpty);
    app.add_option("--setprop", arguments.properties, "Set a system property, name=value; repeatable")
        ->allow_extra_args(false)
        ->check(notEmpty);
    app.add_option("--props", arguments.propertyFile, "Set the properties of a file of name=value lines")
        ->check(notEmpty);
    app.add_option("--history", arguments.historyDepth,
                   "Frames the history holds (default: 30, or as many as a recording shows)")
        ->check(CLI::Range(1, 100000));
    app.add_option("--result-ms", arguments.resultAfterMs,
                   "For dumps: from a frame's exposure to its complete result")
        ->check([](std::string const& text) {
            double value = NAN;
            return CLI::detail::lexical_cast(text, value) && value >= 0 && value <= 60000
                       ? ""
                       : "'" + text + "' is no time from 0 to 60000 ms";
        })
        ->capture_default_str();
    app.add_option("--assume", arguments.assume,
                   "For dumps: TAG=VALUE for a tag that a client never names; TAG=absent leaves it out; repeatable")
        ->allow_extra_args(false)
        ->check(notEmpty);
    app.add_option("--client", arguments.client, "For dumps: play this client only, by the name the table shows")
        ->check(notEmpty);
}

void addSettingOptions(CLI::App& app, SessionArguments& arguments) {
    app.add_option("--hint", arguments.hint,
                   "Strategy: 0 continuous, 1 FIFO, 2 latest, 3 latest with quality check, 4 MFNR then HDR")
        ->check(notEmpty);
    app.add_option("--policy", arguments.policy, "Policy bit set: a number, or names joined by |")->check(notEmpty);
    app.add_option("--timeout-ms", arguments.timeoutMs, "How long a request waits for frames")->check(notEmpty);
}

void addRequestOption(CLI::App& app, SessionArguments& arguments) {
    app.add_option("--request", arguments.requests, "Show these requests only: R94,R361")
        ->delimiter(',')
        ->allow_extra_args(false)
        ->check(notEmpty);
}

void setProperties(SessionArguments const& arguments, SessionSet const& set) {
    for (auto const& session : set.sessions) {
        for (auto const& [name, value] : session.properties) {
            Properties::set(name, value);
        }
    }
    if (!arguments.propertyFile.empty()) {
        setPropertiesOfFile(arguments.propertyFile);
    }
    for (std::string const& property : arguments.properties) {
        Properties::setFromText(property, "--setprop");
    }
    if (!arguments.hint.empty()) {
        force(kForceHint, hintNumber(arguments.hint));
    }
    if (!arguments.policy.empty()) {
        force(kForcePolicy, policyNumber(arguments.policy));
    }
    if (!arguments.timeoutMs.empty()) {
        force(kForceTimeout, wholeNumber(arguments.timeoutMs, "--timeout-ms"));
    }
    for (std::string const& warning : arguments.isQuiet ? std::vector<std::string>() : propertyWarnings()) {
        std::cerr << "zsl-replay: warning: " << warning << '\n';
    }
}

SessionSet readSessions(SessionArguments const& arguments, Input const& input, Report& report) {
    report.plugin = arguments.plugin.empty() ? defaultPlugin() : arguments.plugin;
    report.historyDepth = arguments.historyDepth.value_or(kHistoryDepth);
    if (input.isSession || input.isRecording) {
        for (auto const& [option, isUsed] :
             {std::pair("--assume", !arguments.assume.empty()), std::pair("--client", !arguments.client.empty())}) {
            if (isUsed && !arguments.isQuiet) {
                throw InputError(std::string(option) + " is for dumps; " + input.name + " is none");
            }
        }
        SessionSet set =
            input.isSession ? readSession(input.text, input.name) : readRecordedSessions(input.text, input.name);
        size_t recordedDepth = 0;
        for (Session const& session : set.sessions) {
            recordedDepth = std::max(recordedDepth, session.historyDepth.value_or(kHistoryDepth));
        }
        report.historyDepth = arguments.historyDepth.value_or(recordedDepth);
        setProperties(arguments, set);
        report.settings = settingsInForce();
        return set;
    }
    setProperties(arguments, {});
    report.settings = settingsInForce();
    report.resultAfterMs = arguments.resultAfterMs;
    return readPhoneDump(input.text, input.name, dumpOptions(arguments, report.settings));
}

std::set<RequestNo> requestsOf(SessionSet const& set) {
    std::set<RequestNo> requests;
    for (Session const& session : set.sessions) {
        for (Request const& request : session.requests) {
            requests.insert(request.requestNo);
        }
    }
    return requests;
}

std::set<RequestNo> chosenRequests(SessionArguments const& arguments, std::set<RequestNo> const& known) {
    std::set<RequestNo> chosen;
    for (std::string const& text : arguments.requests) {
        auto const number = parseInteger(text.substr(text.compare(0, 1, "R") == 0 ? 1 : 0));
        if (!number || *number < 0 || *number > UINT32_MAX || known.count(static_cast<RequestNo>(*number)) == 0) {
            throw InputError("--request: there is no request '" + text + "'");
        }
        chosen.insert(static_cast<RequestNo>(*number));
    }
    return chosen;
}

RunOptions runOptions(SessionArguments const& arguments, Report const& report) {
    RunOptions options;
    options.plugin = report.plugin;
    options.host.historyDepth = arguments.historyDepth;
    return options;
}

bool playSessions(SessionSet const& set, RunOptions options, Report& report) {
    for (Session const& session : set.sessions) {
        options.host.onProgress = progressOf(session.name);
        RunResult run = runSession(session, options);
        if (run.played) {
            report.played.push_back(std::move(*run.played));
            continue;
        }
        ++report.failed;
        std::cerr << "zsl-replay: " << (run.isPluginMissing ? "" : session.name + ": ") << run.failure << '\n';
        if (run.isPluginMissing) {
            return false;
        }
    }
    return true;
}

}  // namespace Replay
