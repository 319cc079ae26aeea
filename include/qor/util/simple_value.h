#ifndef QOR_UTIL_SIMPLE_VALUE_H
#define QOR_UTIL_SIMPLE_VALUE_H

#include <bit>
#include <cstring>
#include <string>

#include "qor/base/base_type_bytes.h"
#include "qor/string/string_buffer.h"
#include "qor/util/BinaryStream.h"

namespace qor {

// Data of a simple value, and the mark in the high half of its first byte.
struct WireData {
    static constexpr unsigned char kPlain = 0;
    static constexpr unsigned char kText = 0xF0;

    istr data;
    unsigned char mark = kPlain;
};

// The bytes of a binary writer. Simple values are put behind the others in the form that the binary
// formats share: a byte with the count of size bytes, the size, and the data. All of it is inline:
// a value costs one test for room and a few stores. A put that raises std::bad_alloc changes
// nothing.
class QOR_API SimpleValueBuffer {
public:
    SimpleValueBuffer() : utf8_(textIsUtf8()) {}

    StringBuffer& buffer() noexcept { return buffer_; }
    const StringBuffer& buffer() const noexcept { return buffer_; }
    istr str() const noexcept { return buffer_; }
    void swap(SimpleValueBuffer& other) noexcept;
    // Back to no bytes. The configured code page is asked for anew.
    void reset() {
        buffer_.size(0);
        utf8_ = textIsUtf8();
    }

    // Bytes as they stand, with others to come that shall find room: see reserve.
    void putRaw(istr bytes) {
        bytes = makeRoom(bytes, bytes.size());
        finish(copy(buffer_.pbuf(), bytes.data(), bytes.size()));
    }
    void put(WireNumber number) { finish(store(room(kMostNumber), number)); }
    void put(WireData value) {
        value.data = makeRoom(value.data, kMostHeader + value.data.size());
        finish(store(buffer_.pbuf(), value));
    }
    // Narrow text is taken from the configured code page to UTF-8.
    void putText(istr text, unsigned char mark) {
        if (!utf8_) [[unlikely]]
            return put(WireData{converted(text), mark});
        put(WireData{text, mark});
    }

    // The same behind a tag.
    void put(unsigned char tag, WireNumber number) {
        char* const at = room(1 + kMostNumber);
        *at = static_cast<char>(tag);
        finish(store(at + 1, number));
    }
    void put(unsigned char tag, WireData value) {
        value.data = makeRoom(value.data, 1 + kMostHeader + value.data.size());
        char* const at = buffer_.pbuf();
        *at = static_cast<char>(tag);
        finish(store(at + 1, value));
    }
    void putText(unsigned char tag, istr text, unsigned char mark) {
        if (!utf8_) [[unlikely]]
            return put(tag, WireData{converted(text), mark});
        put(tag, WireData{text, mark});
    }

    // Keeps room behind everything that is put from now on, for n bytes that putReserved takes.
    void reserve(unsigned long n) {
        buffer_.needMore(reserved_ + n);
        reserved_ += n;
    }
    void putReserved(istr bytes) noexcept {
        reserved_ -= bytes.size();
        finish(copy(buffer_.pbuf(), bytes.data(), bytes.size()));
    }

private:
    static constexpr unsigned long kMostNumber = 2 + sizeof(unsigned long long);
    static constexpr unsigned long kMostHeader = 1 + 4;

    static bool textIsUtf8();
    static Bytes converted(istr text);

    char* room(unsigned long n) {
        buffer_.needMore(reserved_ + n);
        return buffer_.pbuf();
    }
    // The data again, which has moved if it was a part of the buffer.
    istr makeRoom(istr data, unsigned long n) {
        if (reserved_ + n > buffer_.max_size() - buffer_.size()) [[unlikely]]
            return grow(data, n);
        return data;
    }
    istr grow(istr data, unsigned long n);
    void finish(const char* end) noexcept {
        buffer_.psize(static_cast<unsigned long>(end - buffer_.data()));
    }

    static char* store(char* to, WireNumber number) noexcept {
        static_assert(std::endian::native == std::endian::little);
        const unsigned count = BinaryStream::byteCount(number.bits, number.width);
        to[0] = 1;
        to[1] = static_cast<char>(count);
        std::memcpy(to + 2, &number.bits, sizeof number.bits);
        return to + 2 + count;
    }
    static char* store(char* to, const WireData& value) noexcept {
        const unsigned long size = value.data.size();
        const unsigned count = BinaryStream::byteCount(size, 4);
        to[0] = static_cast<char>(value.mark | count);
        const auto bytes = static_cast<ulong32>(size);
        std::memcpy(to + 1, &bytes, sizeof bytes);
        return copy(to + 1 + count, value.data.data(), size);
    }
    // Texts are short more often than not: what two overlapping moves can copy needs no call.
    static char* copy(char* to, const char* from, unsigned long n) noexcept {
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
    template <unsigned Size>
    static void copyTwice(char* to, const char* from, unsigned long n) noexcept {
        char first[Size];
        char last[Size];
        std::memcpy(first, from, Size);
        std::memcpy(last, from + n - Size, Size);
        std::memcpy(to, first, Size);
        std::memcpy(to + n - Size, last, Size);
    }

    StringBuffer buffer_{0};
    unsigned long reserved_ = 0;
    bool utf8_;
};

}  // namespace qor

#endif  // QOR_UTIL_SIMPLE_VALUE_H
