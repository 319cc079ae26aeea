#ifndef QOR_BASE_BASE_TYPE_BYTES_H
#define QOR_BASE_BASE_TYPE_BYTES_H

#include <iosfwd>
#include <utility>

#include "qor/base/base_type_string.h"

namespace qor {

// The owning byte container: a block with a capacity, of which the first `size` bytes are in use.
// After the capacity the block has one more byte, a zero, so that c_str() is terminated when the
// block is full. Growth doubles the capacity, so appending in a loop is linear. A size above 32
// bits raises std::bad_alloc; if an operation raises, the object is unchanged.
class QOR_API Bytes {
public:
    Bytes() noexcept = default;
    // Room for n bytes, size 0.
    template <std::integral N>
    explicit Bytes(N n) {
        alloc(static_cast<unsigned long>(n));
    }
    Bytes(const Bytes& other);
    Bytes(Bytes&& other) noexcept { swap(other); }
    explicit Bytes(const istr& content) { assign(content); }
    // The decoded text; see qor/util/base64.h.
    explicit Bytes(const base64& text);
    // n bytes: the content, cut to n bytes, then `fill` up to n.
    Bytes(istr content, unsigned long n, unsigned char fill);
    ~Bytes() { free(); }

    Bytes& operator=(const Bytes& other) { return assign(other); }
    Bytes& operator=(Bytes&& other) noexcept {
        Bytes(std::move(other)).swap(*this);
        return *this;
    }
    Bytes& operator=(istr content) { return assign(content); }
    // The content may be a part of this object.
    Bytes& assign(const Bytes& other) { return this == &other ? *this : assign(istr(other)); }
    Bytes& assign(istr content);
    Bytes& append(istr content);
    Bytes& operator+=(istr content) { return append(content); }
    void swap(Bytes& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(capacity_, other.capacity_);
        std::swap(size_, other.size_);
    }

    // Grows the capacity to at least n and at least doubles it; never shrinks it. Size and content
    // are unchanged.
    void resize(unsigned long n);
    // As resize, then sets the size to 0.
    void init(unsigned long n) {
        resize(n);
        size_ = 0;
    }
    // Frees the block.
    void clear() noexcept { free(); }
    // Sets all bytes of the capacity; the size is unchanged.
    void fill(unsigned char value) noexcept;

    unsigned long size() const noexcept { return size_; }
    // Sets the size, unchecked: for use after writing through buffer() or the ostr.
    void size(unsigned long n) noexcept { size_ = cutSize(n); }
    unsigned long max_size() const noexcept { return capacity_; }
    bool empty() const noexcept { return size_ == 0; }

    unsigned char* buffer() noexcept { return data_; }
    unsigned char* data() noexcept { return data_; }
    const unsigned char* data() const noexcept { return data_; }
    // Null while no block is allocated.
    const char* c_str() const noexcept { return reinterpret_cast<const char*>(data_); }
    unsigned char* begin() noexcept { return data_; }
    unsigned char* end() noexcept { return data_ + size_; }
    const unsigned char* begin() const noexcept { return data_; }
    const unsigned char* end() const noexcept { return data_ + size_; }
    // Unchecked.
    unsigned char& operator[](unsigned long i) noexcept { return data_[i]; }
    const unsigned char& operator[](unsigned long i) const noexcept { return data_[i]; }

    operator istr() const noexcept { return std::string_view(c_str(), size_); }
    // The object is a contiguous range too, so it converts to a std::span of unsigned char.
    explicit operator std::string_view() const noexcept { return {c_str(), size_}; }
    // The whole capacity.
    operator ostr() noexcept { return ostr(data_, capacity_); }

    friend bool operator==(const Bytes& left, istr right) noexcept { return istr(left) == right; }
    friend std::strong_ordering operator<=>(const Bytes& left, istr right) noexcept {
        return istr(left) <=> right;
    }
    friend bool operator==(const Bytes& left, const Bytes& right) noexcept {
        return istr(left) == istr(right);
    }
    friend std::strong_ordering operator<=>(const Bytes& left, const Bytes& right) noexcept {
        return istr(left) <=> istr(right);
    }

private:
    void alloc(unsigned long n);
    void free() noexcept;

    unsigned char* data_ = nullptr;
    ulong32 capacity_ = 0;
    ulong32 size_ = 0;
};

// Writes the content as Base64, in one line.
QOR_API std::ostream& operator<<(std::ostream& os, const Bytes& bytes);

// Hexadecimal text to bytes; a pair that has a character that is not a digit gives 255. In text of
// odd length the last character forms a pair with the byte after the view, which must exist. The
// first form appends.
QOR_API void hexstr2bytes(istr text, Bytes& out);
QOR_API Bytes hexstr2bytes(istr text);
// The low `width` bytes of the value, most significant first. If `width` is greater than 8, the
// leading bytes are zero. The first form appends.
QOR_API void int2bytes(unsigned long long value, unsigned long width, Bytes& out);
QOR_API Bytes int2bytes(unsigned long long value, unsigned long width);

}  // namespace qor

template <>
struct std::hash<qor::Bytes> : std::hash<qor::istr> {};

#endif  // QOR_BASE_BASE_TYPE_BYTES_H
