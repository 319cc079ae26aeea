#ifndef QOR_BASE_MLCHECK_H
#define QOR_BASE_MLCHECK_H

#include <cstddef>
#include <memory>
#include <new>
#include <type_traits>
#include <utility>

#include "qor/api.h"

// Allocation and release that name the place they are called from, so that a leak table can tell
// each block's origin. The memory itself is that of plain operator new: failure is std::bad_alloc,
// and a replaced global operator new sees every block.

QOR_API void* operator new(std::size_t size, const char* file, unsigned line, const char* func);
// Called by the compiler alone, when a constructor raises.
QOR_API void operator delete(void* ptr, const char* file, unsigned line, const char* func) noexcept;

namespace qor {

// Enters a block in the leak table, and takes it out. Any thread may call them.
QOR_API void blockAllocated(void* ptr, const char* file, unsigned line, const char* func);
QOR_API void blockReleased(void* ptr, const char* file, unsigned line, const char* func) noexcept;

// The address that an object was allocated at, which a pointer to a base need not be.
template <class T>
void* blockOf(T* ptr) noexcept {
    if constexpr (std::is_polymorphic_v<T>) {
        return const_cast<void*>(dynamic_cast<const void*>(ptr));
    } else {
        return const_cast<std::remove_cv_t<T>*>(ptr);
    }
}

// The literals are kept by pointer.
template <class T, class... Args>
T* checkedNew(const char* file, unsigned line, const char* func, Args&&... args) {
    std::unique_ptr<T> object(new (file, line, func) T(std::forward<Args>(args)...));
    blockAllocated(object.get(), file, line, func);
    return object.release();
}

template <class T>
void checkedDelete(T* ptr, const char* file, unsigned line, const char* func) noexcept {
    if (ptr == nullptr) return;
    blockReleased(blockOf(ptr), file, line, func);
    delete ptr;
}

// Arrays of a scalar type, uninitialised. The count may be more than 32 bits hold.
template <class T>
T* checkedNewArray(const char* file, unsigned line, const char* func, std::size_t count) {
    static_assert(std::is_trivial_v<T>);
    std::unique_ptr<T[]> block(new T[count]);
    blockAllocated(block.get(), file, line, func);
    return block.release();
}

template <class T>
void checkedDeleteArray(T* ptr, const char* file, unsigned line, const char* func) noexcept {
    static_assert(std::is_trivial_v<T>);
    if (ptr == nullptr) return;
    blockReleased(ptr, file, line, func);
    delete[] ptr;
}

}  // namespace qor

#endif  // QOR_BASE_MLCHECK_H
