// zsl-replay: the command line.
#include <iostream>

#include "Commands.h"
#include "replay/model/InputError.h"
#include "replay/model/Printable.h"

namespace {

struct Command {
    char const* name;
    char const* description;
    std::function<int()> (*add)(Replay::CommandLine&);
    char const* footer;
};

constexpr char const* kExitCodes =
    "\nExit codes: 0 done; 1 an input failed, the plug-in cannot be loaded, or the output cannot be written;\n"
    "2 bad arguments or input.";

constexpr Command kCommands[] = {
    {"play", "Plays a recorded camera session through the zero-shutter-lag frame selector.", Replay::addPlay,
     "Examples:\n"
     "  zsl-replay session.json                      which frames each request got\n"
     "  zsl-replay --log D session.json              with the selector's log\n"
     "  zsl-replay --policy 'ZeroShutterDelay|ContinuousFrame' dump.txt\n"
     "                                               the same captures without quality checks\n"
     "  zsl-replay --hint 2 --json dump.txt          still-capture runs as reprocess bursts, as JSON\n"
     "  zsl-replay --html page.html session.json     a page with timeline and explanations\n"
     "\n"
     "Other commands, each with its own --help:\n"
     "  zsl-replay explain INPUT                     why, call by call; also from a logcat\n"
     "  zsl-replay sweep INPUT...                    many inputs under many settings, compared\n"
     "  zsl-replay generate                          plausible random sessions\n"
     "  zsl-replay verify FILE...                    recorded calls made again, and compared\n"
     "\n"
     "INPUT is a session file (JSON), what `adb shell cmd media.camera watch dump` printed, or a recording."},
    {"explain", "Tells call by call why each request got its frames.", Replay::addExplain,
     "Examples:\n"
     "  zsl-replay explain --request R94 dump.txt    one request of a session\n"
     "  adb logcat -d -s SampleSelector | zsl-replay explain --logcat -\n"
     "                                               what a phone's log says"},
    {"sweep", "Plays many inputs under many combinations of settings, and compares.", Replay::addSweep,
     "Examples:\n"
     "  zsl-replay sweep sessions/ --hint 0,2,3 --policy default,0 --timeout-ms 300,1000\n"
     "  cat sessions.ndjson | zsl-replay sweep --ndjson --hint 0,2 -\n"
     "\n"
     "default is what the input's own properties say, and without them the plug-in's default. A row of the table\n"
     "is a combination, summed over all inputs. An input that fails is named, left out and counted."},
    {"generate", "Writes plausible sessions to standard output, one per line.", Replay::addGenerate,
     "Examples:\n"
     "  zsl-replay generate --seed 7 --seconds 5 --fps 30 --captures 6 > session.json\n"
     "  zsl-replay generate --count 1000 | zsl-replay sweep --hint 0 --policy default,0 -"},
    {"verify", "Makes recorded calls again, in order, and compares every answer.", Replay::addVerify,
     "Examples:\n"
     "  zsl-replay verify zsl-1234-1790000000000-1.ndjson\n"
     "  zsl-replay verify --plugin ./libvzrcam_zsl_sampleselector.so recordings/\n"
     "\n"
     "Exit code 4: an answer is not as recorded. Without an answer to compare, the exit code is 2."}};

int run(Command const& command, int argc, char** argv) {
    bool const isPlay = &command == &kCommands[0];
    Replay::CommandLine line(command.description, isPlay ? "zsl-replay" : std::string("zsl-replay ") + command.name,
                             std::string(command.footer) + kExitCodes);
    auto const execute = command.add(line);
    if (auto const ended = line.parse(argc, argv)) {
        return *ended;
    }
    return execute();
}

}  // namespace

int main(int argc, char** argv) {
    int code = Replay::kExitBadInput;
    try {
        // Without the name of a command it is `play`.
        Command const* command = &kCommands[0];
        int named = 0;
        for (Command const& candidate : kCommands) {
            if (argc > 1 && argv[1] == std::string_view(candidate.name)) {
                command = &candidate;
                named = 1;
            }
        }
        code = run(*command, argc - named, argv + named);
    } catch (std::exception const& error) {  // InputError, PropertyError
        std::cerr << "zsl-replay: " << Replay::printable(error.what()) << '\n';
    }
    if (!std::cout.flush()) {
        std::cerr << "zsl-replay: cannot write to standard output\n";
        return Replay::kExitFailed;
    }
    return code;
}
