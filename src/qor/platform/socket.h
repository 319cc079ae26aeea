#ifndef QOR_SRC_PLATFORM_SOCKET_H
#define QOR_SRC_PLATFORM_SOCKET_H

#include <chrono>
#include <cstddef>

// Blocking stream sockets. To end a connection, call shutdownSocket, and let the thread that reads
// from the socket close it: closing wakes no thread that is blocked in a call on the socket, and
// the system can reuse the number at once. The calling thread is not cancelled in a call.

namespace qor::platform {

// Returns 0 if the socket is connected, else an error number.
int checkPeer(int socket) noexcept;

struct Transfer {
    std::size_t bytes;  // number of bytes moved, also on failure
    int error;          // 0, ETIME on timeout, or another error number
};

// Writes the head and then the body, in one system call if they are small. A negative `seconds`
// means no time limit; 0 writes only the bytes that the system accepts without waiting. A closed
// connection is an error and raises no SIGPIPE. If fewer bytes are written without an error, the
// system accepted no more.
Transfer sendAll(int socket, const void* head, std::size_t headSize, const void* body,
                 std::size_t bodySize, int seconds) noexcept;

// Waits until `size` bytes are read. If fewer bytes are read without an error, the stream has
// ended. Only the bytes of the buffer that are read are changed.
Transfer receiveAll(int socket, void* buffer, std::size_t size) noexcept;

// Waits until there is something to read or to accept, or the socket was shut down. Returns 1, 0 on
// timeout or after a signal, or -1 with the reason in errno. Sockets above FD_SETSIZE work too.
int waitReadable(int socket, int milliseconds) noexcept;
// The same until a point in time; signals do not end the wait. Returns 0, ETIME on timeout, or
// another error number.
int waitReadable(int socket, std::chrono::steady_clock::time_point end) noexcept;
// Waits until the socket can be written, or until a pending connect has succeeded or failed.
// Returns the same values.
int waitWritable(int socket, std::chrono::steady_clock::time_point end) noexcept;

// Lets the system enlarge the table of descriptors to `number` entries now, or to the limit of the
// process if that is lower. Otherwise the system enlarges it while connections are accepted, and
// such an accept takes milliseconds.
void makeRoomForDescriptors(int socket, int number) noexcept;

// Accepts a client of a non-blocking listener. Returns its socket, which programs that are started
// meanwhile do not inherit, or -1 with the reason in errno, EWOULDBLOCK if no client waits. A
// signal is no failure.
int acceptClient(int listener) noexcept;
// Whether a failure of accept concerns only one connection, so that the next attempt can succeed at
// once.
bool isOfOneConnection(int acceptError) noexcept;

// Sends small frames at once, without waiting for the acknowledgement of earlier frames
// (TCP_NODELAY).
void sendAtOnce(int socket) noexcept;

// Ends both directions and wakes all threads that are blocked in a call on the socket.
void shutdownSocket(int socket) noexcept;
void closeSocket(int socket) noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_SOCKET_H
