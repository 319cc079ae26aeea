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

// Raises NullHandleException, with `func` as the function. If nullHandleAbort is set, calls
// std::abort.
[[noreturn]] QOR_API void nullHandle(const char* func);

// A pointer that is tested at each dereference.
template <class T>
class SmartPtrBase {
public:
    T* get() const noexcept { return ptr_; }
    // Both raise NullHandleException if the pointer is null.
    T* operator->() const {
        if (ptr_ == nullptr) [[unlikely]]
            nullHandle(memberName<T>("qor::SmartPtrBase", "operator ->"));
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

// An owner of a Shared object; a Handle may be null. The object lives as long as a Handle refers to
// it. Handles of several threads may share an object, but a Handle variable itself is not locked:
// no thread may change it while another thread uses it.
template <class T>
class Handle : public SmartPtrBase<T> {
public:
    using element_type = T;

    constexpr Handle() noexcept = default;
    // Adds an owner: increments the object's count. The pointer may be null.
    constexpr Handle(T* ptr) noexcept : SmartPtrBase<T>(ptr) { share(); }
    Handle(const Handle& other) noexcept : SmartPtrBase<T>(other) { share(); }
    Handle(Handle&& other) noexcept : SmartPtrBase<T>(std::exchange(other.ptr_, nullptr)) {}
    template <PointsTo<T> U>
    Handle(const Handle<U>& other) noexcept : Handle(static_cast<T*>(other.get())) {}
    // A Handle for a reference that the object has already counted: the count is not changed.
    static Handle adopt(T* ptr) noexcept {
        Handle handle;
        handle.ptr_ = ptr;
        return handle;
    }
    // Sets this Handle to null without decrementing the count. The caller must do that later, by
    // __SubRef or through adopt.
    T* release() noexcept { return std::exchange(this->ptr_, nullptr); }
    ~Handle() {
        if (this->ptr_ != nullptr) this->ptr_->__SubRef();
    }

    // The old object is released after this Handle has its new value.
    Handle& operator=(Handle other) noexcept {
        swap(other);
        return *this;
    }
    void reset() noexcept { Handle().swap(*this); }
    void swap(Handle& other) noexcept { std::swap(this->ptr_, other.ptr_); }

    // A Handle to the object as a U (dynamic_cast); null if it is not a U.
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
[[nodiscard]] Handle<T> makeHandle(Place place, Args&&... args) {
    return Handle<T>(
        checkedNew<T>(place.file(), place.line(), place.func(), std::forward<Args>(args)...));
}

// Handles are compared by the addresses of their objects.
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
