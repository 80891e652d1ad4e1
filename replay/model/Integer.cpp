#include "Integer.h"

#include <charconv>

namespace Replay {

std::optional<int64_t> parseInteger(std::string const& text) {
    bool const isHexadecimal = text.compare(0, 2, "0x") == 0;
    char const* const end = text.data() + text.size();
    int64_t value = 0;
    auto const [stop, error] =
        std::from_chars(text.data() + (isHexadecimal ? 2 : 0), end, value, isHexadecimal ? 16 : 10);
    return error == std::errc() && stop == end ? std::optional<int64_t>(value) : std::nullopt;
}

}  // namespace Replay
