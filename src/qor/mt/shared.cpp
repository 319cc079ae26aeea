#include "qor/mt/shared.h"

#include "qor/base/mlcheck.h"

namespace qor {

Shared::~Shared() = default;

void Shared::lastRefGone() const noexcept {
    if (!markGone()) return;
    if ((marks_.load(std::memory_order_relaxed) & kOwnAllocation) == 0) {
        blockReleased(blockOf(this), __FILE__, __LINE__, "qor::Shared::__SubRef");
    }
    delete this;
}

}  // namespace qor
