#ifndef QOR_BASE_BASE_TYPE_AUTO_H
#define QOR_BASE_BASE_TYPE_AUTO_H

#include <utility>

#include "qor/base/base_type_target.h"
#include "qor/base/mlcheck.h"

namespace qor {

// Owns an array of characters from CharBuffer::release or WcharBuffer::release. Copying transfers
// the array: the source becomes empty, so there is one owner at any time.
template <class T>
class AutoPtr {
public:
    AutoPtr() noexcept = default;
    explicit AutoPtr(T* ptr) noexcept : ptr_(ptr) {}
    AutoPtr(AutoPtr& other) noexcept : ptr_(other.release()) {}
    AutoPtr(AutoPtr&& other) noexcept : ptr_(other.release()) {}
    AutoPtr& operator=(AutoPtr other) noexcept {
        std::swap(ptr_, other.ptr_);
        return *this;
    }
    ~AutoPtr();

    T* get() const noexcept { return ptr_; }
    T& operator*() const noexcept { return *ptr_; }
    // The caller then owns the array, and must give it to another AutoPtr to free it.
    T* release() noexcept { return std::exchange(ptr_, nullptr); }

private:
    T* ptr_ = nullptr;
};

// Owns a scratch block of characters with one more place than requested, for the terminator:
// buffer_base(n) has capacity n + 1. CharBuffer and WcharBuffer are the two kinds.
template <class Char>
class buffer_base {
public:
    using View = std::conditional_t<sizeof(Char) == 1, istr, iwstr>;
    using Target = std::conditional_t<sizeof(Char) == 1, ostr, owstr>;

    // n characters and the terminator, all zero. Raises std::bad_alloc if n + 1 does not fit into
    // 32 bits.
    template <std::integral N>
    explicit buffer_base(N n) : buffer_base(checkedSize(static_cast<unsigned long>(n)), Zeroed()) {}
    buffer_base(const buffer_base& other);
    // Copies the view and the character after it, which must exist. The block is terminated only if
    // the view's text was. An empty view is not read, and gives an empty text.
    explicit buffer_base(const View& text);
    buffer_base(buffer_base&& other) noexcept
        : data_(std::exchange(other.data_, nullptr)),
          capacity_(std::exchange(other.capacity_, 0)) {}
    ~buffer_base();

    buffer_base& operator=(const buffer_base& other) {
        buffer_base(other).swap(*this);
        return *this;
    }
    buffer_base& operator=(buffer_base&& other) noexcept {
        buffer_base(std::move(other)).swap(*this);
        return *this;
    }
    buffer_base& operator=(const View& text) {
        buffer_base(text).swap(*this);
        return *this;
    }
    void swap(buffer_base& other) noexcept {
        std::swap(data_, other.data_);
        std::swap(capacity_, other.capacity_);
    }

    // The caller then owns the block, and must give it to an AutoPtr to free it. This buffer has no
    // block and capacity 0.
    Char* release() noexcept {
        capacity_ = 0;
        return std::exchange(data_, nullptr);
    }

    Char* buffer() noexcept { return data_; }
    const Char* data() const noexcept { return data_; }
    // The capacity in characters, the terminator's place included.
    unsigned long max_size() const noexcept { return capacity_; }
    // The length up to the first zero, at most the capacity; 0 after release.
    unsigned long size() const noexcept {
        if (data_ == nullptr) return 0;
        const Char* const zero = std::char_traits<Char>::find(data_, capacity_, Char());
        return zero != nullptr ? static_cast<unsigned long>(zero - data_) : capacity_;
    }

    operator View() const noexcept { return View(data_, size()); }
    operator Target() noexcept { return Target(data_, capacity_); }

private:
    struct Zeroed {};
    buffer_base(ulong32 capacity, Zeroed);
    static ulong32 checkedSize(unsigned long n);

    Char* data_ = nullptr;
    ulong32 capacity_ = 0;
};

extern template class QOR_API AutoPtr<char>;
extern template class QOR_API AutoPtr<wchar_t>;
extern template class QOR_API buffer_base<char>;
extern template class QOR_API buffer_base<wchar_t>;

using CharBuffer = buffer_base<char>;
using WcharBuffer = buffer_base<wchar_t>;

}  // namespace qor

#endif  // QOR_BASE_BASE_TYPE_AUTO_H
