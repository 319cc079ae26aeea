#ifndef QOR_SRC_BASE_TEXT_HASH_H
#define QOR_SRC_BASE_TEXT_HASH_H

#include <cstdint>
#include <cstring>

#include "qor/base/base_type_string.h"

namespace qor {

// A hash of a text with a random key for each process, so that an attacker cannot prepare texts
// that collide.
class TextHash {
public:
    TextHash() noexcept : TextHash(key()) {}

    void add(istr text) noexcept {
        const char* at = text.data();
        unsigned long left = text.empty() ? 0 : text.size();
        add(std::uint64_t(left));
        for (; left >= sizeof(std::uint64_t); left -= sizeof(std::uint64_t)) {
            add(load(at, sizeof(std::uint64_t)));
            at += sizeof(std::uint64_t);
        }
        if (left != 0) add(load(at, left));
    }
    std::uint64_t value() const noexcept { return value_; }

private:
    struct Key {
        std::uint64_t seed;
        std::uint64_t factor;  // odd
    };
    explicit TextHash(const Key& key) noexcept : value_(key.seed), factor_(key.factor) {}
    static Key key() noexcept;

    static std::uint64_t load(const char* at, std::size_t n) noexcept {
        std::uint64_t word = 0;
        std::memcpy(&word, at, n);
        return word;
    }
    // Two multiplications: after one, a difference in the highest bit of a word is known without
    // the key, and the next word can undo it.
    void add(std::uint64_t word) noexcept {
        value_ = (value_ ^ word) * factor_;
        value_ = (value_ ^ value_ >> 32) * factor_;
        value_ ^= value_ >> 32;
    }

    std::uint64_t value_;
    std::uint64_t factor_;
};

}  // namespace qor

#endif  // QOR_SRC_BASE_TEXT_HASH_H
