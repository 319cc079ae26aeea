#ifndef QOR_UTIL_WIRE_VALUE_H
#define QOR_UTIL_WIRE_VALUE_H

#include <cstring>

#include "qor/api.h"
#include "qor/base/byte_order.h"
#include "qor/string/string_buffer.h"
#include "qor/util/BinaryStream.h"

// The form of simple values in the binary formats: a byte with the number of size bytes, the size,
// and the data.

namespace qor {

// The data of a value, and the mark for the high half of its first byte.
struct WireData {
    static constexpr unsigned char kPlain = 0;
    static constexpr unsigned char kText = 0xF0;

    istr data;
    unsigned char mark = kPlain;
};

namespace wire {

// The largest number of bytes of a number, and of the header before data.
inline constexpr unsigned long kMostNumber = 2 + sizeof(unsigned long long);
inline constexpr unsigned long kMostHeader = 1 + 4;

template <unsigned Size>
inline void copyTwice(char* to, const char* from, unsigned long n) noexcept {
    char first[Size];
    char last[Size];
    std::memcpy(first, from, Size);
    std::memcpy(last, from + n - Size, Size);
    std::memcpy(to, first, Size);
    std::memcpy(to + n - Size, last, Size);
}

// Copies n bytes and returns the end. Most texts are short: two overlapping moves copy them without
// a function call.
inline char* copy(char* to, const char* from, unsigned long n) noexcept {
    if (n > 32) {
        std::memcpy(to, from, n);
    } else if (n >= 16) {
        copyTwice<16>(to, from, n);
    } else if (n >= 8) {
        copyTwice<8>(to, from, n);
    } else if (n >= 4) {
        copyTwice<4>(to, from, n);
    } else {
        for (unsigned long i = 0; i < n; ++i)
            to[i] = from[i];
    }
    return to + n;
}

// Store a value and return its end. The caller ensures room for kMostNumber bytes, even for a
// shorter number, or for kMostHeader bytes and the data.
inline char* store(char* to, WireNumber number) noexcept {
    const unsigned count = BinaryStream::byteCount(number.bits, number.width);
    to[0] = 1;
    to[1] = static_cast<char>(count);
    storeLowByteFirst(to + 2, number.bits);
    return to + 2 + count;
}
inline char* store(char* to, const WireData& value) noexcept {
    const auto size = static_cast<ulong32>(value.data.size());
    if (size < 128) [[likely]] {
        to[0] = static_cast<char>(value.mark | 1);
        to[1] = static_cast<char>(size);
        return copy(to + 2, value.data.data(), size);
    }
    const unsigned count = BinaryStream::byteCount(size, sizeof size);
    to[0] = static_cast<char>(value.mark | count);
    storeLowByteFirst(to + 1, size);
    return copy(to + 1 + count, value.data.data(), size);
}

// Whether the configured code page is UTF-8, so that text needs no conversion.
QOR_API bool textIsUtf8();
// Ensures room for n bytes. Returns the data, which moves if it is a part of the buffer; an empty
// view for null data.
QOR_API istr grow(StringBuffer& buffer, istr data, unsigned long n);

}  // namespace wire

}  // namespace qor

#endif  // QOR_UTIL_WIRE_VALUE_H
