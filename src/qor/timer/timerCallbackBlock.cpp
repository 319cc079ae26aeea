#include "qor/timer/timerCallbackBlock.h"

#include "log/own_log.h"
#include "qor/base/library.h"

namespace qor {

bool TimerCallbackBlock::exec() const {
    switch (eventType_) {
        case FIRED:
            if (!System::closing()) block_->onTimer();
            return true;
        case RELEASED:
            if (!System::closing()) block_->onTimerRelease();
            return false;
    }
    own_log::error("qor::TimerCallbackBlock::exec",
                   [] { return "unknown timer callback event type"; });
    return false;
}

}  // namespace qor
