#ifndef QOR_SRC_TCP_TCP_ARRIVALS_H
#define QOR_SRC_TCP_TCP_ARRIVALS_H

#include <ace/SOCK_Acceptor.h>

#include <cstddef>
#include <utility>
#include <vector>

#include "platform/socket.h"
#include "qor/base/interface.h"
#include "qor/mt/handle.h"
#include "qor/mt/monitor.h"
#include "qor/mt/thread.h"

namespace qor {

// An accepted client, which owns its socket until release(); or the error of a failed accept.
class Arrival {
public:
    enum Kind { Client, AcceptFailed, WaitFailed };

    Arrival() = default;
    explicit Arrival(ACE_HANDLE handle) noexcept : handle_(handle) {}
    Arrival(Kind failure, int error) noexcept : kind_(failure), error_(error) {}
    Arrival(Arrival&& other) noexcept { *this = std::move(other); }
    Arrival& operator=(Arrival&& other) noexcept {
        std::swap(kind_, other.kind_);
        std::swap(handle_, other.handle_);
        std::swap(error_, other.error_);
        return *this;
    }
    ~Arrival() {
        if (handle_ != ACE_INVALID_HANDLE) platform::closeSocket(handle_);
    }

    Kind kind() const noexcept { return kind_; }
    int error() const noexcept { return error_; }
    ACE_HANDLE handle() const noexcept { return handle_; }
    ACE_HANDLE release() noexcept { return std::exchange(handle_, ACE_INVALID_HANDLE); }

private:
    Kind kind_ = Client;
    ACE_HANDLE handle_ = ACE_INVALID_HANDLE;
    int error_ = 0;
};

// Accepts the clients of a listener as they come, and keeps them until the acceptor's thread takes
// them and starts their connections. The system's queue is short and a start takes a millisecond,
// so separate threads accept. They wait only for clients: memory and room for descriptors are
// reserved before. There are two threads, since a single one may have to wait for a processor that
// other threads use.
class TcpArrivals : noncopyable {
public:
    // The listener must be non-blocking. Shut it down before stop(), and close it after stop().
    TcpArrivals(const String& name, ACE_SOCK_Acceptor& listener);

    // Raises if the system cannot start the threads.
    void start();
    // Waits for the threads, if they are started.
    void stop();

    // Waits for the next arrival. Returns false on timeout and after end().
    bool take(Arrival& next, const Time& timeout);
    // Closes the waiting clients, and all that arrive later. Any thread may call it.
    void end() noexcept;

private:
    class Batch;
    class Taker;
    static constexpr int kTakers = 2;

    void put(Batch& accepted);

    ACE_SOCK_Acceptor& listener_;
    Handle<SimpleThread> takers_[kTakers];
    Monitor arrived_;  // guards the rest
    std::vector<Arrival> waiting_;
    std::size_t next_ = 0;  // index of the first one that was not taken
    bool ended_ = false;
};

}  // namespace qor

#endif  // QOR_SRC_TCP_TCP_ARRIVALS_H
