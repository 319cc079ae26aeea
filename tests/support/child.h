#ifndef QOR_TESTS_SUPPORT_CHILD_H
#define QOR_TESTS_SUPPORT_CHILD_H

#include <sys/wait.h>
#include <unistd.h>

#include <cstdio>

#include "support/machine.h"

namespace support {

// The wait status of a child process that does the work, and exits with 0 unless the work exits.
template <class Work>
int statusOf(const Work& work) {
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0) {
        work();
        _exit(0);
    }
    int status = -1;
    return waitpid(child, &status, 0) == child ? status : -1;
}

// Whether a child can allocate that was forked while another thread allocated. The address
// sanitizer's allocator may leave it with a lock that is never released.
inline constexpr bool forksBesideAllocations = !kAddressSanitizer;

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_CHILD_H
