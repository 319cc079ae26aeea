#include "base/text_hash.h"

#include <chrono>
#include <exception>
#include <random>

namespace qor {

namespace {

std::uint64_t random64() noexcept try {
    std::random_device device;
    return std::uint64_t(device()) << 32 | device();
} catch (const std::exception&) {
    // Without the system's random numbers, uses the time and an address, which differs from load to
    // load.
    static const char here = 0;
    const auto ticks = std::chrono::steady_clock::now().time_since_epoch().count();
    return static_cast<std::uint64_t>(ticks) * 0x9E3779B97F4A7C15 ^
           reinterpret_cast<std::uintptr_t>(&here);
}

}  // namespace

const TextHash::Key& TextHash::key() noexcept {
    static const Key drawn = {random64(), random64() | 1};
    return drawn;
}

}  // namespace qor
