#ifndef QOR_SRC_PLATFORM_UNINTERRUPTED_H
#define QOR_SRC_PLATFORM_UNINTERRUPTED_H

#include <cerrno>

#include "nuv_guard.h"

namespace qor::platform {

// Makes a system call again if a signal has interrupted it. The thread is not cancelled meanwhile.
template <class Call>
auto uninterrupted(Call call) noexcept {
    const nuv_uncancelled whole;
    for (;;) {
        const auto result = call();
        if (result != -1 || errno != EINTR) return result;
    }
}

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_UNINTERRUPTED_H
