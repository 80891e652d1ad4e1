#include "MetadataReader.h"

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

/// One tag: a value, a list of values, an object that names the type, or null to remove it.
void readTag(std::string const& key, Node const& node, Metadata& metadata) {
    Tag const* const tag = findTag(key);
    if (tag == nullptr && !parseInteger(key)) {
        node.fail("unknown tag; use its number");
    }
    uint32_t const number =
        tag != nullptr ? tag->number : static_cast<uint32_t>(node.keyAsInteger(key, 0, kMaxU32));
    if (node.isNull()) {
        metadata.erase(number);
    } else if (node.isObject()) {
        static constexpr struct {
            char const* name;
            TagType type;
        } kTypes[] = {{"u8", TagType::U8}, {"i32", TagType::I32}, {"i64", TagType::I64}};
        node.object({"u8", "i32", "i64"});
        bool isRead = false;
        for (auto const& [name, type] : kTypes) {
            if (node.has(name)) {
                readTagItems(node.at(name), tag, type, number, metadata);
                isRead = true;
            }
        }
        if (!isRead) {
            node.fail("expected a type: u8, i32 or i64");
        }
    } else if (tag != nullptr) {
        readTagItems(node, tag, tag->type, number, metadata);
    } else {
        node.fail("the type of this tag is not known; write {\"i32\": value}, u8 or i64");
    }
}

}  // namespace

void readMetadata(Node const& node, Metadata& metadata) {
    node.eachMember([&](std::string const& key, Node const& member) { readTag(key, member, metadata); });
}

void readStreamMetadata(Node const& node, std::map<StreamId, Metadata>& metas) {
    node.eachMember([&](std::string const& key, Node const& member) {
        readMetadata(member, metas[member.keyAsInteger(key, kMinI64, kMaxI64)]);
    });
}

}  // namespace Replay
