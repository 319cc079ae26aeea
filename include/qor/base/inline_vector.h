#ifndef QOR_BASE_INLINE_VECTOR_H
#define QOR_BASE_INLINE_VECTOR_H

#include <algorithm>
#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "qor/base/interface.h"

namespace qor {

// A vector whose first N elements need no allocation, for trivially copyable elements. Elements
// that resize adds are uninitialised. Positions are not checked. Growing invalidates pointers to
// elements.
template <class T, std::size_t N>
class InlineVector : noncopyable {
    static_assert(std::is_trivially_copyable_v<T> && alignof(T) <= alignof(std::max_align_t));

public:
    InlineVector() noexcept = default;

    std::size_t size() const noexcept { return size_; }
    bool empty() const noexcept { return size_ == 0; }
    T* data() noexcept { return data_; }
    T* begin() noexcept { return data_; }
    T* end() noexcept { return data_ + size_; }
    T& operator[](std::size_t i) noexcept { return data_[i]; }
    const T& operator[](std::size_t i) const noexcept { return data_[i]; }
    T& back() noexcept { return data_[size_ - 1]; }

    // Appends T{args...}.
    template <class... Args>
    T& push_back(const Args&... args) {
        const T added{args...};  // before it grows, since an argument may be an element
        if (size_ == capacity_) [[unlikely]]
            grow(size_ + 1);
        return *::new (data_ + size_++) T(added);
    }
    void pop_back() noexcept { --size_; }
    void resize(std::size_t size) {
        if (size > capacity_) grow(size);
        size_ = size;
    }

private:
    struct Release {
        void operator()(void* block) const noexcept { ::operator delete(block); }
    };

    void grow(std::size_t size) {
        const std::size_t capacity = std::max(size, 2 * capacity_);
        std::unique_ptr<void, Release> block(::operator new(capacity * sizeof(T)));
        T* const data = static_cast<T*>(block.get());
        std::uninitialized_copy_n(data_, size_, data);
        block_ = std::move(block);
        data_ = data;
        capacity_ = capacity;
    }

    std::size_t size_ = 0;
    std::size_t capacity_ = N;
    alignas(T) std::byte inline_[N * sizeof(T)];
    T* data_ = reinterpret_cast<T*>(inline_);
    std::unique_ptr<void, Release> block_;
};

}  // namespace qor

#endif  // QOR_BASE_INLINE_VECTOR_H
