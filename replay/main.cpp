// zsl-replay: plays a recorded camera session through the plug-in and tells which frames it chose, and why.
#include <vzrcam/LogSink.h>
#include <vzrcam/Properties.h>
#include <vzrcam/PropertyStore.h>

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <sstream>

#include "Host.h"
#include "Plugin.h"
#include "Report.h"
#include "Session.h"
#include "TagTable.h"

namespace {

namespace Properties = NSCam::Utils::Properties;
namespace Policy = NSCam::ZslPolicy::Policy;

constexpr int kExitPlugin = 1;
constexpr int kExitBadInput = 2;

constexpr char const* kRuntimeSwitch = "vendor.debug.camera.zsl.runtime.adb";
constexpr char const* kForcePolicy = "vendor.debug.camera.zsl.force.policy";
constexpr char const* kForceTimeout = "vendor.debug.camera.zsl.force.timeout";
constexpr char const* kForceHint = "vendor.debug.camera.zsl.force.hint";
constexpr char const* kLogLevel = "log.tag.SampleSelector";

constexpr char const* kFooter =
    "Examples:\n"
    "  zsl-replay session.json                      which frames each request got\n"
    "  zsl-replay --log D session.json              with the selector's explanation of every step\n"
    "  zsl-replay --policy 0 dump.txt               the same captures without quality checks\n"
    "  zsl-replay --policy 'AFStable|ContinuousFrame' --timeout-ms 300 dump.txt\n"
    "  zsl-replay --hint 2 --json dump.txt          still-capture runs as reprocess bursts, as JSON\n"
    "\n"
    "INPUT is a session file (JSON) or what `adb shell cmd media.camera watch dump` printed.\n"
    "Exit codes: 0 played, 1 the plug-in cannot be loaded, 2 bad arguments or input.";

struct Arguments {
    std::string input;
    std::string plugin;
    std::string logLevel;
    std::string propertyFile;
    std::vector<std::string> properties;
    std::string hint;
    std::string policy;
    std::string timeoutMs;
    size_t historyDepth = 30;
    double resultAfterMs = 66;
    bool asJson = false;
};

/// The plug-in of the build that this program belongs to; away from a build, the one on the library path.
std::string defaultPlugin() {
    constexpr char const* kName = "libvzrcam_zsl_sampleselector.so";
    std::error_code error;
    auto const program = std::filesystem::read_symlink("/proc/self/exe", error);
    auto const built = program.parent_path().parent_path() / "lib" / kName;
    return !error && std::filesystem::exists(built, error) ? built.string() : kName;
}

/// A policy by number, or by the names of its bits joined by '|'.
std::string policyNumber(std::string const& text) {
    static constexpr struct {
        char const* name;
        uint32_t bits;
    } kBits[] = {{"None", 0},
                 {"AFStable", Policy::AFStable},
                 {"AEStable", Policy::AEStable},
                 {"AESoftStable", Policy::AESoftStable},
                 {"FrameSync", Policy::FrameSync},
                 {"ZeroShutterDelay", Policy::ZeroShutterDelay},
                 {"ContinuousFrame", Policy::ContinuousFrame},
                 {"ForcePending", Policy::ForcePending}};
    if (auto const number = Replay::parseInteger(text); number && *number >= 0 && *number <= UINT32_MAX) {
        return std::to_string(*number);
    }
    uint32_t policy = 0;
    std::istringstream names(text);
    for (std::string name; std::getline(names, name, '|');) {
        auto const* const bit =
            std::find_if(std::begin(kBits), std::end(kBits), [&](auto const& entry) { return name == entry.name; });
        if (bit == std::end(kBits)) {
            throw Replay::SessionError("--policy: '" + name +
                                       "' is neither a number nor one of None, AFStable, AEStable, AESoftStable, "
                                       "FrameSync, ZeroShutterDelay, ContinuousFrame, ForcePending");
        }
        policy |= bit->bits;
    }
    return std::to_string(policy);
}

std::string wholeNumber(std::string const& text, char const* option) {
    auto const number = Replay::parseInteger(text);
    if (!number || *number < 0) {
        throw Replay::SessionError(std::string(option) + ": '" + text + "' is no whole number from 0");
    }
    return std::to_string(*number);
}

void force(char const* property, std::string const& value) {
    Properties::set(kRuntimeSwitch, "1");
    Properties::set(property, value);
}

/// The properties of session, file and command line, in this order: the later one wins.
void setProperties(Arguments const& arguments, Replay::Recording const& recording) {
    // Refusals are shown in the table whatever is printed, so WARN lines always pass.
    int const shown = arguments.logLevel.empty() ? 0 : NSCam::Utils::Log::priorityOf(arguments.logLevel[0]);
    if (shown != 0) {
        Properties::set(kLogLevel, shown > NSCam::Utils::Log::priorityOf('W') ? "W" : arguments.logLevel);
    }
    for (auto const& session : recording.sessions) {
        for (auto const& [name, value] : session.properties) {
            Properties::set(name, value);
        }
    }
    if (!arguments.propertyFile.empty()) {
        std::ifstream file(arguments.propertyFile);
        if (!file) {
            throw Replay::SessionError(arguments.propertyFile + ": " + std::strerror(errno));
        }
        Properties::load(file, arguments.propertyFile);
    }
    for (std::string const& property : arguments.properties) {
        Properties::setFromText(property, "--setprop");
    }
    if (!arguments.hint.empty()) {
        force(kForceHint, wholeNumber(arguments.hint, "--hint"));
    }
    if (!arguments.policy.empty()) {
        force(kForcePolicy, policyNumber(arguments.policy));
    }
    if (!arguments.timeoutMs.empty()) {
        force(kForceTimeout, wholeNumber(arguments.timeoutMs, "--timeout-ms"));
    }
}

/// Whether the hint in force asks for reprocess bursts.
bool isBurstHint() {
    long const hint = Properties::property_get_int64(kForceHint, -1);
    return Properties::property_get_bool(kRuntimeSwitch, 0) != 0 && hint >= 1 && hint <= 4;
}

std::string readFile(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    std::ostringstream text;
    if (!file || !(text << file.rdbuf())) {
        throw Replay::SessionError(path + ": " + (errno != 0 ? std::strerror(errno) : "the file is empty"));
    }
    return text.str();
}

Replay::Recording readRecording(Arguments const& arguments) {
    errno = 0;
    std::string const text = readFile(arguments.input);
    size_t const first = text.find_first_not_of(" \t\r\n");
    if (first != std::string::npos && text[first] == '{') {
        Replay::Recording recording = Replay::readSession(text, arguments.input);
        setProperties(arguments, recording);
        return recording;
    }
    setProperties(arguments, {});
    Replay::DumpOptions options;
    options.asBursts = isBurstHint();
    options.resultAfterNs = static_cast<int64_t>(arguments.resultAfterMs * Replay::kNsPerMs);
    return Replay::readPhoneDump(text, arguments.input, options);
}

void replay(Arguments const& arguments, Replay::Recording const& recording) {
    Replay::Plugin const plugin(arguments.plugin.empty() ? defaultPlugin() : arguments.plugin);
    Replay::HostOptions options;
    options.historyDepth = arguments.historyDepth;
    options.makeSelector = [&] { return plugin.makeSelector(); };
    if (!arguments.logLevel.empty()) {
        int const shown = NSCam::Utils::Log::priorityOf(arguments.logLevel[0]);
        options.onLogLine = [shown](Replay::LogLine const& line) {
            if (line.priority >= shown) {
                std::cerr << NSCam::Utils::Log::threadtimeLine(line.priority, line.tag.c_str(), line.text,
                                                               line.sessionNs)
                          << '\n';
            }
        };
    }
    std::vector<Replay::PlayedSession> played;
    for (Replay::Session const& session : recording.sessions) {
        played.push_back({&session, Replay::play(session, options)});
    }
    (arguments.asJson ? Replay::printJson : Replay::printTable)(std::cout, recording, played);
}

int run(int argc, char** argv) {
    Arguments arguments;
    CLI::App app("Plays a recorded camera session through the zero-shutter-lag frame selector.", "zsl-replay");
    app.footer(kFooter);
    app.add_option("INPUT", arguments.input, "Session file (JSON) or camera service tag monitor dump")->required();
    app.add_option("--plugin", arguments.plugin, "The plug-in library (default: the one of this build)");
    app.add_option("--log", arguments.logLevel, "Show the plug-in's log from this level on, on standard error")
        ->check(CLI::IsMember({"V", "D", "I", "W", "E", "F", "S"}));
    app.add_option("--setprop", arguments.properties, "Set a system property, name=value; repeatable")
        ->allow_extra_args(false);
    app.add_option("--props", arguments.propertyFile, "Set the properties of a file of name=value lines");
    app.add_option("--hint", arguments.hint,
                   "Strategy: 0 continuous, 1 FIFO, 2 latest, 3 latest with quality check, 4 MFNR then HDR");
    app.add_option("--policy", arguments.policy, "Policy bit set: a number, or names joined by |");
    app.add_option("--timeout-ms", arguments.timeoutMs, "How long a request waits for frames");
    app.add_option("--history", arguments.historyDepth, "Frames the history holds")
        ->check(CLI::Range(1, 100000))
        ->capture_default_str();
    app.add_option("--result-ms", arguments.resultAfterMs,
                   "For dumps: from a frame's exposure to its complete result")
        ->check(CLI::Range(0.0, 60000.0))
        ->capture_default_str();
    app.add_flag("--json", arguments.asJson, "Print JSON in place of the table");
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? 0 : kExitBadInput;
    }
    try {
        replay(arguments, readRecording(arguments));
    } catch (Replay::PluginError const& error) {
        std::cerr << "zsl-replay: " << error.what() << '\n';
        return kExitPlugin;
    }
    return 0;
}

}  // namespace

int main(int argc, char** argv) {
    try {
        return run(argc, argv);
    } catch (std::exception const& error) {  // SessionError, PropertyError
        std::cerr << "zsl-replay: " << error.what() << '\n';
        return kExitBadInput;
    }
}
