#ifndef QOR_STRING_STRING_BUFFER_H
#define QOR_STRING_STRING_BUFFER_H

#include <algorithm>
#include <cstring>
#include <utility>

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/string/string_ref.h"

namespace qor {

class dumper;

// An owning buffer with two positions: writes append at the put position, which is also the size of
// the content, and reads start at the get position. Up to 255 bytes are stored in the object; a
// larger buffer has one block on the heap. Growth at least doubles the capacity, and the capacity
// never shrinks: set the positions to 0 to use the buffer for the next message without an
// allocation.
//
// The storage has one more byte than the capacity: appended text is followed by a zero. A size
// above 32 bits raises std::bad_alloc; if an operation raises, the object is unchanged. Addresses
// in the storage are valid until it grows or the object is moved or swapped.
//
// To write into the buffer without a copy:
//
//     buffer.needMore(kLargestNumber);
//     char* const end = writeNumber(buffer.pbuf(), number);
//     buffer.psize(buffer.psize() + (end - buffer.pbuf()));
class QOR_API StringBuffer {
public:
    explicit StringBuffer(unsigned long capacity = 0) { init(capacity); }
    explicit StringBuffer(const istr& content) : StringBuffer(content.data(), content.size()) {}
    // Here and in all operations, a null pointer is empty text, and npos means that the text is
    // measured.
    StringBuffer(const char* content, unsigned long n) {
        n = StrLen(content, n);
        init(n);
        append(content, n);
    }
    StringBuffer(const unsigned char* content, unsigned long n)
        : StringBuffer(reinterpret_cast<const char*>(content), n) {}
    // Copies content, positions and capacity.
    StringBuffer(const StringBuffer& other) {
        init(other.max_size_);
        append(other.data_, other.psize_);
        gsize_ = other.gsize_;
    }
    StringBuffer(StringBuffer&& other) noexcept : StringBuffer() { swap(other); }
    ~StringBuffer() {
        if (!isInternal()) free();
    }

    // The block is reused if its capacity is sufficient.
    StringBuffer& operator=(const istr& content) { return assign(content.data(), content.size()); }
    StringBuffer& operator=(const StringBuffer& other) {
        const ulong32 get = other.gsize_;
        assign(other.data_, other.psize_);
        gsize_ = get;
        return *this;
    }
    StringBuffer& operator=(StringBuffer&& other) noexcept {
        StringBuffer(std::move(other)).swap(*this);
        return *this;
    }
    void swap(StringBuffer& other) noexcept;

    // Sets both positions to 0 and appends. Here and in append, the bytes may be a part of the
    // content.
    StringBuffer& assign(const char* bytes, unsigned long n);
    StringBuffer& assign(const unsigned char* bytes, unsigned long n) {
        return assign(reinterpret_cast<const char*>(bytes), n);
    }
    StringBuffer& append(const char* bytes, unsigned long n) {
        if (bytes == nullptr || n > room()) [[unlikely]]
            return appendSlowly(bytes, n);
        char* const target = pbuf();
        psize_ += static_cast<ulong32>(n);
        std::memcpy(target, bytes, n);
        target[n] = '\0';
        return *this;
    }
    StringBuffer& append(const unsigned char* bytes, unsigned long n) {
        return append(reinterpret_cast<const char*>(bytes), n);
    }
    StringBuffer& write(const char* bytes, unsigned long n) { return append(bytes, n); }
    StringBuffer& write(const unsigned char* bytes, unsigned long n) { return append(bytes, n); }
    StringBuffer& operator+=(const istr& text) { return append(text.data(), text.size()); }
    StringBuffer& operator+=(unsigned char byte) {
        needMore(1);
        char* const target = pbuf();
        ++psize_;
        target[0] = static_cast<char>(byte);
        target[1] = '\0';
        return *this;
    }
    StringBuffer operator+(const istr& text) const {
        return std::move(StringBuffer(*this) += text);
    }
    StringBuffer operator+(unsigned char byte) const {
        return std::move(StringBuffer(*this) += byte);
    }

