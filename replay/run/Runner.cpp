#include "Runner.h"

#include "OnPlugin.h"
#include "Wire.h"

namespace Replay {

namespace {

PlayedSession playOnPlugin(Session const& session, RunOptions const& options) {
    return onPlugin(options.plugin, [&](Plugin const& plugin) {
        HostOptions host = options.host;
        host.makeSelector = [&plugin] { return makeSelectorOf(plugin); };
        return playInProcess(session, host, options.explain);
    });
}

}  // namespace

PlayedSession playInProcess(Session const& session, HostOptions host, bool explain) {
    std::vector<Explainer> explainers;
    if (explain) {
        auto const timestamps = std::make_shared<Timestamps>();
        for (Frame const& frame : session.frames) {
            (*timestamps)[frame.frameNo] = frame.startNs;
        }
        for (Request const& request : session.requests) {
            explainers.emplace_back(timestamps, request.shutterNs);
        }
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
    ChildEnd const end = runInChild({[&] { return pack(playOnPlugin(session, options)); }, options.deadline});
    if (end.failure) {
        return {std::nullopt, *end.failure, end.isOutOfProcesses};
    }
    try {
        PlayedSession played = unpackPlayed(end.answer, session);
        played.log = options.host.log;
        return {std::move(played), {}, false};
    } catch (BrokenPlugin const& error) {
        return {std::nullopt, {error.what()}, false};
    }
}

}  // namespace Replay
