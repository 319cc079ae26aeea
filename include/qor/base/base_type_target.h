#ifndef QOR_BASE_BASE_TYPE_TARGET_H
#define QOR_BASE_BASE_TYPE_TARGET_H

#include "qor/base/base_type_view.h"

namespace qor {

// The operations that the narrow and the wide writable view share. Self is the view's own class,
// which has the members ptr_ and capacity_.
template <class Char, class View, class Self>
class target_base {
public:
    // True if there is no pointer or no capacity. The text is not tested.
    bool empty() const noexcept { return ptr() == nullptr || capacity() == 0; }
    unsigned long max_size() const noexcept { return capacity(); }

    // The length of the terminated text, 0 for a null pointer. size reads up to the terminator;
    // sizeN reads at most the capacity, or n characters.
    unsigned long size() const noexcept { return StrLen(ptr()); }
    unsigned long sizeN() const noexcept { return sizeN(capacity()); }
    unsigned long sizeN(unsigned long n) const noexcept {
        if (ptr() == nullptr) return 0;
        unsigned long i = 0;
        while (i < n && ptr()[i] != Char())
            ++i;
        return i;
    }

    // Unchecked.
    Char* data() const noexcept { return ptr(); }
    Char* buffer() const noexcept { return ptr(); }
    Char* begin() const noexcept { return ptr(); }
    Char* end() const noexcept { return ptr() + size(); }
    Char& operator[](unsigned long i) const noexcept { return ptr()[i]; }

    // Makes the text empty.
    Self& clear() noexcept {
        if (ptr() != nullptr) ptr()[0] = Char();
        return self();
    }
    // As clear, and also terminates the last place if the capacity is known.
    Self& reset() noexcept {
        if (empty()) return self();
        ptr()[0] = Char();
        if (capacity() != npos32) ptr()[capacity() - 1] = Char();
        return self();
    }

    // Parts of the memory, cut to the capacity. If the capacity is unknown, substr is unchecked and
    // its part has the capacity n, and rightstr counts from the end of the text.
    Self substr(unsigned long pos, unsigned long n = npos) const noexcept {
        if (ptr() == nullptr) return Self();
        if (capacity() == npos32) return Self(ptr() + pos, n);
        const unsigned long start = std::min<unsigned long>(pos, capacity());
        const unsigned long room = capacity() - start;
        return Self(ptr() + start, isNpos(n) ? room : std::min(n, room));
    }
    Self leftstr(unsigned long n) const noexcept { return substr(0, n); }
    Self rightstr(unsigned long n) const noexcept {
        const unsigned long whole = capacity() == npos32 ? size() : capacity();
        return n < whole ? substr(whole - n, n) : substr(0);
    }

    // Copies as much as fits before the terminator; the rest is cut off without a report. A null
    // source makes the text empty. The target's first character is cleared first: a source that
    // includes it ends there.
    Self& assign(const Char* text, unsigned long n) noexcept {
        if (empty()) return self();
        ptr()[0] = Char();
        const unsigned long room = capacity() - 1UL;
        copyText(text, std::min(room, StrLen(text, n)));
        return self();
    }
    Self& assign(const Char* text) noexcept { return assign(text, npos); }
    Self& assign(View text) noexcept { return assign(text.data(), text.size()); }
    // Makes this a view of the other memory; no text is copied.
    Self& assign(const Self& target) noexcept { return self() = target; }

    // A view of the whole capacity; if that is unknown, of the text up to its terminator.
    operator View() const noexcept { return View(ptr(), capacity()); }

private:
    Self& self() noexcept { return static_cast<Self&>(*this); }
    Char* ptr() const noexcept { return static_cast<const Self*>(this)->ptr_; }
    ulong32 capacity() const noexcept { return static_cast<const Self*>(this)->capacity_; }

    // Copies as strncpy does, and terminates after n characters.
    void copyText(const Char* text, unsigned long n) noexcept {
        using Traits = std::char_traits<Char>;
        if (text == nullptr || n == 0) return;
        const Char* zero = Traits::find(text, n, Char());
        const auto size = zero != nullptr ? static_cast<unsigned long>(zero - text) : n;
        Traits::move(ptr(), text, size);
        Traits::assign(ptr() + size, n - size + 1, Char());
    }
};

// A writable view of memory that the caller owns, with its capacity in bytes, the terminator's
// place included. A capacity of npos means unknown: then nothing is checked. Assigning text copies
// it into the memory; assigning another ostr makes this a view of that one's memory.
class QOR_API ostr : public target_base<char, istr, ostr> {
public:
    ostr() noexcept = default;
    ostr(char* ptr, unsigned long capacity) noexcept
        : capacity_(cutSizeOrNpos(capacity)), ptr_(ptr) {}
    ostr(unsigned char* ptr, unsigned long capacity) noexcept
        : ostr(reinterpret_cast<char*>(ptr), capacity) {}
    ostr(const ostr&) noexcept = default;

    ostr& operator=(const ostr&) noexcept = default;
    ostr& operator=(const char* text) noexcept { return assign(text); }
    ostr& operator=(const unsigned char* text) noexcept { return assign(text); }
    ostr& operator=(istr text) noexcept { return assign(text); }

    using target_base::assign;
    ostr& assign(const unsigned char* text, unsigned long n = npos) noexcept {
        return assign(reinterpret_cast<const char*>(text), n);
    }

    // "size/capacity, text".
    void dump(std::ostream& os) const;

protected:
    friend target_base;
    ulong32 capacity_ = 0;
    char* ptr_ = nullptr;
};

// The wide counterpart; its capacity is in characters. Deliberate (compatibility): its fields have
// the opposite order.
class QOR_API owstr : public target_base<wchar_t, iwstr, owstr> {
public:
    owstr() noexcept = default;
    owstr(wchar_t* ptr, unsigned long capacity) noexcept
        : ptr_(ptr), capacity_(cutSizeOrNpos(capacity)) {}
    owstr(const owstr&) noexcept = default;

