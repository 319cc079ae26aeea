#include "platform/wait.h"

#include <linux/futex.h>
#include <linux/membarrier.h>
#include <sys/syscall.h>
#include <unistd.h>

#include <cerrno>

namespace qor::platform {

namespace {

static_assert(sizeof(std::atomic<int>) == sizeof(int));

// The time that SYS_futex reads: with 32 bits, timespec may have a larger second.
struct FutexTime {
    long seconds;
    long nanoseconds;
};

// Does not change errno.
template <class... Args>
long call(long number, Args... args) noexcept {
    const int error = errno;
    const long result = ::syscall(number, args...);
    errno = error;
    return result;
}

}  // namespace

void waitWhile(const std::atomic<int>& word, int value, long milliseconds) noexcept {
    const FutexTime time{milliseconds / 1000, milliseconds % 1000 * 1000000};
    call(SYS_futex, &word, FUTEX_WAIT_PRIVATE, value, milliseconds == kForever ? nullptr : &time,
         nullptr, 0);
}

void wakeOne(const std::atomic<int>& word) noexcept {
    call(SYS_futex, &word, FUTEX_WAKE_PRIVATE, 1, nullptr, nullptr, 0);
}

// A process must register once before its first barrier.
bool barrierOnAllThreads() noexcept {
    const auto barrier = [](int command) { return call(SYS_membarrier, command, 0, 0) == 0; };
    if (barrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED)) return true;
    return barrier(MEMBARRIER_CMD_REGISTER_PRIVATE_EXPEDITED) &&
           barrier(MEMBARRIER_CMD_PRIVATE_EXPEDITED);
}

}  // namespace qor::platform
