// zsl-replay: the command line.
#include <iostream>

#include "Commands.h"
#include "Session.h"

namespace {

constexpr char const* kFooter =
    "Examples:\n"
    "  zsl-replay session.json                      which frames each request got\n"
    "  zsl-replay --log D session.json              with the selector's explanation of every step\n"
    "  zsl-replay --policy 'ZeroShutterDelay|ContinuousFrame' dump.txt\n"
    "                                               the same captures without quality checks\n"
    "  zsl-replay --policy 'AFStable|ContinuousFrame' --timeout-ms 300 dump.txt\n"
    "  zsl-replay --hint 2 --json dump.txt          still-capture runs as reprocess bursts, as JSON\n"
    "\n"
    "INPUT is a session file (JSON) or what `adb shell cmd media.camera watch dump` printed.\n"
    "Exit codes: 0 played; 1 a session failed, the plug-in cannot be loaded, or the output cannot be written;\n"
    "2 bad arguments or input.";

int run(int argc, char** argv) {
    CLI::App app("Plays a recorded camera session through the zero-shutter-lag frame selector.", "zsl-replay");
    app.footer(kFooter);
    app.set_version_flag("--version", "zsl-replay " ZSL_VERSION);
    auto const play = Replay::addPlay(app);
    try {
        app.parse(argc, argv);
    } catch (CLI::ParseError const& error) {
        return app.exit(error) == 0 ? 0 : Replay::kExitBadInput;
    }
    return play();
}

}  // namespace

int main(int argc, char** argv) {
    int code = Replay::kExitBadInput;
    try {
        // `zsl-replay play INPUT` is `zsl-replay INPUT`.
        bool const isNamed = argc > 1 && argv[1] == std::string_view("play");
        code = run(argc - (isNamed ? 1 : 0), argv + (isNamed ? 1 : 0));
    } catch (std::exception const& error) {  // SessionError, PropertyError
        std::cerr << "zsl-replay: " << error.what() << '\n';
    }
    if (!std::cout.flush()) {
        std::cerr << "zsl-replay: cannot write to standard output\n";
        return Replay::kExitFailed;
    }
    return code;
}
