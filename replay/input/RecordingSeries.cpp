// Which files are the recording of one selector.
#include <algorithm>
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
    struct File {
        uint64_t number;
        std::string path;
    };
    std::vector<std::vector<File>> series;
    std::map<std::string, size_t> places;  // by selector
    for (std::string const& path : files) {
        RecordingPart const part = partOf(path);
        auto const [place, isNew] = places.try_emplace(part.selector.empty() ? path : part.selector, series.size());
        if (isNew) {
            series.emplace_back();
        }
        series[place->second].push_back({part.number, path});
    }
    std::vector<std::vector<std::string>> paths;
    for (auto& parts : series) {
        std::stable_sort(parts.begin(), parts.end(),
                         [](File const& left, File const& right) { return left.number < right.number; });
        paths.emplace_back();
        for (File& part : parts) {
            paths.back().push_back(std::move(part.path));
        }
    }
    return paths;
}

}  // namespace Replay
