#include "JsonNode.h"

#include <vector>

namespace Replay {

namespace {

using Json = nlohmann::json;

/// Walks through the text and finds keys that an object has twice, of which the parser would keep the last. A walk
/// of its own, because a parser with a callback takes quadratic time for long arrays of objects.
class DuplicateKeys : public Json::json_sax_t {
  public:
    explicit DuplicateKeys(std::string const& file) : mFile(file) {}

    bool null() override { return next(); }
    bool boolean(bool) override { return next(); }
    bool number_integer(number_integer_t) override { return next(); }
    bool number_unsigned(number_unsigned_t) override { return next(); }
    bool number_float(number_float_t, string_t const&) override { return next(); }
    bool string(string_t&) override { return next(); }
    bool binary(binary_t&) override { return next(); }
    bool start_object(size_t) override { return open(); }
    bool start_array(size_t) override { return open(); }
    bool end_object() override { return close(); }
    bool end_array() override { return close(); }
    bool parse_error(size_t, std::string const&, Json::exception const&) override { return false; }

    bool key(string_t& key) override {
        Level& level = mOpen.back();
        level.place = escapedKey(key);
        if (!level.keys.insert(level.place).second) {
            throw InputError(mFile + ": " + pointer() + ": the key stands twice");
        }
        return true;
    }

  private:
    struct Level {
        std::set<std::string> keys;
        std::string place;  // of an object, the present key
        size_t index = 0;   // of an array, the present item
    };

    bool open() {
        mOpen.push_back({});
        return true;
    }

    bool close() {
        mOpen.pop_back();
        return next();
    }

    bool next() {
        if (!mOpen.empty()) {
            ++mOpen.back().index;
        }
        return true;
    }

    std::string pointer() const {
        std::string text;
        for (Level const& level : mOpen) {
            text += "/" + (level.keys.empty() ? std::to_string(level.index) : level.place);
        }
        return text;
    }

    std::string const& mFile;
    std::vector<Level> mOpen;
};

}  // namespace

std::string escapedKey(std::string const& key) {
    std::string text;
    for (char const c : key) {
        text += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return text;
}

Json parseJson(std::string const& text, std::string const& file) {
    DuplicateKeys keys(file);
    try {
        Json::sax_parse(text, &keys);  // where this finds no JSON, the parser says why
        return Json::parse(text);
    } catch (Json::parse_error const& error) {
        throw InputError(file + ": byte " + std::to_string(error.byte) + ": no JSON: " + error.what());
    } catch (Json::exception const& error) {  // a number that no type can hold
        throw InputError(file + ": no JSON: " + error.what());
    }
}

}  // namespace Replay
