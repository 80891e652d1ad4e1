#include "Strategies.h"

#include <fmt/core.h>

namespace Replay {

std::string strategyList() {
    std::string list;
    for (Strategy const& strategy : kStrategies) {
        list += fmt::format("{}{} {}", list.empty() ? "" : ", ", strategy.hint, strategy.name);
    }
    return list;
}

}  // namespace Replay
