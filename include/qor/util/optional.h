#ifndef QOR_UTIL_OPTIONAL_H
#define QOR_UTIL_OPTIONAL_H

#include <concepts>
#include <cstddef>
#include <functional>
#include <type_traits>
#include <utility>

namespace qor {

// A value that may be missing. Unlike std::optional, an unset Optional has a default-constructed T,
// so value() is always valid.
template <class T>
class Optional {
public:
    using value_type = T;

    Optional() = default;
    Optional(const T& value) : value_(value), set_(true) {}
    Optional(T&& value) noexcept(noexcept(T(std::move(value))))
        : value_(std::move(value)), set_(true) {}

    // Sets the value. Assigning {} resets it.
    template <class U>
    requires(std::is_assignable_v<T&, U> &&
             !std::same_as<std::remove_cvref_t<U>, Optional>) Optional&
    operator=(U&& value) {
        value_ = std::forward<U>(value);
        set_ = true;
        return *this;
    }

    bool isSet() const noexcept { return set_; }
    explicit operator bool() const noexcept { return set_; }

    const T& value() const noexcept { return value_; }
    // The value if it is set, otherwise `other`.
    T valueOr(T other) const { return set_ ? value_ : std::move(other); }
    const T& operator*() const noexcept { return value_; }
    const T* operator->() const noexcept { return &value_; }

    void reset() {
        value_ = T();
        set_ = false;
    }

    friend bool operator==(const Optional& left, const Optional& right) {
        return left.set_ == right.set_ && (!left.set_ || left.value_ == right.value_);
    }

private:
    T value_ = T();
    bool set_ = false;
};

}  // namespace qor

// Exists if T has a hash.
template <class T>
requires std::is_default_constructible_v<std::hash<T>>
struct std::hash<qor::Optional<T>> {
    std::size_t operator()(const qor::Optional<T>& optional) const {
        return optional ? std::hash<T>()(*optional) : 0;
    }
};

#endif  // QOR_UTIL_OPTIONAL_H
