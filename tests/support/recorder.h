#ifndef QOR_TESTS_SUPPORT_RECORDER_H
#define QOR_TESTS_SUPPORT_RECORDER_H

#include <functional>
#include <string>
#include <utility>

#include "qor/mt/mutex.h"
#include "qor/timer/timerObject.h"

namespace support {

// A timer's object that records its calls: "3" for a firing of the user's timer 3, "-3" for its
// release. Then it calls onFire or onRelease.
class Recorder : public qor::ITimerObject {
public:
    qor::OnTimerResult onTimer(qor::TimerId id, unsigned long user, void*) override {
        record(std::to_string(user));
        return onFire ? onFire(id, user) : qor::OnTimerResult();
    }
    void onTimerRelease(qor::TimerId id, unsigned long user, void*) override {
        record("-" + std::to_string(user));
        if (onRelease) onRelease(id, user);
    }
    // What was recorded since the last call.
    std::string take() {
        const qor::Guard guard(mutex_);
        return std::exchange(record_, std::string());
    }

    std::function<qor::OnTimerResult(qor::TimerId, unsigned long)> onFire;
    std::function<void(qor::TimerId, unsigned long)> onRelease;

private:
    void record(const std::string& text) {
        const qor::Guard guard(mutex_);
        if (!record_.empty()) record_ += ' ';
        record_ += text;
    }

    qor::Mutex mutex_;
    std::string record_;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_RECORDER_H
