#include "PlayOptions.h"

#include <fmt/core.h>
#include <vzrcam/PropertyStore.h>

#include <iostream>
#include <sstream>

#include "Progress.h"
#include "replay/model/InputError.h"
#include "replay/model/Integer.h"
#include "replay/model/Printable.h"
#include "replay/model/Strategies.h"
#include "replay/model/TagTable.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

namespace Properties = NSCam::Utils::Properties;

void setPropertiesOfFile(std::string const& path) {
    std::istringstream lines(readText(path).text);
    Properties::load(lines, path);
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
        throw InputError(fmt::format("--assume: '{}' is no value of {}", word, tag->name));
    }
    return {tag->number, value};
}

RequestNo parseRequest(std::string const& text) {
    auto const number = parseInteger(text.substr(text.compare(0, 1, "R") == 0 ? 1 : 0));
    if (!number || *number < 0 || *number > UINT32_MAX) {
        throw InputError("--request: there is no request '" + text + "'");
    }
    return static_cast<RequestNo>(*number);
}

/// Tells how far the session's process is, once playing takes longer than two seconds.
std::function<void(size_t, size_t)> progressOf(std::string const& name) {
    return [name, progress = Progress(std::chrono::seconds(2))](size_t done, size_t all) mutable {
        if (done == all) {
            progress.clear();
        } else if (progress.isDue()) {
            progress.show(fmt::format("{}: {} % of {} events", printable(name), 100 * done / all, all));
        }
    };
}

}  // namespace

void addHostOptions(CommandLine& line, PlayOptions& options) {
    auto const whole = [&options](auto PlayOptions::*target) {
        return [&options, target](std::string const& text) { options.*target = text; };
    };
    addPluginOptions(line, options);
    line.addRepeatable("--setprop", "NAME=VALUE", "Set a system property; repeatable",
                       [&options](std::string const& text) { options.properties.push_back(text); });
    line.add("--props", "FILE", "Set the properties of a file of name=value lines",
             whole(&PlayOptions::propertyFile));
    line.add("--history", "FRAMES", "Frames the history holds (default: 30, or as many as a recording shows)",
             [&options](std::string const& text) {
                 options.historyDepth = static_cast<size_t>(wholeNumber(text, "--history", 1, 100000));
             });
    line.add("--result-ms", "MS=66", "For dumps: from a frame's exposure to its complete result",
             [&options](std::string const& text) {
                 options.dump.resultAfterNs = toNs(decimalNumber(text, "--result-ms", 0, 60000, " ms"));
             });
    line.addRepeatable("--assume", "TAG=VALUE",
                       "For dumps: what to take for a tag that a client never names; TAG=absent leaves it out; "
                       "repeatable",
                       [&options](std::string const& text) { options.dump.assume.insert(parseAssumption(text)); });
    line.add("--client", "NAME", "For dumps: play this client only, by the name the table shows",
             [&options](std::string const& text) { options.dump.client = text; });
}

void addSettingOptions(CommandLine& line, PlayOptions& options) {
    static std::string const hints = "Strategy: " + strategyList();
    line.add("--hint", "0-4", hints.c_str(),
             [&options](std::string const& text) { options.settings.hint = parseHint(text); });
    line.add("--policy", "BITS", "Policy bit set: a number, or names joined by |",
             [&options](std::string const& text) { options.settings.policy = parsePolicy(text); });
    line.add("--timeout-ms", "MS", "How long a request waits for frames", [&options](std::string const& text) {
        options.settings.timeoutMs = wholeNumber(text, "--timeout-ms", 0, INT64_MAX);
    });
}

void addRequestOption(CommandLine& line, PlayOptions& options) {
    line.addList("--request", "R1,R2", "Show these requests only",
                 [&options](std::string const& text) { options.requests.insert(parseRequest(text)); });
}

std::vector<std::string> applyProperties(PlayOptions const& options, SessionSet const& set) {
    for (auto const& session : set.sessions) {
        for (auto const& [name, value] : session.properties) {
            Properties::set(name, value);
        }
    }
    if (!options.propertyFile.empty()) {
        setPropertiesOfFile(options.propertyFile);
    }
    for (std::string const& property : options.properties) {
        Properties::setFromText(property, "--setprop");
    }
    return force(options.settings);
}

Prepared prepare(PlayOptions const& options, Input const& input) {
    Prepared prepared;
    Report& report = prepared.report;
    report.plugin = options.plugin;
    report.requests = options.requests;
    if (input.kind != InputKind::Dump) {
        prepared.set = sessionsOf(input, {});
    }
    prepared.warnings = applyProperties(options, prepared.set);
    report.settings = settingsInForce();
    if (options.settings.policy) {
        if (auto unread = unreadPolicy(report.settings.hint, *options.settings.policy)) {
            prepared.warnings.push_back(std::move(*unread));
        }
    }
    if (input.kind == InputKind::Dump) {
        DumpOptions dump = options.dump;
        dump.asBursts = report.settings.hint >= 1 && report.settings.hint <= 4;
        dump.judgedTags = report.settings.judgedTags;
        prepared.set = sessionsOf(input, dump);
        report.resultAfterMs = toMs(dump.resultAfterNs);
    }
    report.notes = prepared.set.notes;
    for (Session const& session : prepared.set.sessions) {
        report.historyDepth = std::max(report.historyDepth, session.historyDepth.value_or(kHistoryDepth));
    }
    report.historyDepth = options.historyDepth.value_or(report.historyDepth);
    return prepared;
}

void refuseDumpOptions(PlayOptions const& options, Input const& input) {
    if (input.kind == InputKind::Dump) {
        return;
    }
    for (auto const& [option, isUsed] : {std::pair("--assume", !options.dump.assume.empty()),
                                         std::pair("--client", !options.dump.client.empty())}) {
        if (isUsed) {
            throw InputError(std::string(option) + " is for dumps; " + input.name + " is none");
        }
    }
}

void refuseUnknownRequests(PlayOptions const& options, std::set<RequestNo> const& known) {
    for (RequestNo const requestNo : options.requests) {
        if (known.count(requestNo) == 0) {
            throw InputError(fmt::format("--request: there is no request 'R{}'", requestNo));
        }
    }
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

RunOptions runOptions(PlayOptions const& options) {
    RunOptions run;
    run.plugin = options.plugin;
    run.deadline = options.deadline;
    run.host.historyDepth = options.historyDepth;
    return run;
}

bool playSessions(Prepared& prepared, RunOptions options) {
    for (std::string const& warning : prepared.warnings) {
        std::cerr << "zsl-replay: warning: " << printable(warning) << '\n';
    }
    Report& report = prepared.report;
    for (Session const& session : prepared.set.sessions) {
        options.host.onProgress = progressOf(session.name);
        RunResult run = runSession(session, options);
        if (run.played) {
            report.played.push_back(std::move(*run.played));
            continue;
        }
        ++report.failed;
        bool const isMissing = run.failure.isPluginMissing;
        std::cerr << "zsl-replay: " << printable((isMissing ? "" : session.name + ": ") + run.failure.text) << '\n';
        if (isMissing) {
            return false;
        }
    }
    return true;
}

}  // namespace Replay
