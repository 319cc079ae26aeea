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

// A thread that does the work again and again, until the object is destroyed; none if the work
// allocates and no child must be forked beside that. The start of the thread, which allocates too,
// is over when the constructor returns.
class Busy {
public:
    template <class Work>
    explicit Busy(Work work, bool allocates = true) {
        if (allocates && !forksBesideAllocations) return;
        thread_ = std::thread([this, work]() mutable {
            begun_ = true;
            begun_.notify_one();
            while (!over_)
                work();
        });
        begun_.wait(false);
    }
    ~Busy() {
        over_ = true;
        if (thread_.joinable()) thread_.join();
    }

private:
    std::atomic<bool> begun_{false}, over_{false};
    std::thread thread_;
};

// The wait status of the first of many children that fails, else 0. Each child does the work, which
// returns whether it succeeded, and a Busy thread of this process does it all the time.
template <class Work>
int statusBesideThread(const Work& work, bool allocates) {
    const Busy busy(work, allocates);
    int status = 0;
    for (int forks = 0; forks < 300 && status == 0; ++forks) {
        status = statusOf([&] {
            alarm(30);
            if (!work()) _exit(1);
        });
    }
    return status;
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_CHILD_H
