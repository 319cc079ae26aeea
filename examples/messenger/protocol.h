#ifndef QOR_EXAMPLES_MESSENGER_PROTOCOL_H
#define QOR_EXAMPLES_MESSENGER_PROTOCOL_H

#include <vector>

#include "qor/qor.h"

// What client and server say to each other. A message is one nbr object in one frame: its kind, the
// number of the request that it belongs to, and its body. Each body says its fields once, for the
// wire and for the log.

namespace messenger {

enum class Kind : unsigned short {
    Login = 1,
    LoginReply,
    ContactList,
    ContactListReply,
    Text,
    TextReply,
    Heartbeat,
    HeartbeatReply
};

struct Login {
    static constexpr Kind kKind = Kind::Login;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("Login", "login", "", "");
        field(s, {"name", 1}, name);
        s.leave();
    }

    qor::String name;
};

// A name that somebody has is refused.
struct LoginReply {
    static constexpr Kind kKind = Kind::LoginReply;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("LoginReply", "loginReply", "", "");
        field(s, {"accepted", 1}, accepted);
        s.leave();
    }

    qor::Bit accepted;
};

struct ContactList {
    static constexpr Kind kKind = Kind::ContactList;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("ContactList", "contactList", "", "");
        s.leave();
    }
};

struct Contact {
    template <class Stream>
    void codec(Stream& s) {
        s.enter("Contact", "contact", "", "");
        field(s, {"name", 1}, name);
        field(s, {"since", 2}, since);
        s.leave();
    }

    qor::String name;
    qor::Time since;
};

struct ContactListReply {
    static constexpr Kind kKind = Kind::ContactListReply;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("ContactListReply", "contactListReply", "", "");
        field(s, {"contacts", 1}, contacts);
        s.leave();
    }

    std::vector<Contact> contacts;
};

// From a client, and to the one that it names: the server fills in who it is from.
struct Text {
    static constexpr Kind kKind = Kind::Text;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("Text", "text", "", "");
        field(s, {"from", 1}, from);
        field(s, {"to", 2}, to);
        field(s, {"sent", 3}, sent);
        field(s, {"text", 4}, text);
        s.leave();
    }

    qor::String from;
    qor::String to;
    qor::Time sent;
    qor::String text;
};

struct TextReply {
    static constexpr Kind kKind = Kind::TextReply;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("TextReply", "textReply", "", "");
        field(s, {"delivered", 1}, delivered);
        s.leave();
    }

    qor::Bit delivered;
};

struct Heartbeat {
    static constexpr Kind kKind = Kind::Heartbeat;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("Heartbeat", "heartbeat", "", "");
        s.leave();
    }
};

struct HeartbeatReply {
    static constexpr Kind kKind = Kind::HeartbeatReply;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("HeartbeatReply", "heartbeatReply", "", "");
        s.leave();
    }
};

// The kind and the number alone, for who does not know yet what comes.
struct Header {
    template <class Stream>
    void codec(Stream& s) {
        s.enter("Header", "header", "", "");
        field(s, {"kind", 1}, kind);
        field(s, {"number", 2}, number);
        s.leave();
    }

    qor::Ushort kind;
    qor::Ulong number;
};

template <class Body>
struct Message {
    Message() = default;
    Message(unsigned long n, Body content) : number(n), body(std::move(content)) {}

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Message", "message", "", "");
        field(s, {"kind", 1}, kind);
        field(s, {"number", 2}, number);
        field(s, {"body", 3}, body);
        s.leave();
    }

    qor::Ushort kind = static_cast<unsigned short>(Body::kKind);
    qor::Ulong number;
    Body body;
};

// Raise nbr::DecodeException for what is no message.
inline Header headerOf(const qor::istr& payload) {
    Header header;
    qor::nbr::decode(payload, header);
    return header;
}
template <class Body>
Message<Body> read(const qor::istr& payload) {
    Message<Body> message;
    qor::nbr::decode(payload, message);
    return message;
}

inline qor::logger& log() {
    static qor::logger& own = qor::logger_factory::instance("QOR");
    return own;
}

// A message in the log, when "MSG.DEBUG" is on.
template <class Body>
void logMessage(const char* func, const char* what, const Message<Body>& message) {
    if (!log().debugOn() || !log().appLog("MSG.DEBUG")) return;
    qor::dumper d(true);
    d.raw(what).raw(" ") << message;
    qor::writeDebugLog(log(), __FILE__, __LINE__, func, d.str(), "MSG.DEBUG");
}

// One end's way out. Frames that two threads send on one connection at once would mix, so they go
// one at a time, and share a buffer.
class Outbox {
public:
    // Calls `send` with the encoded message, and returns its result.
    template <class Body, class Send>
    bool put(const Message<Body>& message, Send send) {
        const qor::Guard guard(mutex_);
        out_.bos().reset();
        qor::nbr::encode(out_, message);
        return send(out_.str());
    }

private:
    qor::Mutex mutex_;
    qor::nbr::CodecStream out_;
};

}  // namespace messenger

#endif  // QOR_EXAMPLES_MESSENGER_PROTOCOL_H
