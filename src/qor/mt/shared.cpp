#include "qor/mt/shared.h"

#include "qor/base/mlcheck.h"

namespace qor {

Shared::~Shared() = default;

void Shared::lastRefGone() const noexcept {
    // A destructor that makes and drops a Handle to its own object must not delete it twice.
    if (noDelete_.exchange(true, std::memory_order_relaxed)) return;
    blockReleased(blockOf(this), __FILE__, __LINE__, "qor::Shared::__SubRef");
    delete this;
}

}  // namespace qor
