#ifndef QOR_SRC_PLATFORM_WAIT_H
#define QOR_SRC_PLATFORM_WAIT_H

#include <atomic>

// How threads wait for a value in memory. Nothing here changes errno.

namespace qor::platform {

inline constexpr long kForever = -1;

// Sleeps until the word is woken or the time has passed; not at all if the word has another value.
// May return without a cause.
void waitWhile(const std::atomic<int>& word, int value, long milliseconds) noexcept;
// Wakes one of the threads that sleep on the word, if there is one. The word may have been
// destroyed.
void wakeOne(const std::atomic<int>& word) noexcept;

// Makes every other thread of the process pass a full memory barrier before this returns. False if
// the system cannot do that.
bool barrierOnAllThreads() noexcept;

// For a loop that waits for another processor.
inline void pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_WAIT_H
