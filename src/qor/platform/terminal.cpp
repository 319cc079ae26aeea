#include "platform/terminal.h"

#include <fcntl.h>
#include <poll.h>
#include <stdio_ext.h>
#include <unistd.h>

#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "nuv_guard.h"
#include "platform/clock.h"

namespace qor::platform {

namespace {

bool isTraced() noexcept {
    const nuv_uncancelled whole;
    const int fd = ::open("/proc/self/status", O_RDONLY | O_CLOEXEC);
    if (fd < 0) return false;
    char text[2048];
    const ssize_t size = ::read(fd, text, sizeof text - 1);
    ::close(fd);
    if (size <= 0) return false;
    text[size] = '\0';
    constexpr char kKey[] = "TracerPid:";
    const char* const found = std::strstr(text, kKey);
    return found != nullptr && std::atoi(found + sizeof kKey - 1) != 0;
}

}  // namespace

bool inputWaiting() noexcept {
    // One read can fetch several lines. The rest is in the buffer of the C library, which poll does
    // not see.
    if (stdin->_IO_read_ptr < stdin->_IO_read_end) return true;
    const nuv_uncancelled whole;
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return ::poll(&input, 1, 0) > 0;
}

void continueInput() noexcept {
    std::clearerr(stdin);
}

void dropOutput() noexcept {
    __fpurge(stdout);
}

bool debuggerAttached() noexcept {
    static constinit AnswerOfTime traced;
    return traced.at(coarseSeconds(), isTraced);
}

}  // namespace qor::platform
