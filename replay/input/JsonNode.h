// A value of a JSON text with its place, so that every complaint names it.
#pragma once

#include <cstdint>
#include <functional>
#include <initializer_list>
#include <limits>
#include <memory>
#include <nlohmann/json_fwd.hpp>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include "replay/model/InputError.h"

namespace Replay {

constexpr int64_t kMaxU32 = std::numeric_limits<uint32_t>::max();
constexpr int64_t kMaxI64 = std::numeric_limits<int64_t>::max();
constexpr int64_t kMinI64 = std::numeric_limits<int64_t>::min();

/// A value of a document, which has to outlive it. Whatever is not as expected throws InputError, which names the
/// document and the place in it, as a JSON pointer.
class Node {
  public:
    [[noreturn]] void fail(std::string const& reason) const;

    /// The document and the place in it, for complaints.
    std::string place() const;

    /// An object without other keys than these: a misspelt key must not pass unnoticed.
    Node const& object(std::initializer_list<char const*> keys) const;

    bool has(char const* key) const;
    Node at(char const* key) const;

    void eachMember(std::function<void(std::string const&, Node const&)> const& visit) const;
    void eachItem(std::function<void(Node const&)> const& visit) const;

    /// The members of an object whose keys are whole numbers; each number once, however it is written.
    void eachNumbered(int64_t least, int64_t most, std::function<void(int64_t, Node const&)> const& visit) const;

    template <typename T>
    void eachNumbered(std::function<void(T, Node const&)> const& visit) const {
        eachNumbered(std::numeric_limits<T>::min(), std::numeric_limits<T>::max(),
                     [&](int64_t number, Node const& member) { visit(static_cast<T>(number), member); });
    }

    int64_t integer(int64_t least, int64_t most) const;

    template <typename T>
    T integer() const {
        return static_cast<T>(integer(std::numeric_limits<T>::min(), std::numeric_limits<T>::max()));
    }

    /// A time in milliseconds, 0 or more, as nanoseconds.
    int64_t milliseconds() const;

    std::string text() const;

    bool isText() const;
    bool isArray() const;
    bool isObject() const;
    bool isNull() const;

    /// The numbers of an array, each once.
    template <typename T>
    std::set<T> numberSet() const {
        std::set<T> numbers;
        eachItem([&](Node const& item) { numbers.insert(item.integer<T>()); });
        return numbers;
    }

    /// An array of so many numbers.
    template <typename T>
    std::vector<T> numbers(size_t count) const {
        std::vector<T> numbers;
        eachItem([&](Node const& item) { numbers.push_back(item.integer<T>()); });
        if (numbers.size() != count) {
            fail("expected " + std::to_string(count) + " numbers");
        }
        return numbers;
    }

  private:
    friend class JsonDocument;

    Node(nlohmann::json const& value, std::string const& document, std::string pointer)
        : mValue(&value), mDocument(&document), mPointer(std::move(pointer)) {}

    Node member(std::string const& key, nlohmann::json const& value) const;

    nlohmann::json const* mValue;
    std::string const* mDocument;
    std::string mPointer;
};

/// A text that has been parsed.
class JsonDocument {
  public:
    /// `name` is what complaints call the text. Text that is no JSON, and an object with the same key twice, throw
    /// InputError.
    JsonDocument(std::string const& text, std::string name);
    ~JsonDocument();
    JsonDocument(JsonDocument&&) noexcept;
    JsonDocument& operator=(JsonDocument&&) noexcept;
    JsonDocument(JsonDocument const&) = delete;
    JsonDocument& operator=(JsonDocument const&) = delete;

    Node root() const;

  private:
    std::unique_ptr<std::string const> mName;  // does not move with the document
    std::unique_ptr<nlohmann::json const> mValue;
};

}  // namespace Replay
