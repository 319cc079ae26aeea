#ifndef QOR_SRC_BASE_NAME_INDEX_H
#define QOR_SRC_BASE_NAME_INDEX_H

#include <bit>
#include <cstdint>
#include <memory>

#include "base/text_hash.h"
#include "qor/base/interface.h"

namespace qor {

// A hash table with open addressing that finds items by their names. It does not own the items.
// `NameOf` returns the name of an item, which must not change while the item is in the index.
template <class Item, class NameOf>
class NameIndex : noncopyable {
public:
    // The constructor reserves room for `items` items, reserveOne for one more.
    explicit NameIndex(std::size_t items) { rehash(items); }
    void reserveOne() {
        if (size_ + 1 > capacity() / 4 * 3) rehash(2 * size_);
    }

    static std::uint64_t hashOf(istr name) noexcept {
        TextHash hash;
        hash.add(name);
        return hash.value();
    }

    // `hash` is hashOf(name). The name must not be in the index yet, and there must be room.
    void insert(Item* item, std::uint64_t hash) noexcept {
        put({hash, item});
        ++size_;
    }
    Item* find(istr name, std::uint64_t hash) const noexcept {
        for (std::size_t i = placeOf(hash);; i = (i + 1) & mask_) {
            const Slot& slot = slots_[i];
            if (slot.item == nullptr) return nullptr;
            if (slot.hash == hash && NameOf()(slot.item) == name) return slot.item;
        }
    }

private:
    struct Slot {
        std::uint64_t hash;
        Item* item;
    };

    std::size_t capacity() const noexcept { return mask_ + 1; }
    std::size_t placeOf(std::uint64_t hash) const noexcept {
        return static_cast<std::size_t>(hash) & mask_;
    }

    void rehash(std::size_t items) {
        const std::size_t capacity = std::bit_ceil(2 * items + 2);
        const std::size_t slotsBefore = slots_ != nullptr ? this->capacity() : 0;
        auto slots = std::make_unique<Slot[]>(capacity);
        slots_.swap(slots);
        mask_ = capacity - 1;
        for (std::size_t i = 0; i < slotsBefore; ++i) {
            if (slots[i].item != nullptr) put(slots[i]);
        }
    }
    void put(const Slot& slot) noexcept {
        std::size_t i = placeOf(slot.hash);
        while (slots_[i].item != nullptr)
            i = (i + 1) & mask_;
        slots_[i] = slot;
    }

    std::unique_ptr<Slot[]> slots_;
    std::size_t mask_ = 0;
    std::size_t size_ = 0;
};

}  // namespace qor

#endif  // QOR_SRC_BASE_NAME_INDEX_H
