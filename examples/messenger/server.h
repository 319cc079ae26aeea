#ifndef QOR_EXAMPLES_MESSENGER_SERVER_H
#define QOR_EXAMPLES_MESSENGER_SERVER_H

#include <map>

#include "messenger/protocol.h"

namespace messenger {

// Knows who is there, and passes texts on. Each client is served on its connection's own thread; a
// client that says what is no message loses its connection, as the decoder raises.
class Server : public qor::TcpCallback {
public:
    bool open(unsigned short port, int socketBuffer) {
        return tcp_.open(qor::TcpAddr(port, "127.0.0.1"), this, socketBuffer);
    }
    void close() { tcp_.close(); }
    unsigned short port() const { return tcp_.getLocalPort(); }

    void onReceive(const qor::TcpAddr& peer, const qor::istr& payload) override {
        const qor::Handle<Session> session = sessionOf(peer);
        const Header header = headerOf(payload);
        switch (static_cast<Kind>(static_cast<unsigned short>(header.kind))) {
            case Kind::Login:
                return login(*session, read<Login>(payload));
            case Kind::ContactList:
                return contactList(*session, header.number);
            case Kind::Text:
                return pass(*session, read<Text>(payload));
            case Kind::Heartbeat:
                return static_cast<void>(send(*session, Message(header.number, HeartbeatReply())));
            default:
                // A kind that a newer client knows.
                return;
        }
    }
    void onClosed(const qor::TcpAddr& peer) override {
        const qor::Guard guard(mutex_);
        const auto found = sessions_.find(peer);
        if (found == sessions_.end()) return;
        byName_.erase(found->second->name);
        sessions_.erase(found);
    }

private:
    struct Session : qor::Shared {
        explicit Session(const qor::TcpAddr& address) : peer(address) {}

        const qor::TcpAddr peer;
        qor::String name;  // empty before the login; guarded by the server's mutex
        qor::Time since;
        Outbox outbox;
    };

    static constexpr int kSendSeconds = 5;

    qor::Handle<Session> sessionOf(const qor::TcpAddr& peer) {
        const qor::Guard guard(mutex_);
        qor::Handle<Session>& session = sessions_[peer];
        if (!session) {
            session = qor::checkedNew<Session>(__FILE__, __LINE__, "Server::sessionOf", peer);
        }
        return session;
    }
    qor::Handle<Session> sessionOfName(const qor::String& name) const {
        const qor::Guard guard(mutex_);
        const auto found = byName_.find(name);
        return found == byName_.end() ? qor::Handle<Session>() : found->second;
    }

    template <class Body>
    bool send(Session& session, const Message<Body>& message) {
        return session.outbox.put(message, [&](const qor::istr& frame) {
            return tcp_.send(session.peer, frame, kSendSeconds);
        });
    }

    void login(Session& session, const Message<Login>& request) {
        logMessage("messenger::Server::login", "request", request);
        LoginReply reply;
        {
            const qor::Guard guard(mutex_);
            const qor::String& name = request.body.name;
            const bool fresh = session.name.empty() && !name.empty();
            reply.accepted = fresh && byName_.try_emplace(name, &session).second;
            if (reply.accepted) {
                session.name = name;
                session.since = qor::Time::now();
            }
        }
        send(session, Message(request.number, reply));
    }

    void contactList(Session& session, unsigned long number) {
        ContactListReply reply;
        {
            const qor::Guard guard(mutex_);
            for (const auto& [name, there] : byName_)
                reply.contacts.push_back({name, there->since});
        }
        send(session, Message(number, reply));
    }

    // A frame to a client that has just gone reaches all others; so clients look whether a text is
    // for them.
    void pass(Session& session, Message<Text> text) {
        {
            const qor::Guard guard(mutex_);
            text.body.from = session.name;
        }
        logMessage("messenger::Server::pass", "text", text);
        const qor::Handle<Session> recipient = sessionOfName(text.body.to);
        TextReply reply;
        reply.delivered = recipient && !text.body.from.empty() && send(*recipient, text);
        send(session, Message(text.number, reply));
    }

    qor::TcpServer tcp_;
    qor::Mutex mutex_;  // guards both maps; never held while something is sent
    std::map<qor::TcpAddr, qor::Handle<Session>> sessions_;
    std::map<qor::String, qor::Handle<Session>> byName_;
};

}  // namespace messenger

#endif  // QOR_EXAMPLES_MESSENGER_SERVER_H
