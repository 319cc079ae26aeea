#include "base/text_hash.h"

#include <chrono>
#include <exception>
#include <random>

#include "platform/first_use.h"

namespace qor {

namespace {

// Odd, so never 0.
std::uint64_t randomOdd() noexcept try {
    std::random_device device;
    return std::uint64_t(device()) << 32 | device() | 1;
} catch (const std::exception&) {
    // Without the system's random numbers, uses the time and an address, which differs from load to
    // load.
    static const char here = 0;
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    return (static_cast<std::uint64_t>(ticks) * 0x9E3779B97F4A7C15 ^
            reinterpret_cast<std::uintptr_t>(&here)) |
           1;
}

}  // namespace

TextHash::Key TextHash::key() noexcept {
    static constinit platform::FirstUse<std::uint64_t> seed, factor;
    return {seed.get(randomOdd), factor.get(randomOdd)};
}

}  // namespace qor
