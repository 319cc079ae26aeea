#ifndef QOR_TESTS_SUPPORT_THREADS_H
#define QOR_TESTS_SUPPORT_THREADS_H

#include <thread>
#include <type_traits>
#include <vector>

namespace support {

// Calls work(0) to work(count - 1), or work() as often, each in a thread of its own, and waits for
// their ends.
template <class Work>
void inThreads(int count, const Work& work) {
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i) {
        threads.emplace_back([&work, i] {
            if constexpr (std::is_invocable_v<const Work&, int>) {
                work(i);
            } else {
                work();
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_THREADS_H
