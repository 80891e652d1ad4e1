// What the subcommands that play sessions share: the options that say what is played and under which settings, and
// the way from an input to its sessions, ready to be played.
#pragma once

#include "PluginOptions.h"
#include "replay/input/Input.h"
#include "replay/input/PhoneDump.h"
#include "replay/report/Report.h"

namespace Replay {

struct PlayOptions : PluginOptions {
    std::string propertyFile;             ///< empty: none
    std::vector<std::string> properties;  ///< name=value
    SettingOverrides settings;
    std::optional<size_t> historyDepth;  ///< unless told: of a recording what it shows, else kHistoryDepth
    DumpOptions dump;                    ///< what is the command line's of it; the rest comes from the settings
    std::set<RequestNo> requests;        ///< only these are shown; empty: all
};

/// Adds --plugin, --deadline-s, --setprop, --props, --history, --result-ms, --assume and --client.
void addHostOptions(CommandLine& line, PlayOptions& options);

/// Adds --hint, --policy and --timeout-ms, one value each.
void addSettingOptions(CommandLine& line, PlayOptions& options);

/// Adds --request.
void addRequestOption(CommandLine& line, PlayOptions& options);

/// Brings properties into force: those of the sessions, over them those of `options`, and over those its settings.
/// Answers what is odd about them. Throws InputError and PropertyError.
std::vector<std::string> applyProperties(PlayOptions const& options, SessionSet const& set);

/// An input that is ready to be played.
struct Prepared {
    SessionSet set;
    Report report;                      ///< with what is in force
    std::vector<std::string> warnings;  ///< what is odd about the settings
};

/// Reads the input's sessions and applies its properties. Throws InputError and PropertyError.
Prepared prepare(PlayOptions const& options, Input const& input);

/// Refuses options that are for dumps alone where the input is none. Throws InputError.
void refuseDumpOptions(PlayOptions const& options, Input const& input);

/// Refuses a request of --request that is not among `known`. Throws InputError.
void refuseUnknownRequests(PlayOptions const& options, std::set<RequestNo> const& known);

std::set<RequestNo> requestsOf(SessionSet const& set);

/// What was prepared, as the runner takes it.
RunOptions runOptions(PlayOptions const& options);

/// Plays the prepared sessions into their report, each in a process of its own; warnings and failures are told on
/// standard error and counted. False: the plug-in cannot be loaded.
bool playSessions(Prepared& prepared, RunOptions options);

}  // namespace Replay
