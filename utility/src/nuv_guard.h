#ifndef NUV_GUARD_H
#define NUV_GUARD_H

#include <signal.h>

// While an object lives, a signal that a call of this thread raises (SIGPIPE, SIGXFSZ) has no
// effect, and the call only fails. The destructor does not change errno.
class nuv_signal_held {
public:
    explicit nuv_signal_held(int signal) noexcept;
    nuv_signal_held(const nuv_signal_held&) = delete;
    nuv_signal_held& operator=(const nuv_signal_held&) = delete;
    ~nuv_signal_held();

private:
    sigset_t signal_;
    sigset_t before_;
    bool waiting_;
};

// Whether the process has a limit for the size of files: at the limit, a write raises SIGXFSZ.
bool nuv_size_is_limited() noexcept;

#endif  // NUV_GUARD_H
