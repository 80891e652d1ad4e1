// What the subcommands that play sessions share: the options that say what is played, and under which settings.
#pragma once

#include <CLI/CLI.hpp>

#include "replay/input/Input.h"
#include "replay/report/Report.h"
#include "replay/run/Runner.h"

namespace Replay {

/// The options as they were given.
struct SessionArguments {
    std::string input;
    std::string plugin;
    std::string propertyFile;
    std::vector<std::string> properties;
    std::string hint;
    std::string policy;
    std::string timeoutMs;
    std::optional<size_t> historyDepth;
    double resultAfterMs = 66;
    std::vector<std::string> assume;
    std::string client;
    std::vector<std::string> requests;
    bool isQuiet = false;  ///< no warnings, and options that an input does not need are let pass
};

/// The plug-in of the build or installation that this program belongs to; else the one on the library path.
std::string defaultPlugin();

/// For CLI::Option::check.
std::string notEmpty(std::string const& text);

/// Adds --plugin, --setprop, --props, --history, --result-ms, --assume and --client.
void addHostOptions(CLI::App& app, SessionArguments& arguments);

/// Adds --hint, --policy and --timeout-ms, one value each.
void addSettingOptions(CLI::App& app, SessionArguments& arguments);

/// Adds --request.
void addRequestOption(CLI::App& app, SessionArguments& arguments);

/// Sets the properties of file and command line over those of the recording: the later one wins.
void setProperties(SessionArguments const& arguments, SessionSet const& set);

/// The input's sessions under the settings of `arguments`, which come into force. What is in force, the plug-in and
/// the notes are put into `report`. Throws InputError and PropertyError.
SessionSet readSessions(SessionArguments const& arguments, Input const& input, Report& report);

std::set<RequestNo> requestsOf(SessionSet const& set);

/// --request: R94 or 94; each has to be among `known`.
std::set<RequestNo> chosenRequests(SessionArguments const& arguments, std::set<RequestNo> const& known);

/// What `report` was read for, as the runner takes it.
RunOptions runOptions(SessionArguments const& arguments, Report const& report);

/// Plays the recording's sessions into `report`, each in its own process; failures are told on standard error and
/// counted. False: the plug-in cannot be loaded.
bool playSessions(SessionSet const& set, RunOptions options, Report& report);

}  // namespace Replay
