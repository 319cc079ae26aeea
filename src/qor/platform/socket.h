#ifndef QOR_SRC_PLATFORM_SOCKET_H
#define QOR_SRC_PLATFORM_SOCKET_H

#include <chrono>
#include <cstddef>

// Blocking stream sockets. Closing one does not wake a thread that is blocked in it, and its number
// can be reused at once. So end a connection by shutdown, and let the thread that reads it close
// it.

namespace qor::platform {

// Whether the socket has another end: 0 or an error number.
int checkPeer(int socket) noexcept;

struct Transfer {
    std::size_t bytes;  // moved, also before a failure
    int error;          // 0 or an error number; ETIME when the time had passed
};

// Writes the head and then the body, in one system call if they are small. A negative number of
// seconds means no limit, and 0 writes only the bytes that the system takes at once. A closed peer
// is an error and sends no signal. Fewer bytes without an error: the system took no more.
Transfer sendAll(int socket, const void* head, std::size_t headSize, const void* body,
                 std::size_t bodySize, int seconds) noexcept;

// Waits until all bytes are there. Fewer without an error: the stream has ended. No byte of the
// buffer is touched before it has arrived.
Transfer receiveAll(int socket, void* buffer, std::size_t size) noexcept;

// Whether there is something to read or to accept, or the socket was shut down: 1, or 0 if the time
// has passed or a signal came, or -1 with the number in errno. Sockets may have any number.
int waitReadable(int socket, int milliseconds) noexcept;
// The same until a point in time, whatever signals come. 0, ETIME or another error number.
int waitReadable(int socket, std::chrono::steady_clock::time_point end) noexcept;
// Waits until the socket can be written, which is also when a pending connect has succeeded or
// failed.
int waitWritable(int socket, std::chrono::steady_clock::time_point end) noexcept;

// Makes room for that many descriptors, as far as the process may have them. Without it the system
// makes room as they come, and each time an accept then takes milliseconds.
void makeRoomForDescriptors(int socket, int number) noexcept;

// Whether a failure to accept was that of one connection. If it was not, the next attempt fails
// too, until something has changed.
bool isOfOneConnection(int acceptError) noexcept;

// Sends small frames at once, without waiting for the acknowledgement of earlier ones.
void sendAtOnce(int socket) noexcept;

// Ends both directions and wakes all threads that are blocked in the socket, or listen to it.
void shutdownSocket(int socket) noexcept;
void closeSocket(int socket) noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_SOCKET_H
