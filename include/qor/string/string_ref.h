#ifndef QOR_STRING_STRING_REF_H
#define QOR_STRING_STRING_REF_H

#include <algorithm>
#include <concepts>
#include <cstring>

#include "qor/api.h"
#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_target.h"

namespace qor {

class dumper;

// A write cursor: a view of bytes with a capacity, and a position. The caller owns the memory,
// which must outlive the cursor. Copying copies the cursor and not the bytes. No operation
// allocates.
//
// Text that does not fit is cut without a report; moving the position beyond the capacity raises
// OutOfRangeException. Writing and advancing set the byte at the new position to zero if there is
// room, so the text is terminated unless it fills the memory.
class QOR_API StringRef {
public:
    StringRef() noexcept = default;
    // The whole capacity, from the start.
    StringRef(ostr& target) noexcept : StringRef(target.data(), target.max_size()) {}
    StringRef(Bytes& target) noexcept : StringRef(target.data(), target.max_size()) {}
    StringRef(char* buffer, unsigned long max, unsigned long position = 0) noexcept
        : buffer_(buffer),
          curSize_(cutSize(position)),
          maxSize_(buffer != nullptr ? cutSize(max) : 0) {}
    StringRef(unsigned char* buffer, unsigned long max, unsigned long position = 0) noexcept
        : StringRef(reinterpret_cast<char*>(buffer), max, position) {}
    StringRef(const StringRef&) noexcept = default;

    StringRef& operator=(const StringRef&) noexcept = default;
    StringRef& operator=(const istr& text) noexcept { return assign(text); }

    bool null() const noexcept { return buffer_ == nullptr; }
    bool empty() const noexcept { return curSize_ == 0; }
    unsigned long size() const noexcept { return curSize_; }
    unsigned long max_size() const noexcept { return maxSize_; }
    unsigned long left() const noexcept { return curSize_ < maxSize_ ? maxSize_ - curSize_ : 0; }

    char* buffer() const noexcept { return buffer_; }
    char* data() const noexcept { return buffer_; }
    const char* c_str() const noexcept { return buffer_; }
    char* current() const noexcept { return buffer_ + curSize_; }
    // The byte at the position. Both operators are unchecked.
    char& operator*() const noexcept { return *current(); }
    char& operator[](unsigned long i) const noexcept { return buffer_[i]; }
    // Beyond the capacity, the reading form gives 0 and the writing form raises
    // OutOfRangeException.
    const char& at(unsigned long i) const noexcept {
        return CharAt(static_cast<const char*>(maxSize_ != 0 ? buffer_ : nullptr), maxSize_ - 1UL,
                      i);
    }
    char& at(unsigned long i) {
        return CharAt(maxSize_ != 0 ? buffer_ : nullptr, maxSize_ - 1UL, i);
    }

    // Write at the position as much as fits. If n is npos, the text is measured; null is empty
    // text.
    StringRef& append(const char* text, unsigned long n = npos) noexcept {
        n = std::min(StrLen(text, n), left());
        if (text != nullptr && n != 0) std::memmove(current(), text, n);
        return moveBy(n);
    }
    StringRef& append(const unsigned char* text, unsigned long n = npos) noexcept {
        return append(reinterpret_cast<const char*>(text), n);
    }
    StringRef& append(const istr& text) noexcept { return append(text.data(), text.size()); }
    StringRef& append(unsigned char byte) noexcept { return append(&byte, 1); }
    StringRef& fill(unsigned char byte, unsigned long n) noexcept {
        n = std::min(n, left());
        if (n != 0) std::memset(current(), byte, n);
        return moveBy(n);
    }
    // The same from the start.
    StringRef& assign(const char* text, unsigned long n = npos) noexcept {
        curSize_ = 0;
        return append(text, n);
    }
    StringRef& assign(const unsigned char* text, unsigned long n = npos) noexcept {
        return assign(reinterpret_cast<const char*>(text), n);
    }
    StringRef& assign(const istr& text) noexcept { return assign(text.data(), text.size()); }
    StringRef& assign(unsigned char byte) noexcept { return assign(&byte, 1); }

    StringRef& operator+=(const istr& text) noexcept { return append(text); }
    StringRef& operator+=(unsigned char byte) noexcept { return append(byte); }
    // Write to the same memory, but this cursor does not move. Return the moved copy.
    StringRef operator+(const istr& text) const noexcept { return StringRef(*this).append(text); }
    StringRef operator+(unsigned char byte) const noexcept { return StringRef(*this).append(byte); }

    StringRef& operator<<(const istr& text) noexcept { return append(text); }
    // Write one byte. Without room they raise OutOfRangeException.
    StringRef& operator<<(char byte) {
        if (curSize_ >= maxSize_) raiseAtEnd();
        buffer_[curSize_] = byte;
        return moveBy(1);
    }
    // A template, so that nothing else converts to Byte here; a String would.
    template <std::same_as<Byte> B>
    StringRef& operator<<(const B& byte) {
        return *this << static_cast<char>(byte.value());
    }

    // Move the position, at most to the capacity; beyond it they raise OutOfRangeException.
    StringRef& advance(unsigned long n) {
        if (curSize_ > maxSize_ || n > left()) raiseBeyondEnd();
        return moveBy(n);
    }
    StringRef& operator++() {
        if (curSize_ >= maxSize_) raiseAtEnd();
        return moveBy(1);
    }
    StringRef operator++(int) {
        const StringRef before = *this;
        ++*this;
        return before;
    }
    // Sets the position, unchecked and without a terminator. Beyond the capacity, left() is 0.
    StringRef& rewind(unsigned long position) noexcept {
        curSize_ = cutSize(position);
        return *this;
    }
    // Moves the start by n bytes, at most to the end of the capacity; the position is then 0.
    StringRef& shift(unsigned long n) noexcept {
        const ulong32 step = static_cast<ulong32>(std::min<unsigned long>(n, maxSize_));
        buffer_ += step;
        maxSize_ -= step;
        curSize_ = 0;
        return *this;
    }

    // Place a text in a field, which is the whole capacity, with a blank between the text and the
    // rest of the field. The position is neither used nor changed; the rest of the field is
    // unchanged.

    // Writes the first bytes of the text at the start, followed by a blank.
    StringRef& left(const istr& text) noexcept;
    // Writes the last bytes of the text at the end, preceded by a blank.
    StringRef& right(const istr& text) noexcept;
    StringRef& right(char byte, unsigned long n) noexcept;
    // Writes the middle bytes of the text in the middle, between two blanks. Does nothing if the
    // text is empty or the capacity is less than 2.
    StringRef& center(const istr& text) noexcept;

    dumper& dump(dumper& d) const;

private:
    StringRef& moveBy(unsigned long n) noexcept {
        curSize_ += static_cast<ulong32>(n);
        if (curSize_ < maxSize_) buffer_[curSize_] = '\0';
        return *this;
    }
    [[noreturn]] static void raiseBeyondEnd();
    [[noreturn]] static void raiseAtEnd();

    char* buffer_ = nullptr;
    ulong32 curSize_ = 0;
    ulong32 maxSize_ = 0;
};

}  // namespace qor

#endif  // QOR_STRING_STRING_REF_H
