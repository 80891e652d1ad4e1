#include "JsonNode.h"

#include <fmt/core.h>

#include <algorithm>
#include <map>
#include <nlohmann/json.hpp>

#include "Expansion.h"
#include "replay/model/Integer.h"
#include "replay/model/Units.h"

namespace Replay {

namespace {

using Json = nlohmann::json;

/// A key as JSON pointers write it.
std::string escapedKey(std::string const& key) {
    std::string text;
    for (char const c : key) {
        text += c == '~' ? "~0" : c == '/' ? "~1" : std::string(1, c);
    }
    return text;
}

/// Walks through the text and finds keys that an object has twice, of which the parser would keep the last. A walk
/// of its own, because a parser with a callback takes quadratic time for long arrays of objects.
class DuplicateKeys : public Json::json_sax_t {
  public:
    explicit DuplicateKeys(std::string const& name) : mName(name) {}

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
            throw InputError(mName + ": " + pointer() + ": the key appears twice");
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

    std::string const& mName;
    std::vector<Level> mOpen;
};

Json parse(std::string const& text, std::string const& name) {
    DuplicateKeys keys(name);
    try {
        Json::sax_parse(text, &keys);  // where this finds no JSON, the parser says why
        return Json::parse(text);
    } catch (Json::parse_error const& error) {
        throw InputError(fmt::format("{}: byte {}: no JSON: {}", name, error.byte, error.what()));
    } catch (Json::exception const& error) {  // a number that no type can hold
        throw InputError(name + ": no JSON: " + error.what());
    }
}

}  // namespace

JsonDocument::JsonDocument(std::string const& text, std::string name)
    : mName(std::make_unique<std::string const>(std::move(name))),
      mValue(std::make_unique<Json const>(parse(text, *mName))) {}

JsonDocument::~JsonDocument() = default;
JsonDocument::JsonDocument(JsonDocument&&) noexcept = default;
JsonDocument& JsonDocument::operator=(JsonDocument&&) noexcept = default;

Node JsonDocument::root() const { return {*mValue, *mName, ""}; }

void Node::fail(std::string const& reason) const { throw InputError(place() + ": " + reason); }

std::string Node::place() const { return *mDocument + ": " + (mPointer.empty() ? "/" : mPointer); }

Node Node::member(std::string const& key, Json const& value) const {
    return {value, *mDocument, mPointer + "/" + escapedKey(key)};
}

Node const& Node::object(std::initializer_list<char const*> keys) const {
    eachMember([&](std::string const& key, Node const& member) {
        if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
            member.fail("unknown key");
        }
    });
    return *this;
}

bool Node::has(char const* key) const { return mValue->contains(key); }

Node Node::at(char const* key) const {
    auto const found = mValue->find(key);
    if (found == mValue->end()) {
        fail(fmt::format("missing key '{}'", key));
    }
    return member(key, *found);
}

void Node::eachMember(std::function<void(std::string const&, Node const&)> const& visit) const {
    if (!mValue->is_object()) {
        fail("expected an object");
    }
    for (auto const& [key, value] : mValue->items()) {
        visit(key, member(key, value));
    }
}

void Node::eachItem(std::function<void(Node const&)> const& visit) const {
    if (!mValue->is_array()) {
        fail("expected an array");
    }
    for (size_t index = 0; index < mValue->size(); ++index) {
        visit(Node((*mValue)[index], *mDocument, fmt::format("{}/{}", mPointer, index)));
    }
}

void Node::eachNumbered(int64_t least, int64_t most, std::function<void(int64_t, Node const&)> const& visit) const {
    std::map<int64_t, std::string> keys;
    eachMember([&](std::string const& key, Node const& member) {
        auto const number = parseInteger(key);
        if (!number || *number < least || *number > most) {
            member.fail(fmt::format("the key must be a whole number from {} to {}", least, most));
        }
        auto const [first, isNew] = keys.try_emplace(*number, key);
        if (!isNew) {
            member.fail(fmt::format("the keys '{}' and '{}' are the same number", first->second, key));
        }
        visit(*number, member);
    });
}

int64_t Node::integer(int64_t least, int64_t most) const {
    bool const isTooLarge =
        mValue->is_number_unsigned() && mValue->get<uint64_t>() > static_cast<uint64_t>(kMaxI64);
    int64_t const value = mValue->is_number_integer() && !isTooLarge ? mValue->get<int64_t>() : 0;
    if (!mValue->is_number_integer() || isTooLarge || value < least || value > most) {
        fail(fmt::format("expected a whole number from {} to {}", least, most));
    }
    return value;
}

int64_t Node::milliseconds() const {
    double const ms = mValue->is_number() ? mValue->get<double>() : -1;
    if (!(ms >= 0 && ms <= kMaxMs)) {
        fail("expected a time in milliseconds, 0 or more");
    }
    return toNs(ms);
}

std::string Node::text() const {
    if (!mValue->is_string()) {
        fail("expected a text");
    }
    return mValue->get<std::string>();
}

bool Node::isText() const { return mValue->is_string(); }
bool Node::isArray() const { return mValue->is_array(); }
bool Node::isObject() const { return mValue->is_object(); }
bool Node::isNull() const { return mValue->is_null(); }

}  // namespace Replay
