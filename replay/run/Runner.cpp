#include "Runner.h"

#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <iostream>
#include <nlohmann/json.hpp>

#include "replay/selector/Plugin.h"

namespace Replay {

namespace {

using Json = nlohmann::json;

Json toJson(PlayedSession const& played) {
    SessionResult const& result = played.result;
    Json outcomes = Json::array();
    for (Outcome const& outcome : result.outcomes) {
        outcomes.push_back({outcome.state, outcome.chosen, outcome.offsetsNs, outcome.waitedNs, outcome.calls,
                            outcome.locks, outcome.unlocks, outcome.refusals, outcome.hasTimedOut});
    }
    Json explained = Json::array();
    for (Explanation const& explanation : played.explanations) {
        explained.push_back({explanation.heading, explanation.lines, explanation.closing});
    }
    Json frames = Json::array();
    for (FrameLife const& life : result.frames) {
        Json verdicts = Json::array();
        for (auto const& [requestNo, verdict] : life.verdicts) {
            verdicts.push_back({requestNo, verdict.frameNo, verdict.isRefused, verdict.isUnchecked,
                                verdict.reason.name, verdict.reason.words});
        }
        frames.push_back({life.leftNs, life.lockedNs, verdicts});
    }
    return {{"outcomes", outcomes},  {"explanations", explained},         {"frames", frames},
            {"endNs", result.endNs}, {"lockedAtEnd", result.lockedAtEnd}, {"isExplained", result.isExplained}};
}

PlayedSession fromJson(Json const& json, Session const& session) {
    PlayedSession played{&session, {}, {}};
    SessionResult& result = played.result;
    result.lockedAtEnd = json.at("lockedAtEnd");
    result.isExplained = json.at("isExplained");
    for (size_t index = 0; index < session.requests.size(); ++index) {
        Json const& from = json.at("outcomes").at(index);
        Outcome& outcome = result.outcomes.emplace_back();
        outcome.request = &session.requests[index];
        outcome.state = from.at(0);
        outcome.chosen = from.at(1).get<std::map<int32_t, FrameNo>>();
        outcome.offsetsNs = from.at(2).get<std::vector<int64_t>>();
        outcome.waitedNs = from.at(3);
        outcome.calls = from.at(4);
        outcome.locks = from.at(5);
        outcome.unlocks = from.at(6);
        outcome.refusals = from.at(7).get<std::vector<std::pair<std::string, size_t>>>();
        outcome.hasTimedOut = from.at(8);
    }
    for (Json const& from : json.at("explanations")) {
        played.explanations.push_back({from.at(0), from.at(1).get<std::vector<std::string>>(), from.at(2)});
    }
    for (Json const& from : json.at("frames")) {
        FrameLife& life = result.frames.emplace_back();
        life.leftNs = from.at(0);
        life.lockedNs = from.at(1).get<std::vector<std::pair<int64_t, int64_t>>>();
        for (Json const& verdict : from.at(2)) {
            life.verdicts[verdict.at(0)] = {
                verdict.at(1), verdict.at(2), verdict.at(3), {verdict.at(4), verdict.at(5), false}};
        }
    }
    result.endNs = json.at("endNs");
    return played;
}

/// In the process of its own: the session's result, or what went wrong.
Json playHere(Session const& session, RunOptions const& options) {
    try {
        Plugin const plugin(options.plugin);
        HostOptions host = options.host;
        host.makeSelector = [&] {
            auto selector = plugin.makeSelector();
            if (selector == nullptr) {
                throw BrokenPlugin("the plug-in's createCustomSelector leaves the pointer null");
            }
            return selector;
        };
        return toJson(playInProcess(session, host, options.explain));
    } catch (PluginError const& error) {
        return {{"failure", error.what()}, {"isPluginMissing", true}};
    } catch (BrokenPlugin const& error) {
        return {{"failure", error.what()}};
    } catch (std::exception const& error) {
        return {{"failure", std::string("the plug-in threw an exception: ") + error.what()}};
    } catch (...) {
        return {{"failure", "the plug-in threw an exception"}};
    }
}

void writeAll(int descriptor, std::vector<uint8_t> const& bytes) {
    for (size_t written = 0; written < bytes.size();) {
        ssize_t const count = write(descriptor, bytes.data() + written, bytes.size() - written);
        if (count <= 0) {
            return;  // the reader is gone
        }
        written += static_cast<size_t>(count);
    }
}

std::vector<uint8_t> readAll(int descriptor) {
    std::vector<uint8_t> bytes;
    uint8_t part[65536];
    for (ssize_t count = 0; (count = read(descriptor, part, sizeof part)) > 0;) {
        bytes.insert(bytes.end(), part, part + count);
    }
    return bytes;
}

}  // namespace

PlayedSession playInProcess(Session const& session, HostOptions host, bool explain) {
    std::vector<Explainer> explainers;
    if (explain) {
        explainers.resize(session.requests.size(), Explainer(std::make_shared<Timestamps>()));
        host.onCall = [&explainers](size_t request, CallStory const& call) {
            if (call.isNamed) {
                explainers[request].add(call);
            }
        };
    }
    PlayedSession played{&session, play(session, host), std::vector<Explanation>(explainers.size())};
    for (size_t index = 0; index < explainers.size(); ++index) {
        if (played.result.outcomes[index].calls > 0) {
            played.explanations[index] = explainers[index].explain();
        }
    }
    if (host.log) {
        host.log->finish();
        played.log = host.log;
    }
    return played;
}

RunResult runSession(Session const& session, RunOptions options) {
    options.host.log = options.keepLog ? std::make_shared<LogFile>() : nullptr;
    int ends[2];
    std::cout.flush();
    std::cerr.flush();
    if (pipe(ends) != 0) {
        return {std::nullopt, std::string("cannot make a pipe: ") + std::strerror(errno), false};
    }
    pid_t const child = fork();
    if (child < 0) {
        return {std::nullopt, std::string("cannot start a process: ") + std::strerror(errno), false};
    }
    if (child == 0) {
        close(ends[0]);
        writeAll(ends[1], Json::to_msgpack(playHere(session, options)));
        std::cerr.flush();
        _exit(0);
    }
    close(ends[1]);
    auto const bytes = readAll(ends[0]);
    close(ends[0]);
    int status = 0;
    waitpid(child, &status, 0);
    if (WIFSIGNALED(status)) {
        return {std::nullopt,
                "the plug-in ended the process: signal " + std::to_string(WTERMSIG(status)) + " (" +
                    strsignal(WTERMSIG(status)) + ")",
                false};
    }
    Json const json = Json::from_msgpack(bytes, true, false);
    if (!json.is_object()) {
        return {std::nullopt, "the plug-in ended the process: exit code " + std::to_string(WEXITSTATUS(status)),
                false};
    }
    if (json.contains("failure")) {
        return {std::nullopt, json.at("failure"), json.contains("isPluginMissing")};
    }
    PlayedSession played = fromJson(json, session);
    played.log = options.host.log;
    return {std::move(played), "", false};
}

}  // namespace Replay
