#include <algorithm>
#include <charconv>
#include <cstring>
#include <limits>
#include <map>
#include <mutex>
#include <utility>
#include <vector>

#include "LogOutput.h"
#include "vzrcam/Properties.h"
#include "vzrcam/PropertyStore.h"

namespace NSCam::Utils::Properties {

namespace {

constexpr char const* kLogLevelProperty = "log.tag.SampleSelector";

using NameAndValue = std::pair<std::string, std::string>;

struct Store {
    std::mutex mutex;
    std::map<std::string, std::string, std::less<>> values;
};

Store& store() {
    static Store instance;
    return instance;
}

std::string trimmed(std::string const& text) {
    constexpr char const* kBlanks = " \t\r\n";
    size_t const first = text.find_first_not_of(kBlanks);
    return first == std::string::npos ? "" : text.substr(first, text.find_last_not_of(kBlanks) - first + 1);
}

void checkName(std::string const& name, std::string const& source) {
    if (name.empty() || name.find_first_of(" \t\r\n=") != std::string::npos) {
        throw PropertyError(source + ": '" + name + "' is no property name");
    }
}

/// "name=value" or "[name]: [value]".
NameAndValue parse(std::string const& text, std::string const& source) {
    std::string const line = trimmed(text);
    NameAndValue property;
    if (line.size() >= 2 && line.front() == '[' && line.back() == ']') {
        size_t const middle = line.find("]: [");
        if (middle == std::string::npos) {
            throw PropertyError(source + ": expected [name]: [value], found '" + line + "'");
        }
        property = {line.substr(1, middle - 1), line.substr(middle + 4, line.size() - middle - 5)};
    } else {
        size_t const equals = line.find('=');
        if (equals == std::string::npos) {
            throw PropertyError(source + ": expected name=value, found '" + line + "'");
        }
        property = {trimmed(line.substr(0, equals)), trimmed(line.substr(equals + 1))};
    }
    checkName(property.first, source);
    return property;
}

/// Decimal or 0x-hexadecimal, with a sign; the whole text must be the number.
template <typename Integer>
Integer readInteger(char const* name, Integer defaultValue) {
    auto const text = get(name);
    if (!text) {
        return defaultValue;
    }
    char const* digits = text->data();
    char const* const end = digits + text->size();
    bool const isNegative = digits != end && *digits == '-';
    if (digits != end && (*digits == '-' || *digits == '+')) {
        ++digits;
    }
    bool const isHexadecimal = end - digits > 2 && digits[0] == '0' && (digits[1] == 'x' || digits[1] == 'X');
    if (isHexadecimal) {
        digits += 2;
    }
    uint64_t magnitude = 0;
    auto const [stop, error] = std::from_chars(digits, end, magnitude, isHexadecimal ? 16 : 10);
    uint64_t const largest = static_cast<uint64_t>(std::numeric_limits<Integer>::max()) + (isNegative ? 1 : 0);
    if (error != std::errc() || stop != end || magnitude > largest) {
        return defaultValue;
    }
    return static_cast<Integer>(isNegative ? 0 - magnitude : magnitude);
}

}  // namespace

void set(std::string const& name, std::string const& value) {
    checkName(name, "property");
    std::lock_guard<std::mutex> const guard(store().mutex);
    store().values[name] = value;
    if (name == kLogLevelProperty) {
        Log::setMinimumLevel(value.c_str());
    }
}

std::optional<std::string> get(std::string_view name) {
    std::lock_guard<std::mutex> const guard(store().mutex);
    auto const found = store().values.find(name);
    return found == store().values.end() ? std::nullopt : std::optional<std::string>(found->second);
}

std::vector<std::string> names() {
    std::lock_guard<std::mutex> const guard(store().mutex);
    std::vector<std::string> all;
    for (auto const& entry : store().values) {
        all.push_back(entry.first);
    }
    return all;
}

void clear() {
    std::lock_guard<std::mutex> const guard(store().mutex);
    store().values.clear();
    Log::setMinimumLevel("");
}

void setFromText(std::string const& text, std::string const& source) {
    auto const [name, value] = parse(text, source);
    set(name, value);
}

void load(std::istream& lines, std::string const& source) {
    std::vector<NameAndValue> properties;
    std::string line;
    for (int number = 1; std::getline(lines, line); ++number) {
        std::string const text = trimmed(line);
        if (!text.empty() && text.front() != '#') {
            properties.push_back(parse(text, source + ":" + std::to_string(number)));
        }
    }
    for (auto const& [name, value] : properties) {
        set(name, value);
    }
}

signed char property_get_bool(char const* name, signed char defaultValue) {
    static constexpr char const* kTrue[] = {"1", "true", "y", "yes", "on"};
    static constexpr char const* kFalse[] = {"0", "false", "n", "no", "off"};
    auto const text = get(name).value_or("");
    auto const isText = [&](char const* word) { return text == word; };
    if (std::any_of(std::begin(kTrue), std::end(kTrue), isText)) {
        return 1;
    }
    return std::any_of(std::begin(kFalse), std::end(kFalse), isText) ? static_cast<signed char>(0) : defaultValue;
}

int property_get_int32(char const* name, int defaultValue) { return readInteger<int>(name, defaultValue); }

long property_get_int64(char const* name, long defaultValue) { return readInteger<long>(name, defaultValue); }

}  // namespace NSCam::Utils::Properties
