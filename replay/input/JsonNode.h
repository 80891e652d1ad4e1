// A value of a JSON file with its place, so that every complaint names it.
#pragma once

#include <algorithm>
#include <initializer_list>
#include <limits>
#include <nlohmann/json.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "replay/model/InputError.h"
#include "replay/model/Integer.h"
#include "replay/model/Units.h"

namespace Replay {

constexpr int64_t kMaxU32 = std::numeric_limits<uint32_t>::max();
constexpr int64_t kMaxI64 = std::numeric_limits<int64_t>::max();
constexpr int64_t kMinI64 = std::numeric_limits<int64_t>::min();

/// A key as JSON pointers write it.
std::string escapedKey(std::string const& key);

/// Parses a file's text. Text that is no JSON, and an object with the same key twice, throw InputError.
nlohmann::json parseJson(std::string const& text, std::string const& file);

/// A value of the file with its place, so that every complaint names it.
class Node {
  public:
    Node(nlohmann::json const& value, std::string file, std::string pointer)
        : mValue(value), mFile(std::move(file)), mPointer(std::move(pointer)) {}

    [[noreturn]] void fail(std::string const& reason) const {
        throw InputError(mFile + ": " + (mPointer.empty() ? "/" : mPointer) + ": " + reason);
    }

    /// An object without other keys than these: a misspelt key must not pass unnoticed.
    Node const& object(std::initializer_list<char const*> keys) const {
        eachMember([&](std::string const& key, Node const& member) {
            if (std::find(keys.begin(), keys.end(), key) == keys.end()) {
                member.fail("unknown key");
            }
        });
        return *this;
    }

    bool has(char const* key) const { return mValue.contains(key); }

    Node at(char const* key) const {
        if (!has(key)) {
            fail(std::string("missing key '") + key + "'");
        }
        return {mValue.at(key), mFile, mPointer + "/" + key};
    }

    template <typename Visit>
    void eachMember(Visit visit) const {
        if (!mValue.is_object()) {
            fail("expected an object");
        }
        for (auto const& [key, value] : mValue.items()) {
            visit(key, Node(value, mFile, mPointer + "/" + escapedKey(key)));
        }
    }

    template <typename Visit>
    void eachItem(Visit visit) const {
        if (!mValue.is_array()) {
            fail("expected an array");
        }
        for (size_t index = 0; index < mValue.size(); ++index) {
            visit(Node(mValue[index], mFile, mPointer + "/" + std::to_string(index)));
        }
    }

    int64_t integer(int64_t least, int64_t most) const {
        bool const tooLarge = mValue.is_number_unsigned() &&
                              mValue.get<uint64_t>() > static_cast<uint64_t>(std::numeric_limits<int64_t>::max());
        int64_t const value = mValue.is_number_integer() && !tooLarge ? mValue.get<int64_t>() : 0;
        if (!mValue.is_number_integer() || tooLarge || value < least || value > most) {
            fail("expected a whole number from " + std::to_string(least) + " to " + std::to_string(most));
        }
        return value;
    }

    template <typename T>
    T integer() const {
        return static_cast<T>(integer(std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
    }

    /// A time in milliseconds as nanoseconds.
    int64_t milliseconds() const {
        constexpr double kMaxMs = 1e7;  // almost three hours
        double const ms = mValue.is_number() ? mValue.get<double>() : -1;
        if (!(ms >= 0 && ms <= kMaxMs)) {
            fail("expected a time in milliseconds, 0 or more");
        }
        return toNs(ms);
    }

    std::string text() const {
        if (!mValue.is_string()) {
            fail("expected a text");
        }
        return mValue.get<std::string>();
    }

    bool isText() const { return mValue.is_string(); }
    bool isArray() const { return mValue.is_array(); }
    bool isObject() const { return mValue.is_object(); }
    bool isNull() const { return mValue.is_null(); }

    /// The whole number that a key of this object stands for.
    int64_t keyAsInteger(std::string const& key, int64_t least, int64_t most) const {
        auto const value = parseInteger(key);
        if (!value || *value < least || *value > most) {
            fail("the key must be a whole number from " + std::to_string(least) + " to " + std::to_string(most));
        }
        return *value;
    }

  private:
    nlohmann::json const& mValue;
    std::string mFile;
    std::string mPointer;
};

template <typename T>
std::set<T> readNumberSet(Node const& node) {
    std::set<T> numbers;
    node.eachItem([&](Node const& item) { numbers.insert(item.integer<T>()); });
    return numbers;
}

/// A list of so many numbers.
template <typename T>
std::vector<T> readNumbers(Node const& node, size_t count) {
    std::vector<T> numbers;
    node.eachItem([&](Node const& item) { numbers.push_back(item.integer<T>()); });
    if (numbers.size() != count) {
        node.fail("expected " + std::to_string(count) + " numbers");
    }
    return numbers;
}

}  // namespace Replay
