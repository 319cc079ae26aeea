#ifndef QOR_TESTS_SUPPORT_RECORDER_H
#define QOR_TESTS_SUPPORT_RECORDER_H

#include <functional>
#include <string>

#include "qor/mt/mutex.h"
#include "qor/timer/timerObject.h"

namespace support {

// A timer's object that notes what it is called for: "3" for a firing of the user's timer 3, "-3"
// for its release. It may do something meanwhile.
class Recorder : public qor::ITimerObject {
public:
    qor::OnTimerResult onTimer(qor::TimerId id, unsigned long user, void*) override {
        note(std::to_string(user));
        return onFire ? onFire(id, user) : qor::OnTimerResult();
    }
    void onTimerRelease(qor::TimerId id, unsigned long user, void*) override {
        note("-" + std::to_string(user));
        if (onRelease) onRelease(id, user);
    }
    // What was noted since the last call.
    std::string take() {
        const qor::Guard guard(mutex_);
        return std::exchange(notes_, std::string());
    }

    std::function<qor::OnTimerResult(qor::TimerId, unsigned long)> onFire;
    std::function<void(qor::TimerId, unsigned long)> onRelease;

private:
    void note(const std::string& text) {
        const qor::Guard guard(mutex_);
        if (!notes_.empty()) notes_ += ' ';
        notes_ += text;
    }

    qor::Mutex mutex_;
    std::string notes_;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_RECORDER_H