    // Copies at most n of the bytes between the get and the put position, sets n to their number
    // and moves the get position. A null target skips them.
    void read(unsigned char* out, unsigned long& n) noexcept {
        n = std::min<unsigned long>(n, gsize_ < psize_ ? psize_ - gsize_ : 0);
        if (out != nullptr && n != 0) std::memcpy(out, gbuf(), n);
        gsize_ += static_cast<ulong32>(n);
    }
    // Read one byte if there is one, or append to `target` as many bytes as it has room for.
    StringBuffer& operator-=(unsigned char& byte) noexcept;
    StringBuffer& operator-=(StringRef& target) noexcept;
    // The same, but on a copy: this buffer's position does not change. Return the copy.
    StringBuffer operator-(unsigned char& byte) const {
        return std::move(StringBuffer(*this) -= byte);
    }
    StringBuffer operator-(StringRef& target) const {
        return std::move(StringBuffer(*this) -= target);
    }

    // Ensures room for n bytes after the put position.
    void needMore(unsigned long n) {
        if (n > room()) [[unlikely]]
            grow(psize_, n, nullptr);
    }
    // The put and the get position. Setting one is unchecked and writes no terminator: the caller
    // ensures that it is at most max_size(), and that the bytes before the put position are
    // written.
    unsigned long size() const noexcept { return psize_; }
    unsigned long psize() const noexcept { return psize_; }
    unsigned long gsize() const noexcept { return gsize_; }
    void size(unsigned long n) noexcept { psize(n); }
    void psize(unsigned long n) noexcept { psize_ = static_cast<ulong32>(n); }
    void gsize(unsigned long n) noexcept { gsize_ = static_cast<ulong32>(n); }
    char* pbuf() noexcept { return data_ + psize_; }
    const char* pbuf() const noexcept { return data_ + psize_; }
    char* gbuf() noexcept { return data_ + gsize_; }
    const char* gbuf() const noexcept { return data_ + gsize_; }

    bool empty() const noexcept { return psize_ == 0; }
    unsigned long max_size() const noexcept { return max_size_; }
    bool isInternal() const noexcept { return data_ == internal_; }

    // The start of the storage.
    char* data() noexcept { return data_; }
    const char* data() const noexcept { return data_; }
    char* buffer() noexcept { return data_; }
    const char* buffer() const noexcept { return data_; }
    const char* c_str() const noexcept { return data_; }
    // at() follows CharAt, with the capacity as the size; operator[] is unchecked.
    const char& at(unsigned long i) const noexcept {
        return CharAt(static_cast<const char*>(data_), max_size_, i);
    }
    char& at(unsigned long i) { return CharAt(data_, max_size_, i); }
    char& operator[](unsigned long i) noexcept { return data_[i]; }
    const char& operator[](unsigned long i) const noexcept { return data_[i]; }

    // All bytes before the put position.
    String str() const { return String(istr(*this)); }
    operator istr() const noexcept { return std::string_view(data_, psize_); }
    // The whole capacity.
    operator ostr() noexcept { return ostr(data_, max_size_); }
    // A cursor over the whole capacity, at the put position. Writing through it does not change the
    // positions of this buffer.
    operator StringRef() noexcept { return StringRef(data_, max_size_, psize_); }

    dumper& dump(dumper& d) const;

private:
    static constexpr ulong32 kInternalSize = 256;
    static constexpr ulong32 kPiece = 64;

    unsigned long room() const noexcept { return max_size_ - psize_; }
    void init(unsigned long capacity) {
        // Cleared in pieces, which compile to vector stores. For the whole size at once, compilers
        // use a string instruction, which takes several times as long to start.
        for (char* piece = internal_; piece != internal_ + kInternalSize; piece += kPiece) {
            std::memset(piece, 0, kPiece);
        }
        if (capacity >= kInternalSize) alloc(capacity);
    }
    void alloc(unsigned long capacity);
    void free() noexcept;
    StringBuffer& appendSlowly(const char* bytes, unsigned long n);
    void grow(ulong32 kept, unsigned long more, const char* added);

    char* data_ = internal_;
    ulong32 max_size_ = kInternalSize - 1;
    ulong32 psize_ = 0;
    ulong32 gsize_ = 0;
    char internal_[kInternalSize];
};

}  // namespace qor

#endif  // QOR_STRING_STRING_BUFFER_H
