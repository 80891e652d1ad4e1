// zsl-replay generate: writes plausible sessions to standard output.
#include <iostream>

#include "Commands.h"
#include "replay/input/Generate.h"

namespace Replay {

std::function<int()> addGenerate(CLI::App& app) {
    struct Arguments : GenerateOptions {
        uint32_t count = 1;
    };
    auto const arguments = std::make_shared<Arguments>();
    app.add_option("--seed", arguments->seed, "The same seed gives the same session, everywhere")
        ->capture_default_str();
    app.add_option("--seconds", arguments->seconds, "Length of the session")
        ->check(CLI::Range(0.1, 3600.0))
        ->capture_default_str();
    app.add_option("--fps", arguments->fps, "Frames a second")
        ->check(CLI::Range(1.0, 1000.0))
        ->capture_default_str();
    app.add_option("--captures", arguments->captures, "Capture requests")
        ->check(CLI::Range(1, 100000))
        ->capture_default_str();
    app.add_option("--burst", arguments->burst, "Each capture is a burst of so many requests; 0: none is")
        ->check(CLI::Range(0, 1000))
        ->capture_default_str();
    app.add_option("--sensors", arguments->sensors, "1, or 2 with frame synchronisation")
        ->check(CLI::Range(1, 2))
        ->capture_default_str();
    app.add_option("--count", arguments->count, "So many sessions, a line each, with this and the next seeds")
        ->check(CLI::Range(1, 10000000))
        ->capture_default_str();
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
