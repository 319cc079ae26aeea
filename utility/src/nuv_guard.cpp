#include "nuv_guard.h"

#include <pthread.h>
#include <sys/resource.h>

#include <cerrno>
#include <ctime>

nuv_uncancelled::nuv_uncancelled() noexcept {
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, &before_);
}

nuv_uncancelled::~nuv_uncancelled() {
    pthread_setcancelstate(before_, nullptr);
}

nuv_signal_held::nuv_signal_held(int signal) noexcept {
    sigemptyset(&signal_);
    sigaddset(&signal_, signal);
    sigset_t pending;
    waiting_ = sigpending(&pending) == 0 && sigismember(&pending, signal) == 1;
    pthread_sigmask(SIG_BLOCK, &signal_, &before_);
}

nuv_signal_held::~nuv_signal_held() {
    const nuv_uncancelled whole;
    const int error = errno;
    constexpr timespec noTime = {};
    while (!waiting_ && sigtimedwait(&signal_, nullptr, &noTime) == -1 && errno == EINTR) {
    }
    pthread_sigmask(SIG_SETMASK, &before_, nullptr);
    errno = error;
}

bool nuv_size_is_limited() noexcept {
    rlimit limit;
    return getrlimit(RLIMIT_FSIZE, &limit) == 0 && limit.rlim_cur != RLIM_INFINITY;
}
