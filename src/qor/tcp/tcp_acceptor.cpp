#include "tcp/tcp_acceptor.h"

#include <ace/ACE.h>

#include <cerrno>
#include <exception>
#include <utility>

#include "log/own_log.h"
#include "mt/thread_factory.h"
#include "nuv_guard.h"
#include "platform/socket.h"
#include "qor/base/mlcheck.h"
#include "tcp/tcp_address.h"

namespace qor {

namespace {

constexpr int kBacklog = 10;
constexpr long long kWaitMilliseconds = 5000;
constexpr std::size_t kStartsAtOnce = 64;

// Whether the calling thread is in requestEnd.
thread_local bool endOnly = false;

struct EndOnly {
    EndOnly() noexcept { endOnly = true; }
    ~EndOnly() { endOnly = false; }
};

// An empty host means all addresses of this machine.
ACE_INET_Addr listeningAddress(const TcpAddr& address) {
    const nuv_uncancelled whole;
    if (address.ip.empty()) return ACE_INET_Addr(address.port, static_cast<ACE_UINT32>(INADDR_ANY));
    return tcp::toInetAddr(address);
}

// A program that is started meanwhile must not inherit the socket.
bool listenAt(const ACE_INET_Addr& address, ACE_SOCK_Acceptor& acceptor) {
    if (acceptor.ACE_SOCK::open(SOCK_STREAM | SOCK_CLOEXEC, PF_INET, 0, 1) == -1) return false;
    const int socket = acceptor.get_handle();
    const auto* const local = static_cast<const sockaddr*>(address.get_addr());
    if (bind(socket, local, static_cast<socklen_t>(address.get_size())) == 0 &&
        listen(socket, kBacklog) == 0)
        return true;
    const int error = errno;
    acceptor.close();
    errno = error;
    return false;
}

String arrivalsName(const TcpAddr& address) {
    return "tcp.arrivals." + std::to_string(address.port);
}

}  // namespace

TcpAcceptor::TcpAcceptor(const TcpAddr& address, const String& name, Handle<TcpCallback> callback,
                         int socketBufferSize)
    : SimpleThread(nullptr, name.c_str()),
      ThreadOwner(name.c_str()),
      local_(listeningAddress(address)),
      callback_(std::move(callback)),
      socketBufferSize_(socketBufferSize),
      arrivals_(arrivalsName(address), acceptor_) {
    starting_.reserve(kStartsAtOnce);
}

bool TcpAcceptor::open() {
    constexpr const char* func = "qor::TcpAcceptor::open";
    ACE::set_handle_limit(-1, 0);
    // For ACE, an unknown host would mean all addresses.
    const bool known = local_ != ACE_INET_Addr();
    if (!known || !listenAt(local_, acceptor_)) {
        net_log::error(func, known ? errno : EADDRNOTAVAIL,
                       [&] { return own_log::text("at ", local_); });
        return false;
    }
    if (acceptor_.get_local_addr(local_) == -1) {
        net_log::error(func, errno, [&] { return own_log::text("get_local_addr ", local_); });
        acceptor_.close();
        return false;
    }
    acceptor_.enable(ACE_NONBLOCK);
    listener_.open(acceptor_.get_handle());
    const auto start = [&] { return arrivals_.start(), true; };
    if (!own_log::guarded(own_log::network, func, false, start)) return false;
    localPort_ = local_.get_port_number();
    net_log::info(func, [&] { return own_log::text("start tcp acceptor at ", local_); });
    return true;
}

// living() is tested after take(): a client that arrives after the end is dropped.
bool TcpAcceptor::accept() {
    constexpr const char* func = "qor::TcpAcceptor::accept";
    while (!starting_.empty() && starting_.front()->born())
        awaitOldest();
    Arrival next;
    const Time wait = Time::milliSeconds(starting_.empty() ? kWaitMilliseconds : 0);
    if (!arrivals_.take(next, wait) || !living()) {
        if (!starting_.empty()) awaitOldest();
        return true;
    }
    switch (next.kind()) {
        case Arrival::Client:
            return own_log::guarded(own_log::network, func, true,
                                    [&] { return admit(next), true; });
        case Arrival::AcceptFailed:
            net_log::error(func, next.error(), [] { return "accept()"; });
            return true;
        case Arrival::WaitFailed:
            net_log::error(func, next.error(), [] { return "select()"; });
            return false;
    }
    return false;
}

void TcpAcceptor::admit(Arrival& client) {
    const ACE_HANDLE handle = client.handle();
    ACE_INET_Addr remote;
    ACE_SOCK_Stream stream(handle);
    const bool known = stream.get_remote_addr(remote) == 0;
    const String name = "tcp.server." + std::to_string(local_.get_port_number()) + "|" +
                        std::to_string(remote.get_port_number());
    const Handle<TcpServerImpl> connection(
        checkedNew<TcpServerImpl>(__FILE__, __LINE__, "qor::TcpAcceptor::accept", this,
                                  name.c_str(), callback_, remote, socketBufferSize_));
    connection->adopt(client.release());
    try {
        connections_.set(handle, connection);
        // Not with an empty address, which means all clients in send().
        if (known) handles_.set(connection->getPeer(), handle);
    } catch (...) {
        forget(*connection);
        throw;
    }
    net_log::info("qor::TcpAcceptor::accept",
                  [&] { return own_log::text("accepted new client = ", remote); });
    start(connection);
}

// Does not wait for the birth: a thread begins with a pause of a millisecond, and others can start
// meanwhile.
void TcpAcceptor::start(const Handle<TcpServerImpl>& connection) {
    if (starting_.size() == kStartsAtOnce) awaitOldest();
    starting_.push_back(connection);
    try {
        connection->start(tcp::kStackBytes);
    } catch (const std::exception&) {
        // The system could not start a thread; the throw was logged.
        starting_.pop_back();
        fail(connection);
    }
}

// A client may already have disconnected; this is not a failure, and its thread reports the end. A
// connection that did not open, or that was stopped before it started, is joined here, since
// perhaps no other object refers to it.
void TcpAcceptor::awaitOldest() {
    const Handle<TcpServerImpl> connection = starting_.front();
    starting_.erase(starting_.begin());
    connection->waitForBirth();
    if (living() ? connection->opened() : connection->living()) return;
    connection->join();
    fail(connection);
}

void TcpAcceptor::fail(const Handle<TcpServerImpl>& connection) {
    net_log::info("qor::TcpAcceptor::accept", [&] {
        return own_log::text("start tcp server failure ", istr(connection->fullname()));
    });
    closeServer(connection);
}

bool TcpAcceptor::send(const TcpAddr& peer, const istr& payload, int timeoutSeconds) {
    if (const Handle<TcpServerImpl> connection = find(peer))
        return connection->send(payload, timeoutSeconds);
    const auto all = snapshot();
    for (const Handle<TcpServerImpl>& connection : all)
        if (!connection->send(payload, 0)) return false;
    return !all.empty();
}

// A callback that answers its own client needs no search. Between the two look-ups, the descriptor
// may have become that of another client.
Handle<TcpServerImpl> TcpAcceptor::find(const TcpAddr& peer) const {
    TcpServerImpl* const own = ownConnection();
    if (own != nullptr && own->getPeer() == peer) return own;
    ACE_HANDLE handle = ACE_INVALID_HANDLE;
    Handle<TcpServerImpl> found;
    if (!handles_.get(peer, handle) || !connections_.get(handle, found)) return nullptr;
    return found->getPeer() == peer ? found : nullptr;
}

std::vector<Handle<TcpServerImpl>> TcpAcceptor::snapshot() const {
    return connections_.access([](const Connections::Values& connections) {
        std::vector<Handle<TcpServerImpl>> all;
        all.reserve(connections.size());
        for (const auto& [handle, connection] : connections)
            all.push_back(connection);
        return all;
    });
}

// The connection with the next descriptor, null after the last one.
Handle<TcpServerImpl> TcpAcceptor::nextAfter(ACE_HANDLE handle) const {
    return connections_.access([&](const Connections::Values& connections) {
        const auto next = connections.upper_bound(handle);
        return next != connections.end() ? next->second : Handle<TcpServerImpl>();
    });
}

TcpServerImpl* TcpAcceptor::ownConnection() const {
    auto* const current = dynamic_cast<TcpServerImpl*>(ThreadFactory::thread());
    return current != nullptr && current->belongsTo(*this) ? current : nullptr;
}

// After the end, the connection stays in the maps for close, which waits for each thread.
void TcpAcceptor::onThreadExit(Thread* thread) {
    if (living()) closeServer(dynamic_cast<TcpServerImpl*>(thread));
}

void TcpAcceptor::closeServer(const Handle<TcpServerImpl>& connection) {
    if (!connection) return;
    net_log::info("qor::TcpAcceptor::closeServer",
                  [&] { return own_log::text("remove tcp server ", connection->remote()); });
    forget(*connection);
}

// The descriptor stays open until `connection` is destroyed, so no other connection in the maps has
// the same number.
void TcpAcceptor::forget(const TcpServerImpl& connection) {
    const ACE_HANDLE handle = connection.getHandle();
    handles_.access([&](auto& handles) {
        const auto found = handles.find(connection.getPeer());
        if (found != handles.end() && found->second == handle) handles.erase(found);
    });
    connections_.erase(handle);
}

// Releases the callback last: it may own the server, which owns this listener.
void TcpAcceptor::onDeath() {
    while (!starting_.empty())
        awaitOldest();
    close();
    arrivals_.stop();
    acceptor_.set_handle(ACE_INVALID_HANDLE);
    listener_.close();
    callback_.reset();
}

// A callback must not wait for other callbacks, which may be waiting for it: the acceptor's own
// thread waits for all, at its end.
void TcpAcceptor::requestEnd() {
    const EndOnly scope;
    stopOnly();
}

void TcpAcceptor::onStop() {
    if (endOnly) {
        endAll();
    } else {
        close();
    }
}

void TcpAcceptor::endAll() {
    listener_.end();
    arrivals_.end();
    localPort_ = 0;
    Handle<TcpServerImpl> connection;
    for (ACE_HANDLE last = ACE_INVALID_HANDLE; (connection = nextAfter(last));
         last = connection->getHandle()) {
        connection->end();
    }
}

// All connections are ended before the first one is joined, so that running callbacks end in
// parallel. Needs no memory, since a connection that stayed in the maps would outlive the acceptor.
// A client that is accepted meanwhile may be missed; the acceptor's own thread calls close again at
// its end, and finds it.
void TcpAcceptor::close() {
    endAll();
    Handle<TcpServerImpl> connection;
    for (ACE_HANDLE last = ACE_INVALID_HANDLE; (connection = nextAfter(last));
         last = connection->getHandle()) {
        if (connection->mayLogStop()) {
            net_log::info("qor::TcpAcceptor::close",
                          [&] { return own_log::text("stopping ", istr(connection->fullname())); });
        }
        connection->stop();
        forget(*connection);
    }
}

}  // namespace qor
