#include "vzrcam/Metadata.h"

#include <algorithm>

namespace NSCam {

std::vector<Metadata::Entry>::iterator Metadata::lowerBound(uint32_t tag) {
    return std::lower_bound(mEntries.begin(), mEntries.end(), tag,
                            [](Entry const& entry, uint32_t wanted) { return entry.tag < wanted; });
}

void Metadata::set(uint32_t tag, Items items) {
    auto const place = lowerBound(tag);
    if (place != mEntries.end() && place->tag == tag) {
        place->items = std::move(items);
    } else {
        mEntries.insert(place, {tag, std::move(items)});
    }
}

void Metadata::erase(uint32_t tag) {
    auto const place = lowerBound(tag);
    if (place != mEntries.end() && place->tag == tag) {
        mEntries.erase(place);
    }
}

Metadata::Items const* Metadata::find(uint32_t tag) const {
    auto const place = const_cast<Metadata*>(this)->lowerBound(tag);
    return place != mEntries.end() && place->tag == tag ? &place->items : nullptr;
}

size_t Metadata::itemCount() const {
    size_t count = 0;
    for (Entry const& entry : mEntries) {
        count += std::visit([](auto const& items) { return items.size(); }, entry.items);
    }
    return count;
}

template <typename T>
bool IMetadata::getEntry(IMetadata const* metadata, uint32_t tag, T& value, size_t index) {
    if (metadata == nullptr) {
        return false;
    }
    auto const* const items = static_cast<Metadata const*>(metadata)->find(tag);
    auto const* const typed = items != nullptr ? std::get_if<std::vector<T>>(items) : nullptr;
    if (typed == nullptr || index >= typed->size()) {
        return false;
    }
    value = (*typed)[index];
    return true;
}

template bool IMetadata::getEntry<uint8_t>(IMetadata const*, uint32_t, uint8_t&, size_t);
template bool IMetadata::getEntry<int32_t>(IMetadata const*, uint32_t, int32_t&, size_t);
template bool IMetadata::getEntry<int64_t>(IMetadata const*, uint32_t, int64_t&, size_t);

}  // namespace NSCam
