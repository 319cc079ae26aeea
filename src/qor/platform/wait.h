#ifndef QOR_SRC_PLATFORM_WAIT_H
#define QOR_SRC_PLATFORM_WAIT_H

#include <atomic>

// Functions for threads that wait for a value in memory. They do not change errno.

namespace qor::platform {

inline constexpr long kForever = -1;

// Sleeps until wakeOne is called for the word or the time has passed (kForever: no time limit).
// Returns at once if the word does not have this value. May return without a cause.
void waitWhile(const std::atomic<int>& word, int value, long milliseconds) noexcept;
// Wakes one of the threads that sleep on the word, if any. The word may already be destroyed.
void wakeOne(const std::atomic<int>& word) noexcept;

// Returns after every other thread of the process has passed a full memory barrier. Returns false
// if the system cannot do this.
bool barrierOnAllThreads() noexcept;

// Call this in each round of a loop that waits for another processor.
inline void pause() noexcept {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_WAIT_H
