// Which files are the recording of one selector.
#include <fstream>

#include "RecordedCalls.h"

namespace Replay {

namespace {

RecordingPart partOf(std::string const& path) {
    std::ifstream file(path, std::ios::binary);
    RecordingReader reader(file, path);
    try {
        reader.next();
    } catch (InputError const&) {
        return {};  // whoever reads it on says what is wrong
    }
    return reader.part();
}

}  // namespace

std::vector<std::vector<std::string>> seriesOf(std::vector<std::string> const& files) {
    using Files = std::map<uint64_t, std::string>;  // by their places in the recording
    std::vector<Files> series;
    std::map<std::string, size_t> places;  // by selector
    for (std::string const& path : files) {
        RecordingPart const part = partOf(path);
        std::string const key = part.selector.empty() ? path : part.selector;
        auto const place = places.find(key);
        // A file that is there twice is another recording.
        if (place == places.end() || !series[place->second].try_emplace(part.number, path).second) {
            places[key] = series.size();
            series.push_back({{part.number, path}});
        }
    }
    std::vector<std::vector<std::string>> paths;
    for (Files const& parts : series) {
        paths.emplace_back();
        for (auto const& part : parts) {
            paths.back().push_back(part.second);
        }
    }
    return paths;
}

}  // namespace Replay
