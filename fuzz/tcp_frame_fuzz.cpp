// TcpServer: a client sends any bytes in any portions, and closes or resets the connection. The
// callback gets the complete frames in order, no part of an incomplete one, and onClosed once.

#include <arpa/inet.h>
#include <sys/socket.h>
#include <unistd.h>

#include <algorithm>
#include <cstring>
#include <string>
#include <vector>

#include "qor/mt/monitor.h"
#include "qor/tcp/tcp_server.h"
#include "require.h"

namespace {

using namespace qor;

class Receiver : public TcpCallback {
public:
    void onReceive(const TcpAddr&, const istr& payload) override {
        const Monitor::Lock lock(monitor_);
        frames_.emplace_back(payload.data(), payload.size());
        monitor_.notify();
    }
    void onClosed(const TcpAddr&) override {
        const Monitor::Lock lock(monitor_);
        closed_ = true;
        monitor_.notify();
    }
    void waitForFrame() {
        const Monitor::Lock lock(monitor_);
        while (frames_.empty())
            monitor_.wait();
    }
    // Waits for the end of the connection.
    std::vector<std::string> frames() {
        const Monitor::Lock lock(monitor_);
        while (!closed_)
            monitor_.wait();
        closed_ = false;
        return std::exchange(frames_, {});
    }

private:
    Monitor monitor_;
    std::vector<std::string> frames_;
    bool closed_ = false;
};

// Never destroyed: all inputs use the same server and callback.
struct Service {
    Service() {
        constexpr int kSocketBuffer = 65536;
        require(server.open(TcpAddr(0, "127.0.0.1"), receiver, kSocketBuffer));
    }
    TcpServer server;
    Handle<Receiver> receiver{new Receiver};
};

int connectTo(unsigned short port) {
    const int socket = ::socket(AF_INET, SOCK_STREAM, 0);
    sockaddr_in to{};
    to.sin_family = AF_INET;
    to.sin_port = htons(port);
    to.sin_addr.s_addr = htonl(INADDR_LOOPBACK);
    require(::connect(socket, reinterpret_cast<const sockaddr*>(&to), sizeof to) == 0);
    return socket;
}

void sendTo(int socket, const std::string& bytes) {
    require(::send(socket, bytes.data(), bytes.size(), MSG_NOSIGNAL) ==
            static_cast<ssize_t>(bytes.size()));
}

// The payloads of the complete frames in the input. Reduces the lengths in the input, so that more
// frames are complete.
std::vector<std::string> split(std::string& stream, bool bounded) {
    constexpr std::size_t kHeader = 4;
    constexpr std::uint32_t kBound = 1024;
    std::vector<std::string> frames;
    for (std::size_t at = 0; stream.size() - at >= kHeader;) {
        std::uint32_t length = 0;
        std::memcpy(&length, stream.data() + at, kHeader);
        length = ntohl(length) % (bounded ? kBound : 64 * kBound * kBound);
        const std::uint32_t stored = htonl(length);
        std::memcpy(stream.data() + at, &stored, kHeader);
        at += kHeader;
        if (stream.size() - at < length) break;
        frames.push_back(stream.substr(at, length));
        at += length;
    }
    return frames;
}

}  // namespace

// The leak sanitizer looks for a running thread by its system number, also among those that have
// ended. When the system uses the numbers again, it takes the memory of running threads for lost.
// So it is off after a number of connections.
static unsigned connections = 0;
extern "C" int __lsan_is_turned_off() {
    constexpr unsigned kMost = 5000;
    return connections > kMost;
}

// The first byte selects the limit for lengths, the second one the kind of end, and the third one
// the size of the portions.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 3) return 0;
    static Service& service = *new Service;
    std::string stream(data + 3, data + size);
    std::vector<std::string> expected = split(stream, data[0] % 4 != 0);
    expected.insert(expected.begin(), std::string());
    const bool reset = data[1] % 4 == 0;
    const std::size_t portion = 1 + data[2];

    // The server reports no connection that was reset before it was accepted.
    ++connections;
    const int socket = connectTo(service.server.getLocalPort());
    sendTo(socket, std::string(4, '\0'));
    service.receiver->waitForFrame();
    for (std::size_t at = 0; at < stream.size();) {
        const std::size_t count = std::min(portion, stream.size() - at);
        sendTo(socket, stream.substr(at, count));
        at += count;
    }
    const linger now{reset, 0};
    ::setsockopt(socket, SOL_SOCKET, SO_LINGER, &now, sizeof now);
    ::close(socket);
    const std::vector<std::string> frames = service.receiver->frames();
    // A reset discards unread data.
    require(frames.size() <= expected.size() &&
            std::equal(frames.begin(), frames.end(), expected.begin()));
    require(reset || frames.size() == expected.size());
    return 0;
}
