#ifndef QOR_BASE_TRI_BOOL_H
#define QOR_BASE_TRI_BOOL_H

#include <cstddef>
#include <functional>

namespace qor {

// A truth value that may be unknown, which is the default: 1 true, 0 false, -1 unknown. It compares
// with these numbers and with bool. It does not convert to bool, since unknown would count as true.
class TriBool {
public:
    constexpr TriBool() noexcept = default;
    constexpr TriBool(bool known) noexcept : value_(known ? 1 : 0) {}
    // By the sign.
    constexpr TriBool(int value) noexcept : value_(value > 0 ? 1 : value < 0 ? -1 : 0) {}

    constexpr int value() const noexcept { return value_; }
    constexpr bool isTrue() const noexcept { return value_ == 1; }
    constexpr bool isFalse() const noexcept { return value_ == 0; }
    constexpr bool isUnknown() const noexcept { return value_ == -1; }

    friend constexpr bool operator==(TriBool, TriBool) noexcept = default;

private:
    int value_ = -1;
};

}  // namespace qor

template <>
struct std::hash<qor::TriBool> {
    std::size_t operator()(qor::TriBool answer) const noexcept {
        return std::hash<int>()(answer.value());
    }
};

#endif  // QOR_BASE_TRI_BOOL_H
