#ifndef QOR_TESTS_SUPPORT_CHILD_H
#define QOR_TESTS_SUPPORT_CHILD_H

#include <sys/wait.h>
#include <unistd.h>

#include <atomic>
#include <cstdio>
#include <thread>

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

// The wait status of the first of many children that fails, else 0. Each child does the work, which
// returns whether it succeeded, and a thread of this process does it all the time, unless it
// allocates and no child must be forked beside that.
template <class Work>
int statusBesideThread(const Work& work, bool allocates) {
    std::atomic<bool> over{allocates && !forksBesideAllocations};
    std::thread busy([&] {
        while (!over)
            work();
    });
    int status = 0;
    for (int forks = 0; forks < 300 && status == 0; ++forks) {
        status = statusOf([&] {
            alarm(30);
            if (!work()) _exit(1);
        });
    }
    over = true;
    busy.join();
    return status;
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_CHILD_H
