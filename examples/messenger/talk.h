#ifndef QOR_EXAMPLES_MESSENGER_TALK_H
#define QOR_EXAMPLES_MESSENGER_TALK_H

#include <unistd.h>

#include <cstdlib>
#include <functional>
#include <string>

#include "messenger/client.h"

namespace messenger {

// Shows the lines of a conversation on the console. Any thread may use it. Received text is shown
// without control characters, so that no user can control the terminal of another user.
class Screen {
public:
    // "12:34:56 Ann: hello", or for a text to one user "12:34:56 Ann to Bob: hello".
    void show(const Text& text) const {
        const qor::String to = text.toAll ? qor::String() : " to " + colouredName(text.to);
        line(text.sent, colouredName(text.from) + to + ": " + printable(text.text));
    }
    void show(const Presence& presence) const {
        const char* const event = presence.here ? " is here" : " has left";
        note(presence.name + event, presence.at);
    }
    // A line of the program itself.
    void note(const qor::String& text, qor::Time at = qor::Time::now()) const {
        line(at, coloured(kDim, printable(text)));
    }

private:
    static constexpr const char* kDim = "2";

    static bool hasColours() {
        const char* const terminal = std::getenv("TERM");
        return ::isatty(STDOUT_FILENO) != 0 && std::getenv("NO_COLOR") == nullptr &&
               terminal != nullptr && std::string(terminal) != "dumb";
    }
    qor::String coloured(const qor::String& colour, const qor::String& text) const {
        if (!hasColours_) return text;
        return "\x1b[" + colour + "m" + text + "\x1b[0m";
    }
    // Each name has one of six colours.
    qor::String colouredName(const qor::String& name) const {
        const std::size_t number = std::hash<qor::String>()(name) % 6;
        return coloured("1;" + std::to_string(31 + number), printable(name));
    }
    void line(qor::Time at, const qor::String& text) const {
        constexpr std::size_t kClock = 11, kClockSize = 8;
        const qor::String clock = qor::istr(at.toDateTime()).substr(kClock, kClockSize);
        qor::console::println(coloured(kDim, clock) + " " + text);
        qor::console::flush();
    }

    const bool hasColours_ = hasColours();
};

// One user at the console: runs the lines that the user types, and connects again when the
// connection is lost.
class Talk {
public:
    Talk(const qor::TcpAddr& server, const qor::String& name, unsigned long heartbeat,
         int socketBuffer)
        : server_(server), name_(name), heartbeat_(heartbeat), socketBuffer_(socketBuffer) {}
    ~Talk() {
        if (client_) client_->close();
    }

    // False if the server cannot be reached or refuses the name; fault() is then the reason.
    bool connect() {
        if (client_) client_->close();
        client_ = qor::makeHandle<Client>(
            "messenger::Talk::connect", [this](const Text& text) { screen_.show(text); },
            [this](const Presence& presence) { screen_.show(presence); });
        if (!client_->open(server_, name_, heartbeat_, socketBuffer_)) {
            const qor::String& refusal = client_->refusal();
            fault_ = refusal.empty() ? qor::String("there is no answer") : refusal;
            isConnected_ = false;
            return false;
        }
        isConnected_ = true;
        return true;
    }
    const qor::String& fault() const { return fault_; }
    void greet() {
        screen_.note("connected as " + name_ + "; here: " + namesHere());
        screen_.note("a line goes to everybody; /help shows what else there is");
    }

    // Call this several times a second: if the connection is lost, it tries to connect once a
    // second.
    void keepConnected() {
        if (isConnected_ && client_->connected()) return;
        const qor::Time now = qor::Time::now(qor::Time::Monotonic);
        if (isConnected_) {
            isConnected_ = false;
            screen_.note("the connection is lost; trying again every second");
        } else if (now < nextTry_) {
            return;
        }
        const qor::String before = fault_;
        if (connect()) {
            fault_.clear();
            screen_.note("connected again; here: " + namesHere());
        } else if (fault_ != before) {
            screen_.note("not connected: " + fault_);
        }
        nextTry_ = qor::Time::now(qor::Time::Monotonic) + qor::Time::seconds(1);
    }

    // Runs a line that the user has typed. False if the user wants to end.
    bool obey(const qor::String& line) {
        const std::size_t colon = line.find(": ");
        if (line == "/quit" || line == "quit") return false;
        if (line == "/help") {
            help();
        } else if (line == "/list" || line == "list") {
            list();
        } else if (line.starts_with("/to ")) {
            sendToOne(line.substr(4));
        } else if (line.starts_with("/")) {
            screen_.note(line + " is no command; /help shows them all");
        } else if (colon != std::string::npos && nameFault(line.substr(0, colon)).empty()) {
            tell(line.substr(0, colon), line.substr(colon + 2));
        } else {
            tell({}, line);
        }
        return true;
    }

private:
    void help() const {
        for (const char* const text :
             {"TEXT            to everybody", "/to NAME TEXT   to one person; also: NAME: TEXT",
              "/list           who is here, and since when", "/quit           ends",
              "/help           this"}) {
            screen_.note(text);
        }
    }
    void list() {
        if (!isConnected_) return screen_.note("not connected");
        for (const Contact& contact : client_->contacts())
            screen_.note(contact.name + ", since " + contact.since.toDateTime());
    }
    qor::String namesHere() {
        qor::String names;
        for (const Contact& contact : client_->contacts())
            names += (names.empty() ? "" : ", ") + contact.name;
        return names;
    }
    void sendToOne(const qor::String& nameAndText) {
        const std::size_t blank = nameAndText.find(' ');
        if (blank == std::string::npos) return screen_.note("/to NAME TEXT");
        tell(nameAndText.substr(0, blank), nameAndText.substr(blank + 1));
    }
    void tell(const qor::String& to, const qor::String& text) {
        if (!isConnected_) return screen_.note("not connected; not sent: " + text);
        switch (client_->tell(to, text)) {
            case Delivery::Delivered:
                return screen_.show(Text{name_, to, qor::Time::now(), text, to.empty()});
            case Delivery::Absent:
                return screen_.note(to.empty() ? qor::String("nobody else is here")
                                               : "not delivered: " + to + " is not here");
            case Delivery::NoAnswer:
                return screen_.note("no answer; it may still arrive");
        }
    }

    const qor::TcpAddr server_;
    const qor::String name_;
    const unsigned long heartbeat_;
    const int socketBuffer_;
    const Screen screen_;
    qor::Handle<Client> client_;
    bool isConnected_ = false;
    qor::String fault_;  // of the last attempt to connect
    qor::Time nextTry_;
};

}  // namespace messenger

#endif  // QOR_EXAMPLES_MESSENGER_TALK_H
