#ifndef QOR_EXAMPLES_MESSENGER_SERVER_H
#define QOR_EXAMPLES_MESSENGER_SERVER_H

#include <map>

#include "messenger/protocol.h"

namespace messenger {

// Holds the list of users, and passes on their texts. Each client is served on the thread of its
// connection. If a client sends a frame that is no message, the decoder raises, which closes the
// connection.
class Server : public qor::TcpCallback {
public:
    bool open(unsigned short port, int socketBuffer) {
        return tcp_.open(qor::TcpAddr(port, "127.0.0.1"), this, socketBuffer);
    }
    void close() {
        closing_ = true;
        tcp_.close();
    }
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
                // An unknown kind, of a newer client, is ignored.
                return;
        }
    }
    void onClosed(const qor::TcpAddr& peer) override {
        qor::Handle<Session> session;
        qor::String name;
        {
            const qor::Guard guard(mutex_);
            const auto found = sessions_.find(peer);
            if (found == sessions_.end()) return;
            session = found->second;
            name = session->name;
            byName_.erase(name);
            sessions_.erase(found);
        }
        // The client counts as connected until onClosed returns. After that, TcpServer::send would
        // send a frame for it to all other clients.
        session->outbox.close();
        if (!name.empty() && !closing_) announce(name, false);
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
        if (!session) session = qor::makeHandle<Session>("messenger::Server::sessionOf", peer);
        return session;
    }
    qor::Handle<Session> sessionOfName(const qor::String& name) const {
        const qor::Guard guard(mutex_);
        const auto found = byName_.find(name);
        return found == byName_.end() ? qor::Handle<Session>() : found->second;
    }

    std::vector<qor::Handle<Session>> allBut(const qor::String& name) const {
        const qor::Guard guard(mutex_);
        std::vector<qor::Handle<Session>> others;
        for (const auto& [other, session] : byName_) {
            if (other != name) others.push_back(session);
        }
        return others;
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
            reply.reason = enter(session, request.body.name);
        }
        reply.accepted = reply.reason.empty();
        send(session, Message(request.number, reply));
        if (reply.accepted) announce(request.body.name, true);
    }
    // Returns an empty text, or the reason why the name is refused. Call it with the mutex locked.
    qor::String enter(Session& session, const qor::String& name) {
        if (!session.name.empty()) return "this connection has a name";
        const qor::String fault = nameFault(name);
        if (!fault.empty()) return fault;
        if (!byName_.try_emplace(name, &session).second) return "somebody has this name";
        session.name = name;
        session.since = qor::Time::now();
        return {};
    }

    void announce(const qor::String& name, bool here) {
        const qor::Time now = qor::Time::now();
        for (const auto& other : allBut(name))
            send(*other, Message(0, Presence{other->name, name, here, now}));
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

    void pass(Session& session, Message<Text> text) {
        {
            const qor::Guard guard(mutex_);
            text.body.from = session.name;
        }
        text.body.sent = qor::Time::now();
        text.body.toAll = text.body.to.empty();
        const qor::Ulong number = text.number;
        logMessage("messenger::Server::pass", "text", text);
        TextReply reply;
        if (!text.body.from.empty()) reply.delivered = deliver(std::move(text));
        send(session, Message(number, reply));
    }
    bool deliver(Message<Text> text) {
        if (!text.body.toAll) {
            const qor::Handle<Session> recipient = sessionOfName(text.body.to);
            return recipient && send(*recipient, text);
        }
        bool delivered = false;
        for (const auto& other : allBut(text.body.from)) {
            text.body.to = other->name;
            delivered |= send(*other, text);
        }
        return delivered;
    }

    qor::TcpServer tcp_;
    qor::Mutex mutex_;  // guards both maps; never locked during a send
    std::atomic<bool> closing_{false};
    std::map<qor::TcpAddr, qor::Handle<Session>> sessions_;
    std::map<qor::String, qor::Handle<Session>> byName_;
};

}  // namespace messenger

#endif  // QOR_EXAMPLES_MESSENGER_SERVER_H
