#include "MetadataReader.h"

#include <fmt/core.h>

#include <map>

#include "replay/model/Integer.h"
#include "replay/model/TagTable.h"

namespace Replay {

namespace {

int64_t readTagValue(Node const& node, Tag const* tag) {
    if (!node.isText()) {
        return node.integer(kMinI64, kMaxI64);
    }
    auto const value = tag != nullptr ? valueOfWord(*tag, node.text()) : std::nullopt;
    if (!value) {
        node.fail("'" + node.text() + "' is no value of the tag");
    }
    return *value;
}

void readTagItems(Node const& node, Tag const* tag, TagType type, uint32_t number, Metadata& metadata) {
    std::vector<int64_t> values;
    if (node.isArray()) {
        node.eachItem([&](Node const& item) { values.push_back(readTagValue(item, tag)); });
    } else {
        values.push_back(readTagValue(node, tag));
    }
    auto items = toItems(type, values);
    if (!items) {
        node.fail("a value is out of the tag's range");
    }
    metadata.set(number, std::move(*items));
}

uint32_t tagNumber(std::string const& key, Node const& node) {
    if (Tag const* const tag = findTag(key)) {
        return tag->number;
    }
    auto const number = parseInteger(key);
    if (!number) {
        node.fail("unknown tag; use its number");
    }
    if (*number < 0 || *number > kMaxU32) {
        node.fail(fmt::format("the key must be a whole number from 0 to {}", kMaxU32));
    }
    return static_cast<uint32_t>(*number);
}

/// {"i32": value}
void readTypedTag(Node const& node, uint32_t number, Metadata& metadata) {
    node.object({"u8", "i32", "i64"});
    bool isRead = false;
    for (TagType const type : {TagType::U8, TagType::I32, TagType::I64}) {
        char const* const name = nameOf(type);
        if (node.has(name)) {
            if (isRead) {
                node.fail("expected one type only");
            }
            readTagItems(node.at(name), findTag(number), type, number, metadata);
            isRead = true;
        }
    }
    if (!isRead) {
        node.fail("expected a type: u8, i32 or i64");
    }
}

/// One tag: a value, a list of values, an object that names the type, or null to remove it.
void readTag(uint32_t number, Node const& node, Metadata& metadata) {
    Tag const* const tag = findTag(number);
    if (node.isNull()) {
        metadata.erase(number);
    } else if (node.isObject()) {
        readTypedTag(node, number, metadata);
    } else if (tag != nullptr) {
        readTagItems(node, tag, tag->type, number, metadata);
    } else {
        node.fail("the type of this tag is not known; write {\"i32\": value}, u8 or i64");
    }
}

}  // namespace

void readMetadata(Node const& node, Metadata& metadata) {
    std::map<uint32_t, std::string> keys;
    node.eachMember([&](std::string const& key, Node const& member) {
        uint32_t const number = tagNumber(key, member);
        auto const [first, isNew] = keys.try_emplace(number, key);
        if (!isNew) {
            member.fail(fmt::format("the keys '{}' and '{}' are the same tag", first->second, key));
        }
        readTag(number, member, metadata);
    });
}

void readStreamMetadata(Node const& node, std::map<StreamId, Metadata>& metas) {
    node.eachNumbered<StreamId>([&](StreamId id, Node const& member) { readMetadata(member, metas[id]); });
}

}  // namespace Replay
