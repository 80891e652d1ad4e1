// zsl-replay generate: writes plausible sessions to standard output.
#include <iostream>

#include "Commands.h"
#include "replay/input/Generate.h"

namespace Replay {

std::function<int()> addGenerate(CommandLine& line) {
    struct GenerateArguments : GenerateOptions {
        uint32_t count = 1;
    };
    auto const arguments = std::make_shared<GenerateArguments>();
    auto const addWhole = [&](char const* name, char const* shown, char const* help, auto& target, int64_t least,
                              int64_t most) {
        line.add(name, shown, help, [name, &target, least, most, arguments](std::string const& text) {
            target = static_cast<std::decay_t<decltype(target)>>(wholeNumber(text, name, least, most));
        });
    };
    auto const addDecimal = [&](char const* name, char const* shown, char const* help, double& target, double least,
                                double most) {
        line.add(name, shown, help, [name, &target, least, most, arguments](std::string const& text) {
            target = decimalNumber(text, name, least, most);
        });
    };
    addWhole("--seed", "NUMBER=1", "The same seed gives the same session, everywhere", arguments->seed, 0,
             UINT32_MAX);
    addDecimal("--seconds", "SECONDS=5", "Length of the session", arguments->seconds, 0.1, 3600);
    addDecimal("--fps", "FRAMES=30", "Frames a second", arguments->fps, 1, 1000);
    addWhole("--captures", "COUNT=6", "Capture requests", arguments->captures, 1, 100000);
    addWhole("--burst", "COUNT=0", "Make each capture a burst of this many requests; 0: no bursts",
             arguments->burst, 0, 1000);
    addWhole("--sensors", "COUNT=1", "Sensors: 1, or 2 with frame synchronisation", arguments->sensors, 1, 2);
    addWhole("--count", "COUNT=1", "How many sessions, one per line, each with the next seed", arguments->count, 1,
             10000000);
    return [arguments] {
        for (uint32_t index = 0; index < arguments->count && std::cout; ++index) {
            GenerateOptions options = *arguments;
            options.seed += index;
            std::cout << generateSession(options) << '\n';
        }
        return 0;
    };
}

}  // namespace Replay
