#ifndef QOR_STRING_STRING_SLICE_H
#define QOR_STRING_STRING_SLICE_H

#include <algorithm>
#include <compare>
#include <concepts>
#include <cstddef>
#include <cstring>
#include <string>

#include "qor/api.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_view.h"

namespace qor {

class dumper;

// A read cursor over text that it does not own, with a position from 0 to the text's size. The text
// must outlive the cursor and the views that operations return. No operation allocates; moving
// beyond the end raises OutOfRangeException.
//
// Three operations read the byte after the text, which must then exist, such as a terminator:
// operator* at the end, at(size()), and trimming a returned view.
class QOR_API StringSlice {
public:
    StringSlice() noexcept = default;
    StringSlice(std::nullptr_t) noexcept {}
    StringSlice(const char* text) noexcept { assign(text, npos); }
    StringSlice(const unsigned char* text) noexcept { assign(text, npos); }
    // A null pointer is empty text, whatever the size. If the size is npos, the text is measured.
    StringSlice(const char* text, unsigned long size, unsigned long cursor = 0) noexcept {
        assign(text, size, cursor);
    }
    StringSlice(const unsigned char* text, unsigned long size, unsigned long cursor = 0) noexcept {
        assign(text, size, cursor);
    }
    StringSlice(const std::string& text) noexcept { assign(text.data(), text.size()); }
    StringSlice(istr text) noexcept { assign(text.data(), text.size()); }

    StringSlice& assign(const char* text, unsigned long size, unsigned long cursor = 0) noexcept {
        addr_ = text;
        size_ = cutSize(StrLen(text, size));
        return rewindTo(cursor);
    }
    StringSlice& assign(const unsigned char* text, unsigned long size,
                        unsigned long cursor = 0) noexcept {
        return assign(reinterpret_cast<const char*>(text), size, cursor);
    }

    bool empty() const noexcept { return size_ == 0; }
    bool eof() const noexcept { return cursor_ == size_; }
    unsigned long left() const noexcept { return cursor_ < size_ ? size_ - cursor_ : 0; }
    unsigned long size() const noexcept { return size_; }
    unsigned long cursor() const noexcept { return cursor_; }
    const char* data() const noexcept { return addr_; }
    const char* c_str() const noexcept { return addr_; }
    const char* current() const noexcept { return addr_ + cursor_; }
    // The whole text, from the start.
    operator istr() const noexcept { return istr(addr_, size_); }

    // The byte at the cursor; at the end, the byte after the text, which must exist.
    char operator*() const noexcept {
        if (cursor_ < size_) return addr_[cursor_];
        return eof() && addr_ != nullptr ? addr_[cursor_] : '\0';
    }
    // The byte at position i of the text. at() also reads the byte after the text, and gives 0
    // beyond that; operator[] is unchecked.
    const char& at(unsigned long i) const noexcept { return CharAt(addr_, size_, i); }
    const char& operator[](unsigned long i) const noexcept { return addr_[i]; }

    // Move the cursor, at most to the end; beyond it they raise OutOfRangeException.
    StringSlice& advance(unsigned long n) {
        if (cursor_ > size_ || n > left()) raiseBeyondEnd();
        cursor_ += static_cast<ulong32>(n);
        return *this;
    }
    StringSlice& operator++() {
        if (cursor_ >= size_) raiseAtEnd();
        ++cursor_;
        return *this;
    }
    StringSlice operator++(int) {
        const StringSlice before = *this;
        ++*this;
        return before;
    }
    // Sets the position, unchecked. Deliberate (compatibility): rewind raises OutOfRangeException
    // if the old position, not the new one, is beyond the end. There, left() is 0, and advance and
    // ++ raise too.
    StringSlice& rewind(unsigned long position) {
        if (cursor_ > size_) raiseLostCursor();
        return rewindTo(position);
    }

    // Read one byte. At the end they raise OutOfRangeException and leave the target unchanged.
    StringSlice& operator>>(char& byte) {
        if (cursor_ >= size_) raiseAtEnd();
        byte = addr_[cursor_++];
        return *this;
    }
    StringSlice& operator>>(unsigned char& byte) { return *this >> reinterpret_cast<char&>(byte); }
    StringSlice& operator>>(Byte& byte) { return *this >> byte.value(); }
    // Reads at most n bytes.
    istr next(unsigned long n) noexcept {
        const ulong32 count = static_cast<ulong32>(std::min(n, left()));
        const char* const first = current();
        cursor_ += count;
        return istr(first, first + count);
    }
    istr readAllLeft() noexcept { return next(npos); }
    // Copies at most n bytes, and sets n to their number. A null target skips them.
    void read(unsigned char* out, unsigned long& n) noexcept {
        const istr taken = next(n);
        n = taken.size();
        if (out != nullptr && n != 0) std::memcpy(out, taken.data(), n);
    }

    // Whether the text at the cursor begins with s. The comparison stops after a zero byte in s:
    // the rest of s matches anything, but must fit into the text. An empty s always matches.
    bool match(istr s) const noexcept {
        if (s.empty()) return true;
        return s.size() <= left() && std::strncmp(current(), s.data(), s.size()) == 0;
    }
    // Move the cursor after the next match of s, or to the end if there is none. readUntil returns
    // the text before s; skipTo returns whether s was found.
    istr readUntil(istr s) noexcept;
    bool skipTo(istr s) noexcept;

    // A part of the whole text, cut to its size, with the cursor at its start.
    StringSlice substr(unsigned long pos, unsigned long n = npos) const noexcept {
        return istr(*this).substr(pos, n);
    }

    // Compares whole texts, by bytes over the smaller size and then by size; null is less than any
    // text. Slices that start at the same address are equal, whatever their sizes: so this equality
    // is not transitive, and there is no std::hash.
    int compare(const StringSlice& other) const noexcept;
    template <std::convertible_to<StringSlice> Text>
    friend bool operator==(const StringSlice& left, const Text& right) noexcept {
        return left.compare(right) == 0;
    }
    template <std::convertible_to<StringSlice> Text>
    friend std::strong_ordering operator<=>(const StringSlice& left, const Text& right) noexcept {
        return left.compare(right) <=> 0;
    }

    dumper& dump(dumper& d) const;

private:
    StringSlice& rewindTo(unsigned long position) noexcept {
        cursor_ = cutSize(position);
        return *this;
    }
    [[noreturn]] static void raiseBeyondEnd();
    [[noreturn]] static void raiseAtEnd();
    [[noreturn]] static void raiseLostCursor();

    const char* addr_ = nullptr;
    ulong32 size_ = 0;
    ulong32 cursor_ = 0;
};

// Reads one byte of a slice into a Byte, for chains: slice >> ByteRef(kind) >> ByteRef(flags).
class ByteRef {
public:
    explicit ByteRef(Byte& target) noexcept : target_(target) {}
    StringSlice& operator()(StringSlice& slice) const { return slice >> target_; }

private:
    Byte& target_;
};

inline StringSlice& operator>>(StringSlice& slice, const ByteRef& reader) {
    return reader(slice);
}

}  // namespace qor

#endif  // QOR_STRING_STRING_SLICE_H
