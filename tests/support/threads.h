#ifndef QOR_TESTS_SUPPORT_THREADS_H
#define QOR_TESTS_SUPPORT_THREADS_H

#include <atomic>
#include <functional>
#include <thread>
#include <type_traits>
#include <vector>

#include "qor/mt/mutex.h"
#include "qor/mt/thread.h"

namespace support {

// Calls work(0) to work(count - 1), or work() as often, each in a thread of its own, and waits for
// their ends.
template <class Work>
void inThreads(int count, const Work& work) {
    const auto call = [&work]([[maybe_unused]] int i) {
        if constexpr (std::is_invocable_v<const Work&, int>) {
            work(i);
        } else {
            work();
        }
    };
    std::vector<std::thread> threads;
    for (int i = 0; i < count; ++i)
        threads.emplace_back(call, i);
    for (std::thread& thread : threads)
        thread.join();
}

// A thread that runs these functions, and records its birth and its death. Set them before the
// start. A pass begins every millisecond, and at each notification.
class Worker : public qor::SimpleThread {
public:
    explicit Worker(qor::ThreadOwner* owner = nullptr, const char* name = "worker")
        : SimpleThread(owner, name) {}
    ~Worker() override { destroyed(); }

    qor::String calls() const {
        const qor::Guard guard(mutex_);
        return calls_;
    }

    std::function<bool()> birth = [] { return true; };
    std::function<bool()> work = [] { return true; };
    std::function<void()> stopping = [] {};
    std::function<void()> destroyed = [] {};
    std::atomic<int> stops{0};

protected:
    bool onBirth() override { return record("birth "), birth(); }
    bool onWait() override { return wait(qor::Time::milliSeconds(1)), true; }
    bool onLoop() override { return work(); }
    void onDeath() override { record("death "); }
    void onStop() override { ++stops, stopping(); }

private:
    void record(const char* call) {
        const qor::Guard guard(mutex_);
        calls_ += call;
    }

    const qor::Mutex mutex_;
    qor::String calls_;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_THREADS_H
