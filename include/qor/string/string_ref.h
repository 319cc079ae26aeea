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

// A write cursor over memory that the caller owns and that must outlive it: bytes with a capacity,
// and a position. Copying copies the cursor and not the bytes. Nothing allocates.
//
// Text that does not fit is cut without a report; moving the position beyond the capacity raises
// OutOfRangeException. Writing and advancing put a zero at the new position if there is room, so
// the text is terminated unless it fills the memory.
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
    // The byte at the position; unchecked, as operator[] is.
    char& operator*() const noexcept { return *current(); }
    char& operator[](unsigned long i) const noexcept { return buffer_[i]; }
    // As CharAt within the capacity: reading beyond it gives 0, writing beyond it raises.
    const char& at(unsigned long i) const noexcept {
        return CharAt(static_cast<const char*>(maxSize_ != 0 ? buffer_ : nullptr), maxSize_ - 1UL,
                      i);
    }
    char& at(unsigned long i) {
        return CharAt(maxSize_ != 0 ? buffer_ : nullptr, maxSize_ - 1UL, i);
    }

    // Write at the position as much as there is room for. npos is measured; null is empty text.
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
    // Write to the same memory, and leave this cursor where it is.
    StringRef operator+(const istr& text) const noexcept { return StringRef(*this).append(text); }
    StringRef operator+(unsigned char byte) const noexcept { return StringRef(*this).append(byte); }

    StringRef& operator<<(const istr& text) noexcept { return append(text); }
    // One byte, which is never cut: without room they raise as ++ does.
    StringRef& operator<<(char byte) {
        if (curSize_ >= maxSize_) raiseAtEnd();
        buffer_[curSize_] = byte;
        return moveBy(1);
    }
    // Byte itself only: a String would be one as well.
    template <std::same_as<Byte> B>
    StringRef& operator<<(const B& byte) {
        return *this << static_cast<char>(byte.value());
    }

    // The position may reach the capacity, not pass it.
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
    // Sets the position, with no check and no terminator. Beyond the capacity there is no room.
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

    // Place a text in the field that the whole capacity is, and set it off by a blank on each
    // open side. The position neither matters nor moves; the rest of the field stays.

    // Writes the first bytes of the text at the start, followed by a blank.
    StringRef& left(const istr& text) noexcept;
    // Writes the last bytes of the text at the end, preceded by a blank.
    StringRef& right(const istr& text) noexcept;
    StringRef& right(char byte, unsigned long n) noexcept;
    // The middle bytes of the text in the middle, between two blanks. An empty text, and a field
    // without room for the blanks, are left alone.
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
