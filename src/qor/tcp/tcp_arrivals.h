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

// An accepted client, which owns its socket until it is taken; or the error of a failed accept.
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

// Takes the clients of one listener off the system's queue as they come, and keeps them until the
// acceptor's thread takes them, which starts their connections. The system's queue is short and a
// start takes a millisecond, so threads of their own accept. They wait for nothing but clients:
// memory and room for descriptors are there before the first one comes. There are two of them,
// since one alone may have to wait for the processor that other threads keep.
class TcpArrivals : noncopyable {
public:
    // The listener does not block. It is shut down before the stop, and closed after it.
    TcpArrivals(const String& name, ACE_SOCK_Acceptor& listener);

    // Raises if there are no threads to be had.
    void start();
    // Waits for the threads, if there are any.
    void stop();

    // Waits for the next one. False if the time has passed, or after an end.
    bool take(Arrival& next, const Time& timeout);
    // Closes those that wait, and all that come from now on. Any thread may call it.
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
    std::size_t next_ = 0;  // of those, the first that was not taken
    bool ended_ = false;
};

}  // namespace qor

#endif  // QOR_SRC_TCP_TCP_ARRIVALS_H
