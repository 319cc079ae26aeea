#include <netinet/in.h>
#include <poll.h>
#include <sys/syscall.h>

#include "support/system_function.h"
#include "support/test.h"
#include "tcp/network.h"

// The system moves fewer bytes than requested, is interrupted, or fails in the middle of a frame.

namespace {

using support::systemFunction;

// What happens to the calls of one direction on the sockets of a server's clients or connections.
struct Cut {
    std::size_t portion = 1UL << 30;  // the most bytes of one call
    int between = 0;                  // the error of every other call
    // After this number of bytes one call fails with `error`.
    long bytesBefore = 1L << 30;
    int error = ECONNRESET;
};

using Name = int(int, sockaddr*, socklen_t*);

struct Direction {
    Name* const name;  // which end of a socket is the server's
    mutable std::mutex lock{};
    std::optional<Cut> cut{};
    std::atomic<unsigned short> port{0};
    std::atomic<long> left{0};
    std::atomic<bool> failed{false};
    std::atomic<unsigned> calls{0};

    void set(const Cut& wanted, unsigned short server) {
        left = wanted.bytesBefore;
        failed = false;
        calls = 0;
        port = server;
        const std::lock_guard guard(lock);
        cut = wanted;
    }
    void end() {
        const std::lock_guard guard(lock);
        cut.reset();
    }
    // A copy, since a call may outlive the object that cuts it.
    std::optional<Cut> now() const {
        const std::lock_guard guard(lock);
        return cut;
    }
    bool concerns(int socket) const {
        sockaddr_in address{};
        socklen_t size = sizeof address;
        return name(socket, reinterpret_cast<sockaddr*>(&address), &size) == 0 &&
               ntohs(address.sin_port) == port;
    }
    // The size that the call is to move; 0 to fail with errno.
    std::size_t sizeOf(const Cut& now, std::size_t size) {
        if (now.between != 0 && ++calls % 2 == 1) return errno = now.between, 0;
        if (left <= 0 && !failed.exchange(true)) return errno = now.error, 0;
        if (!failed) size = std::min(size, static_cast<std::size_t>(left.load()));
        return std::min(size, now.portion);
    }
    // Has `call` move as much as the cut lets it.
    template <class Call>
    ssize_t move(int socket, std::size_t size, Call call) {
        const std::optional<Cut> cutNow = now();
        if (!cutNow || !concerns(socket)) return call(size);
        size = sizeOf(*cutNow, size);
        if (size == 0) return -1;
        const ssize_t n = call(size);
        if (n > 0) left -= n;
        return n;
    }
};
Direction sends{getpeername}, receives{getsockname};

// The errors of the next accepts, the last one first, while a client waits.
std::atomic<const std::vector<int>*> acceptErrors{nullptr};
std::atomic<std::size_t> errorsLeft{0};

// While it lives. Sends are those of the server's clients, receives those of its connections.
class Cutting {
public:
    Cutting(Direction& direction, const Cut& cut, unsigned short server) : direction_(direction) {
        direction_.set(cut, server);
    }
    ~Cutting() { direction_.end(); }

private:
    Direction& direction_;
};

}  // namespace

// They replace the system's functions, for the library too.
extern "C" ssize_t send(int socket, const void* data, size_t size, int flags) {
    static const auto real = systemFunction("send", &send);
    return sends.move(socket, size, [&](size_t n) { return real(socket, data, n, flags); });
}

using SendMessage = ssize_t(int, const msghdr*, int);

static ssize_t sendMessage(SendMessage* real, int socket, const msghdr* message, int flags) {
    iovec parts[2]{};
    const std::size_t count = std::min(message->msg_iovlen, std::size(parts));
    std::copy_n(message->msg_iov, count, parts);
    return sends.move(socket, parts[0].iov_len + parts[1].iov_len, [&](std::size_t n) {
        for (iovec& part : parts)
            n -= part.iov_len = std::min(part.iov_len, n);
        msghdr less = *message;
        less.msg_iov = parts;
        less.msg_iovlen = count;
        return real(socket, &less, flags);
    });
}

extern "C" ssize_t sendmsg(int socket, const msghdr* message, int flags) {
    static const auto real = systemFunction("sendmsg", &sendmsg);
    return sendMessage(real, socket, message, flags);
}

#ifdef SYS_clock_gettime64
// The one of 32-bit machines for sources whose time has 64 bits.
extern "C" ssize_t __sendmsg64(int socket, const msghdr* message, int flags) {
    static const auto real = systemFunction<SendMessage>("__sendmsg64", nullptr);
    return sendMessage(real, socket, message, flags);
}
#endif

extern "C" ssize_t recv(int socket, void* data, size_t size, int flags) {
    static const auto real = systemFunction("recv", &recv);
    return receives.move(socket, size, [&](size_t n) { return real(socket, data, n, flags); });
}

extern "C" int accept4(int socket, sockaddr* address, socklen_t* size, int flags) {
    static const auto real = systemFunction("accept4", &accept4);
    pollfd waiting{socket, POLLIN, 0};
    std::size_t left = errorsLeft;
    while (left != 0 && poll(&waiting, 1, 0) == 1) {
        if (errorsLeft.compare_exchange_weak(left, left - 1))
            return errno = (*acceptErrors)[left - 1], -1;
    }
    return real(socket, address, size, flags);
}

