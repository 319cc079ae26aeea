#include "platform/socket.h"

#include <fcntl.h>
#include <netinet/in.h>
#include <netinet/tcp.h>
#include <poll.h>
#include <sys/resource.h>
#include <sys/socket.h>
#include <sys/uio.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <climits>
#include <cstring>

#include "nuv_guard.h"
#include "platform/uninterrupted.h"

namespace qor::platform {

namespace {

using Clock = std::chrono::steady_clock;

// Maximum number of bytes per system call.
constexpr std::size_t kMostAtOnce = 1UL << 30;
constexpr std::size_t kOnePiece = 2048;

// The unsent rest of the two parts.
class Parts {
public:
    Parts(const void* head, std::size_t headSize, const void* body, std::size_t bodySize) noexcept
        : parts_{{const_cast<void*>(head), headSize}, {const_cast<void*>(body), bodySize}},
          left_(headSize + bodySize) {}

    std::size_t left() const noexcept { return left_; }
    ssize_t send(int socket, int flags) const noexcept {
        if (parts_[1].iov_len == 0)
            return ::send(socket, parts_[0].iov_base, parts_[0].iov_len, flags);
        iovec now[2] = {parts_[0], parts_[1]};
        now[1].iov_len = std::min(now[1].iov_len, kMostAtOnce);
        msghdr message{};
        message.msg_iov = now[0].iov_len != 0 ? now : now + 1;
        message.msg_iovlen = now[0].iov_len != 0 ? 2 : 1;
        return sendmsg(socket, &message, flags);
    }
    void skip(std::size_t bytes) noexcept {
        left_ -= bytes;
        for (iovec& part : parts_) {
            const std::size_t here = std::min(bytes, part.iov_len);
            part.iov_base = static_cast<char*>(part.iov_base) + here;
            part.iov_len -= here;
            bytes -= here;
        }
    }

private:
    iovec parts_[2];
    std::size_t left_;
};

// Returns 1, 0 on timeout, or -1 with the reason in errno.
int waitFor(int socket, short events, int milliseconds) noexcept {
    const nuv_uncancelled whole;
    pollfd waiting{socket, events, 0};
    return poll(&waiting, 1, milliseconds);
}

// Returns 0, ETIME on timeout, or another error number.
int waitUntil(int socket, short events, Clock::time_point end) noexcept {
    for (;;) {
        const auto left = std::chrono::ceil<std::chrono::milliseconds>(end - Clock::now()).count();
        if (left <= 0) return ETIME;
        const int ready =
            waitFor(socket, events, static_cast<int>(std::min<long long>(left, INT_MAX)));
        if (ready > 0) return 0;
        if (ready == -1 && errno != EINTR) return errno;
    }
}

Transfer sendParts(int socket, Parts parts, int seconds) noexcept {
    const nuv_uncancelled whole;
    const std::size_t all = parts.left();
    const int flags = MSG_NOSIGNAL | (seconds < 0 ? 0 : MSG_DONTWAIT);
    // The clock is read only when the socket is not ready.
    Clock::time_point end{};
    while (parts.left() != 0) {
        const ssize_t n = parts.send(socket, flags);
        if (n == 0) break;
        if (n > 0) {
            parts.skip(static_cast<std::size_t>(n));
            continue;
        }
        int error = errno;
        if (error == EAGAIN && seconds >= 0) {
            if (end == Clock::time_point()) end = Clock::now() + std::chrono::seconds(seconds);
            error = waitUntil(socket, POLLOUT, end);
        }
        if (error != 0 && error != EINTR) return {all - parts.left(), error};
    }
    return {all - parts.left(), 0};
}

}  // namespace

int checkPeer(int socket) noexcept {
    sockaddr_storage peer;
    socklen_t size = sizeof peer;
    return getpeername(socket, reinterpret_cast<sockaddr*>(&peer), &size) == 0 ? 0 : errno;
}

Transfer sendAll(int socket, const void* head, std::size_t headSize, const void* body,
                 std::size_t bodySize, int seconds) noexcept {
    // Sending one copied piece is faster than sending two.
    char piece[kOnePiece];
    if (bodySize != 0 && headSize + bodySize <= sizeof piece) {
        std::memcpy(piece, head, headSize);
        std::memcpy(piece + headSize, body, bodySize);
        return sendParts(socket, Parts(piece, headSize + bodySize, nullptr, 0), seconds);
    }
    return sendParts(socket, Parts(head, headSize, body, bodySize), seconds);
}

Transfer receiveAll(int socket, void* buffer, std::size_t size) noexcept {
    const nuv_uncancelled whole;
    std::size_t done = 0;
    while (done != size) {
        const ssize_t n = recv(socket, static_cast<char*>(buffer) + done,
                               std::min(size - done, kMostAtOnce), MSG_WAITALL);
        if (n == 0) break;
        if (n > 0) {
            done += static_cast<std::size_t>(n);
        } else if (errno != EINTR) {
            return {done, errno};
        }
    }
    return {done, 0};
}

int waitReadable(int socket, int milliseconds) noexcept {
    const int ready = waitFor(socket, POLLIN, milliseconds);
    return ready == -1 && errno == EINTR ? 0 : ready;
}

int waitReadable(int socket, Clock::time_point end) noexcept {
    return waitUntil(socket, POLLIN, end);
}

int waitWritable(int socket, Clock::time_point end) noexcept {
    return waitUntil(socket, POLLOUT, end);
}

void makeRoomForDescriptors(int socket, int number) noexcept {
    rlimit limit{};
    if (getrlimit(RLIMIT_NOFILE, &limit) != 0) return;
    const auto last = std::min<rlim_t>(limit.rlim_cur, static_cast<rlim_t>(number)) - 1;
    const int copy = fcntl(socket, F_DUPFD_CLOEXEC, static_cast<int>(last));
    if (copy != -1) closeSocket(copy);
}

int acceptClient(int listener) noexcept {
    return uninterrupted([&] { return accept4(listener, nullptr, nullptr, SOCK_CLOEXEC); });
}

bool isOfOneConnection(int acceptError) noexcept {
    return acceptError == ECONNABORTED || acceptError == EPROTO || acceptError == EAGAIN;
}

void sendAtOnce(int socket) noexcept {
    const int on = 1;
    setsockopt(socket, IPPROTO_TCP, TCP_NODELAY, &on, sizeof on);
}

void shutdownSocket(int socket) noexcept {
    shutdown(socket, SHUT_RDWR);
}

void closeSocket(int socket) noexcept {
    const nuv_uncancelled whole;
    close(socket);
}

}  // namespace qor::platform
