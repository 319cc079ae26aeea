#ifndef QOR_EXAMPLES_MESSENGER_PROTOCOL_H
#define QOR_EXAMPLES_MESSENGER_PROTOCOL_H

#include <algorithm>
#include <iterator>
#include <vector>

#include "qor/qor.h"

// The messages between client and server. A message is one nbr object in one frame: its kind, the
// number of the request that it belongs to, and its body. The codec of each body lists its fields
// once, for the connection and for the log.

namespace messenger {

enum class Kind : unsigned short {
    Login = 1,
    LoginReply,
    ContactList,
    ContactListReply,
    Text,
    TextReply,
    Heartbeat,
    HeartbeatReply,
    Presence
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

// A name that is in use, or that nameFault rejects, is refused with a reason to show to the user.
struct LoginReply {
    static constexpr Kind kKind = Kind::LoginReply;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("LoginReply", "loginReply", "", "");
        field(s, {"accepted", 1}, accepted);
        field(s, {"reason", 2}, reason);
        s.leave();
    }

    qor::Bit accepted;
    qor::String reason;
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

// From a client to the user in `to`, or to all other users if `to` is empty. The server sets the
// sender and the time, and sends each recipient a copy with the recipient's name in `to`.
struct Text {
    static constexpr Kind kKind = Kind::Text;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("Text", "text", "", "");
        field(s, {"from", 1}, from);
        field(s, {"to", 2}, to);
        field(s, {"sent", 3}, sent);
        field(s, {"text", 4}, text);
        field(s, {"toAll", 5}, toAll);
        s.leave();
    }

    qor::String from;
    qor::String to;
    qor::Time sent;
    qor::String text;
    qor::Bit toAll;  // set by the server
};

// Whether at least one recipient got the text.
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

// Sent by the server without a request: a user has logged in or left. `to` is the recipient's name,
// as in Text.
struct Presence {
    static constexpr Kind kKind = Kind::Presence;
    template <class Stream>
    void codec(Stream& s) {
        s.enter("Presence", "presence", "", "");
        field(s, {"to", 1}, to);
        field(s, {"name", 2}, name);
        field(s, {"here", 3}, here);
        field(s, {"at", 4}, at);
        s.leave();
    }

    qor::String to;
    qor::String name;
    qor::Bit here;
    qor::Time at;
};

// The first two fields of every message. The kind decides how the body is decoded.
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

// These two raise nbr::DecodeException if the payload is no message.
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

// Characters that control a terminal: control characters, and those that change the direction of
// text or break the line.
inline bool isControl(char32_t c) {
    return c < 0x20 || (c >= 0x7F && c <= 0x9F) || c == 0x061C || c == 0x200E || c == 0x200F ||
           (c >= 0x2028 && c <= 0x202E) || (c >= 0x2066 && c <= 0x2069);
}
// Characters that cannot be seen, and the one that replaces malformed text.
inline bool isUnseen(char32_t c) {
    constexpr struct {
        char32_t first, last;
    } kUnseen[] = {{0xA0, 0xA0},     {0xAD, 0xAD},      {0x34F, 0x34F},   {0x115F, 0x1160},
                   {0x1680, 0x1680}, {0x17B4, 0x17B5},  {0x180B, 0x180F}, {0x2000, 0x200F},
                   {0x202F, 0x202F}, {0x205F, 0x206F},  {0x2800, 0x2800}, {0x3000, 0x3000},
                   {0x3164, 0x3164}, {0xFE00, 0xFE0F},  {0xFEFF, 0xFEFF}, {0xFFA0, 0xFFA0},
                   {0xFFFD, 0xFFFD}, {0xE0000, 0xE0FFF}};
    return std::any_of(std::begin(kUnseen), std::end(kUnseen),
                       [c](const auto& range) { return c >= range.first && c <= range.last; });
}

// Text of another user that is safe to show: each control character is replaced by U+FFFD.
inline qor::String printable(const qor::String& text) {
    qor::String whole = text;
    // The conversion would end at a zero byte.
    std::replace(whole.begin(), whole.end(), '\0', '\x1A');
    std::wstring wide = whole.toWstring();
    std::replace_if(
        wide.begin(), wide.end(), [](wchar_t c) { return isControl(static_cast<char32_t>(c)); },
        L'\xFFFD');
    return wide;
}

// Empty if the name is allowed, else the reason to show to the user. Names are shown on all
// terminals, before a colon and between blanks.
inline qor::String nameFault(const qor::String& name) {
    constexpr std::size_t kLongest = 32;
    const std::wstring wide = name.toWstring();
    const auto isUnfit = [](wchar_t c) {
        return isControl(static_cast<char32_t>(c)) || isUnseen(static_cast<char32_t>(c)) ||
               c == L' ' || c == L':';
    };
    if (name.empty()) return "a name has at least one character";
    if (wide.size() > kLongest) return "a name has at most 32 characters";
    if (wide.front() == L'/') return "a name does not begin with /";
    // A zero byte must be searched in `name`, since `wide` ends before it.
    if (name.find('\0') != std::string::npos || std::any_of(wide.begin(), wide.end(), isUnfit)) {
        return "a name has no blanks, colons or characters that can't be seen";
    }
    return {};
}

inline qor::logger& log() {
    static qor::logger& own = qor::logger_factory::instance("QOR");
    return own;
}

// Writes a message to the log if the tag "MSG.DEBUG" is on.
template <class Body>
void logMessage(const char* func, const char* what, const Message<Body>& message) {
    if (!log().debugOn() || !log().appLog("MSG.DEBUG")) return;
    qor::dumper d(true);
    d.raw(what).raw(" ") << message;
    qor::writeDebugLog(log(), __FILE__, __LINE__, func, d.str(), "MSG.DEBUG");
}

// Sends the messages of one side. It sends one message at a time, since frames that two threads
// send on one connection at the same time would be mixed. All messages share one buffer.
class Outbox {
public:
    // Calls `send` with the encoded message, and returns its result. False after close.
    template <class Body, class Send>
    bool put(const Message<Body>& message, Send send) {
        const qor::Guard guard(mutex_);
        if (closed_) return false;
        out_.bos().reset();
        qor::nbr::encode(out_, message);
        return send(out_.str());
    }
    // Waits for a running put.
    void close() {
        const qor::Guard guard(mutex_);
        closed_ = true;
    }

private:
    qor::Mutex mutex_;
    qor::nbr::CodecStream out_;
    bool closed_ = false;
};

}  // namespace messenger

#endif  // QOR_EXAMPLES_MESSENGER_PROTOCOL_H