// Every other wait is interrupted while sends or receives are cut. A call without a timeout is not,
// as with signals.
extern "C" int poll(pollfd* sockets, nfds_t count, int milliseconds) {
    static const auto real = systemFunction("poll", &poll);
    static std::atomic<unsigned> calls{0};
    const bool interrupts = milliseconds != 0 && (sends.now() || receives.now());
    if (interrupts && ++calls % 2 == 1) return errno = EINTR, -1;
    return real(sockets, count, milliseconds);
}

namespace qor {
namespace {

using namespace network;

class CutTransfer : public ServerTest {
protected:
    void SetUp() override { open(); }
    void TearDown() override {
        client.close();
        ServerTest::TearDown();
    }
    bool connect() { return client.open(address(), clientEvents, 5, kBuffer); }

    TcpClient client;
    const Handle<Events> clientEvents{new Events};
};

TEST_F(CutTransfer, CarriesWholeFramesInAnyPortions) {
    const Cut cuts[] = {
        {.portion = 1},
        {.portion = 3},
        {.portion = 1000, .between = EINTR},
        {.portion = 5, .between = EAGAIN},
    };
    const std::string payloads[] = {"", "x", "frame", std::string(3000, 'y')};
    std::string expected;
    for (const Cut& cut : cuts) {
        // A blocking receive knows no EAGAIN.
        Cut received = cut;
        received.between = cut.between == EAGAIN ? EINTR : cut.between;
        const Cutting cutSends(sends, cut, server.getLocalPort());
        const Cutting cutReceives(receives, received, server.getLocalPort());
        ASSERT_TRUE(connect());
        for (const std::string& payload : payloads) {
            EXPECT_TRUE(client.send(payload, 5));
            expected += payload + "|";
        }
        EXPECT_TRUE(until([&] { return events->frames() == expected; }));
        client.close();
    }
}

// A frame that was begun and not sent ends the connection, since the next one would be taken for
// its rest. One that was not begun does not.
TEST_F(CutTransfer, EndsWhereASendFailsInsideAFrame) {
    std::vector<std::pair<std::string, long>> cases;
    for (long bytes = 0; bytes < 14; ++bytes)
        cases.emplace_back(std::string(10, 'p'), bytes);
    for (const long bytes : {2L, 4L, 2999L, 3003L})
        cases.emplace_back(std::string(3000, 'q'), bytes);
    unsigned ends = 0;
    for (const auto& [payload, bytes] : cases) {
        ASSERT_TRUE(connect());
        const unsigned frames = events->count;
        {
            const Cut cut{.bytesBefore = bytes};
            const Cutting cutSends(sends, cut, server.getLocalPort());
            EXPECT_FALSE(client.send(payload, 5)) << bytes;
        }
        EXPECT_EQ(client.send("next", 5), bytes == 0) << bytes;
        if (bytes != 0) {
            EXPECT_TRUE(clientEvents->ended(ends + 1)) << bytes;
        } else {
            EXPECT_TRUE(events->received(frames + 1));
        }
        client.close();
        EXPECT_EQ(clientEvents->closed, ++ends) << bytes;
        EXPECT_TRUE(events->ended(ends));
        EXPECT_EQ(events->count, frames + (bytes == 0 ? 1 : 0)) << bytes;
    }
    EXPECT_TRUE(logged("\"Connection reset by peer\" send_n failed 127.**.**.1:"));
    known();
}

// For each place in two frames: the callback gets the frames that were received whole, and no
// other.
TEST_F(CutTransfer, EndsWhereAReceiveFails) {
    const std::string first(3, 'a'), second(5, 'b');
    const long all = static_cast<long>(frame(first).size() + frame(second).size());
    std::string expected;
    for (long bytes = 0; bytes < all; ++bytes) {
        const Cut cut{.bytesBefore = bytes};
        const unsigned ends = events->closed;
        {
            const Cutting cutReceives(receives, cut, server.getLocalPort());
            ASSERT_TRUE(connect());
            client.send(first, 5);
            client.send(second, 5);
            EXPECT_TRUE(events->ended(ends + 1)) << bytes;
        }
        EXPECT_TRUE(clientEvents->ended(ends + 1)) << bytes;
        client.close();
        if (bytes >= static_cast<long>(frame(first).size())) expected += first + "|";
        EXPECT_EQ(events->frames(), expected) << bytes;
        EXPECT_EQ(events->closed, ends + 1);
        EXPECT_EQ(clientEvents->closed, ends + 1);
    }
    known();
}

// A client that has left before it is accepted, and a lack of memory in the system, are logged. The
// waiting clients are accepted afterwards.
TEST_F(CutTransfer, AcceptsAfterFailures) {
    const std::vector<int> errors{ECONNABORTED, EPROTO, ENOBUFS, EINTR, ECONNABORTED};
    acceptErrors = &errors;
    errorsLeft = errors.size();
    known();
    EXPECT_EQ(errorsLeft, 0u);
    for (const char* line : {"accept() \"Software caused connection abort\" accept()",
                             "accept() \"No buffer space available\" accept()"})
        EXPECT_TRUE(logged(line)) << line;
}

}  // namespace
}  // namespace qor