    owstr& operator=(const owstr&) noexcept = default;
    owstr& operator=(const wchar_t* text) noexcept { return assign(text); }
    owstr& operator=(iwstr text) noexcept { return assign(text); }

    void dump(std::ostream& os) const;

private:
    friend target_base;
    wchar_t* ptr_ = nullptr;
    ulong32 capacity_ = 0;
};

// An ostr with operations on the terminated text in it: comparing, testing and changing case.
class QOR_API Str : public ostr {
public:
    Str() noexcept = default;
    using ostr::ostr;
    explicit Str(const ostr& target) noexcept : ostr(target) {}
    Str(const Str&) noexcept = default;

    Str& operator=(const Str&) noexcept = default;  // rebinds
    Str& operator=(istr text) noexcept { return copy(text); }

    // Copies the view and terminates the copy. The capacity is not checked: the caller guarantees
    // room for one byte more than the view.
    Str& copy(istr text) noexcept;
    // Appends the terminated text of the view if the result and its terminator fit into text.size()
    // bytes, and changes nothing otherwise. So it appends only if the view is longer than its
    // terminated text. Deliberate (compatibility): the bound is the argument's size, not this
    // capacity.
    Str& cat(istr text) noexcept;
    Str& operator+=(istr text) noexcept { return cat(text); }

    int cmp(istr text, unsigned long n = npos, bool noCase = false) const noexcept;
    int cmp(const char* text, unsigned long n = npos, bool noCase = false) const noexcept;
    int cmpNoCase(istr text, unsigned long n = npos) const noexcept { return cmp(text, n, true); }
    int cmpNoCase(const char* text, unsigned long n = npos) const noexcept {
        return cmp(text, n, true);
    }
    template <std::convertible_to<istr> Text>
    friend bool operator==(const Str& left, const Text& right) noexcept {
        return left.cmp(istr(right)) == 0;
    }
    template <std::convertible_to<istr> Text>
    friend std::strong_ordering operator<=>(const Str& left, const Text& right) noexcept {
        return left.cmp(istr(right)) <=> 0;
    }
    // True if equal; case is ignored.
    bool is(istr text, unsigned long n = npos) const noexcept { return cmp(text, n, true) == 0; }
    bool isNot(istr text, unsigned long n = npos) const noexcept { return !is(text, n); }
    // Compare the first n bytes of the capacity, or the last n, up to a terminator in them, with
    // the first n bytes of `text`.
    bool beginWith(istr text, unsigned long n, bool noCase = false) const noexcept;
    bool endWith(istr text, unsigned long n, bool noCase = false) const noexcept;

    // True if the pointer is null or the text is empty.
    bool empty() const noexcept { return ptr_ == nullptr || *ptr_ == '\0'; }
    // True if i is the position of the terminator or a later one.
    bool isEnd(unsigned long i) const noexcept { return i >= size() || ptr_[i] == '\0'; }
    // The bytes of the capacity after the text, the terminator's included; npos if the capacity is
    // unknown.
    unsigned long left() const noexcept { return capacity_ == npos32 ? npos : capacity_ - size(); }
    bool isAllDigits() const noexcept { return StrIsAllDigits(ptr_); }

    // Change at most n bytes of the text; npos means the capacity.
    Str& toUpper(unsigned long n = npos) noexcept;
    Str& toLower(unsigned long n = npos) noexcept;
    // Sets the first n bytes, at most the capacity minus 1, and then the last of them to zero.
    // Deliberate (compatibility): the text then has n - 1 characters. n of 0 does nothing.
    Str& fill(int c, unsigned long n = npos) noexcept;

    Str& reset() noexcept {
        ostr::reset();
        return *this;
    }
    Str substr(unsigned long pos, unsigned long n = npos) const noexcept {
        return Str(ostr::substr(pos, n));
    }
    Str leftstr(unsigned long n) const noexcept { return Str(ostr::leftstr(n)); }
    Str rightstr(unsigned long n) const noexcept { return Str(ostr::rightstr(n)); }

    // The text, up to its terminator.
    operator istr() const noexcept { return istr(ptr_, size()); }
};

// A raw area of memory that the caller owns. Assigning copies bytes, also from another Mem.
class QOR_API Mem {
public:
    Mem() noexcept = default;
    Mem(void* ptr, unsigned long size) noexcept
        : ptr_(static_cast<char*>(ptr)), size_(cutSize(size)) {}
    Mem(const Mem&) noexcept = default;

    Mem& operator=(const Mem& source) noexcept { return copy(source); }
    Mem& operator=(istr source) noexcept { return copy(source); }

    char* data() const noexcept { return ptr_; }
    unsigned long size() const noexcept { return size_; }
    operator istr() const noexcept { return istr(ptr_, size_); }

    // Copies as many bytes as the smaller of the two sizes. The areas must not overlap.
    Mem& copy(istr source) noexcept;
    // Copies at most size() - 1 bytes and terminates the copy with a zero.
    Mem& copyZ(istr source) noexcept;
    Mem& fill(int value) noexcept;
    // Compares over the smaller size; if that part is equal, the result is this size minus the
    // other one.
    int cmp(istr other) const noexcept;

    void dump(std::ostream& os) const;

private:
    char* ptr_ = nullptr;
    ulong32 size_ = 0;
};

}  // namespace qor

#endif  // QOR_BASE_BASE_TYPE_TARGET_H
