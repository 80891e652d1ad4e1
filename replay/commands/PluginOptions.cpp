#include "PluginOptions.h"

#include <filesystem>
#include <thread>

namespace Replay {

namespace {

std::string defaultPlugin() {
    constexpr char const* kName = "libvzrcam_zsl_sampleselector.so";
    std::error_code error;
    auto const program = std::filesystem::read_symlink("/proc/self/exe", error);
    auto const built = program.parent_path().parent_path() / "lib" / kName;
    return !error && std::filesystem::exists(built, error) ? built.string() : kName;
}

}  // namespace

PluginOptions::PluginOptions() : plugin(defaultPlugin()) {}

void addPluginOptions(CommandLine& line, PluginOptions& options) {
    line.add("--plugin", "FILE", "The plug-in library (default: the one of this build)",
             [&options](std::string const& text) { options.plugin = text; });
    line.add("--deadline-s", "SECONDS=600", "Kill a process that calls the plug-in after so long; 0: never",
             [&options](std::string const& text) {
                 options.deadline =
                     std::chrono::duration<double>(decimalNumber(text, "--deadline-s", 0, 1e6, " s"));
             });
}

void addJobsOption(CommandLine& line, size_t& jobs, std::string const& help) {
    jobs = std::max(1U, std::thread::hardware_concurrency());
    line.add("--jobs", "COUNT", (help + " (default: one per processor)").c_str(), [&jobs](std::string const& text) {
        jobs = static_cast<size_t>(wholeNumber(text, "--jobs", 1, 1024));
    });
}

}  // namespace Replay
