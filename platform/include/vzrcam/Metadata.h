// The stand-in's metadata container.
#pragma once

#include <variant>
#include <vector>

#include "vzrcam/IMetadata.h"

namespace NSCam {

/// Typed entries by tag, in contiguous storage in tag order: a look-up is a binary search. Every IMetadata that
/// reaches this library's getEntry is one of these.
class Metadata final : public IMetadata {
  public:
    using Items = std::variant<std::vector<uint8_t>, std::vector<int32_t>, std::vector<int64_t>>;

    /// Sets the tag's items, replacing what it held.
    void set(uint32_t tag, Items items);
    void set(uint32_t tag, uint8_t item) { set(tag, std::vector<uint8_t>{item}); }
    void set(uint32_t tag, int32_t item) { set(tag, std::vector<int32_t>{item}); }
    void set(uint32_t tag, int64_t item) { set(tag, std::vector<int64_t>{item}); }

    /// Removes the tag; nothing happens when it is absent.
    void erase(uint32_t tag);

    /// The tag's items, or null. The pointer is good until the next change.
    Items const* find(uint32_t tag) const;

    /// The items of all tags.
    size_t itemCount() const;

    /// The same tags with the same items.
    bool operator==(Metadata const& other) const { return mEntries == other.mEntries; }

  private:
    struct Entry {
        uint32_t tag;
        Items items;

        bool operator==(Entry const& other) const { return tag == other.tag && items == other.items; }
    };

    std::vector<Entry>::iterator lowerBound(uint32_t tag);

    std::vector<Entry> mEntries;
};

}  // namespace NSCam
