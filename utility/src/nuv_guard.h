#ifndef NUV_GUARD_H
#define NUV_GUARD_H

#include <signal.h>

// While an object lives, the calling thread is not cancelled: a cancelled thread would leave its
// locks taken and its data incomplete, and a function that is noexcept would end the process. A
// cancellation takes effect at a later call. Does not change errno.
class nuv_uncancelled {
public:
    nuv_uncancelled() noexcept;
    nuv_uncancelled(const nuv_uncancelled&) = delete;
    nuv_uncancelled& operator=(const nuv_uncancelled&) = delete;
    ~nuv_uncancelled();

private:
    int before_;
};

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
