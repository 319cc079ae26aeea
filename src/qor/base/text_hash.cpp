#include "base/text_hash.h"

#include <random>

namespace qor {

const TextHash::Key& TextHash::key() noexcept {
    static const Key drawn = [] {
        std::random_device device;
        const auto word = [&] { return std::uint64_t(device()) << 32 | device(); };
        return Key{word(), word() | 1};
    }();
    return drawn;
}

}  // namespace qor
