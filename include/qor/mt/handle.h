#ifndef QOR_MT_HANDLE_H
#define QOR_MT_HANDLE_H

#include <compare>
#include <concepts>
#include <cstddef>
#include <functional>
#include <utility>

#include "qor/api.h"
#include "qor/base/class_name.h"
#include "qor/base/mlcheck.h"
#include "qor/mt/shared.h"

namespace qor {

// Raises NullHandleException for a dereference in `func`; ends the process under nullHandleAbort.
[[noreturn]] QOR_API void nullHandle(const char* func);

// A pointer that is tested when it is followed.
template <class T>
class SmartPtrBase {
public:
    T* get() const noexcept { return ptr_; }
    // Both raise NullHandleException when there is no object.
    T* operator->() const {
        if (ptr_ == nullptr) [[unlikely]] {
            static const char* const func = memberName<T>("qor::SmartPtrBase", "operator ->");
            nullHandle(func);
        }
        return ptr_;
    }
    T& operator*() const { return *operator->(); }

    explicit operator bool() const noexcept { return ptr_ != nullptr; }

protected:
    constexpr SmartPtrBase() noexcept = default;
    constexpr explicit SmartPtrBase(T* ptr) noexcept : ptr_(ptr) {}
    SmartPtrBase(const SmartPtrBase&) noexcept = default;
    SmartPtrBase& operator=(const SmartPtrBase&) noexcept = default;
    ~SmartPtrBase() = default;

    T* ptr_ = nullptr;
};

template <class U, class T>
concept PointsTo = std::convertible_to<U*, T*>;

// One owner of a Shared object, possibly of none. The object may be shared between threads, a
// Handle variable may not: one thread must not write it while another one uses it.
template <class T>
class Handle : public SmartPtrBase<T> {
public:
    using element_type = T;

    constexpr Handle() noexcept = default;
    // Takes a share in the object; a new one has no other owner. Null is no object.
    constexpr Handle(T* ptr) noexcept : SmartPtrBase<T>(ptr) { share(); }
    Handle(const Handle& other) noexcept : SmartPtrBase<T>(other) { share(); }
    Handle(Handle&& other) noexcept : SmartPtrBase<T>(std::exchange(other.ptr_, nullptr)) {}
    template <PointsTo<T> U>
    Handle(const Handle<U>& other) noexcept : Handle(static_cast<T*>(other.get())) {}
    // Takes over a share that the object counts already.
    static Handle adopt(T* ptr) noexcept {
        Handle handle;
        handle.ptr_ = ptr;
        return handle;
    }
    // Transfers the share to the caller, who releases it by __SubRef or adopt.
    T* release() noexcept { return std::exchange(this->ptr_, nullptr); }
    ~Handle() {
        if (this->ptr_ != nullptr) this->ptr_->__SubRef();
    }

    // By value: the old object is released last, after this Handle has its new value.
    Handle& operator=(Handle other) noexcept {
        swap(other);
        return *this;
    }
    void reset() noexcept { Handle().swap(*this); }
    void swap(Handle& other) noexcept { std::swap(this->ptr_, other.ptr_); }

    // A Handle of another class in the tree, null if the object is none of it.
    template <class U>
    Handle<U> as() const noexcept {
        return Handle<U>(dynamic_cast<U*>(this->ptr_));
    }

private:
    constexpr void share() noexcept {
        if (this->ptr_ != nullptr) this->ptr_->__AddRef();
    }
};

// A Handle to a new T, constructed from the arguments. The leak table records it with the place of
// the call:
//
//     const Handle<Pump> pump = makeHandle<Pump>("open", address);
//
// `place` is the name of the calling function, a literal. Raises std::bad_alloc and the
// constructor's exceptions; nothing is leaked then.
template <std::derived_from<Shared> T, class... Args>
Handle<T> makeHandle(Place place, Args&&... args) {
    return Handle<T>(
        checkedNew<T>(place.file(), place.line(), place.func(), std::forward<Args>(args)...));
}

// By the object's address.
template <class T, class U>
bool operator==(const Handle<T>& left, const Handle<U>& right) noexcept {
    return left.get() == right.get();
}
template <class T, PointsTo<const T> U>
bool operator==(const Handle<T>& left, U* right) noexcept {
    return left.get() == right;
}
template <class T>
bool operator==(const Handle<T>& left, std::nullptr_t) noexcept {
    return !left;
}
template <class T>
std::strong_ordering operator<=>(const Handle<T>& left, const Handle<T>& right) noexcept {
    return std::compare_three_way()(left.get(), right.get());
}

}  // namespace qor

template <class T>
struct std::hash<qor::Handle<T>> {
    std::size_t operator()(const qor::Handle<T>& handle) const noexcept {
        return std::hash<T*>()(handle.get());
    }
};

#endif  // QOR_MT_HANDLE_H
