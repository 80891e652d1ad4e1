#include "SweepAnswer.h"

#include <nlohmann/json.hpp>

namespace Replay {

namespace {

using Json = nlohmann::ordered_json;

Json toJson(Settings const& settings) {
    return {{"hint", settings.hint}, {"policy", settings.policy}, {"timeoutMs", settings.timeoutMs}};
}

Json toJson(std::optional<double> value) {
    if (!value) {
        return {};
    }
    bool const isWhole = *value == static_cast<double>(static_cast<int64_t>(*value));
    return isWhole ? Json(static_cast<int64_t>(*value)) : Json(*value);
}

}  // namespace

std::string pack(SweepAnswer const& answer) {
    auto const bytes = Json::to_msgpack({{"settings", toJson(answer.settings)}, {"tally", answer.tally.toJson()}});
    return {bytes.begin(), bytes.end()};
}

SweepAnswer unpackSweepAnswer(std::string const& bytes) {
    auto const json = nlohmann::json::from_msgpack(bytes);
    SweepAnswer answer;
    answer.settings.hint = json.at("settings").at("hint");
    answer.settings.policy = json.at("settings").at("policy");
    answer.settings.timeoutMs = json.at("settings").at("timeoutMs");
    answer.tally = Tally::fromJson(json.at("tally"));
    return answer;
}

void printObject(std::ostream& out, std::string const& input, SweepAnswer const& answer) {
    Json object{{"input", input}};
    object.update(toJson(answer.settings));
    for (auto const& [column, value] : columnsOf(answer.tally)) {
        object[column] = toJson(value);
    }
    out << object.dump(-1, ' ', false, Json::error_handler_t::replace) << std::endl;
}

}  // namespace Replay
