#ifndef QOR_EXAMPLES_MESSENGER_CLIENT_H
#define QOR_EXAMPLES_MESSENGER_CLIENT_H

#include <functional>
#include <map>
#include <utility>

#include "messenger/protocol.h"

namespace messenger {

// What is known about a text after its sending. Without an answer in time, it may still arrive.
enum class Delivery { Delivered, Absent, NoAnswer };

// The connection of one user. Any thread may call ask and tell; only one thread may call open and
// close. onText and onPresence are called on the thread of the connection. Heartbeats are sent on
// the thread of the timer service.
class Client : public qor::TcpCallback, public qor::ITimerObject {
public:
    explicit Client(std::function<void(const Text&)> onText,
                    std::function<void(const Presence&)> onPresence = {})
        : onText_(std::move(onText)), onPresence_(std::move(onPresence)) {}

    // Call it only once. True if the server has accepted the name. If the server has refused it,
    // refusal() is the reason.
    bool open(const qor::TcpAddr& server, const qor::String& name, unsigned long heartbeat,
              int socketBuffer) {
        name_ = name;
        if (!tcp_.open(server, this, kSeconds, socketBuffer)) return false;
        LoginReply reply;
        if (!ask(Login{name}, reply)) return false;
        refusal_ = reply.reason;
        if (!reply.accepted) return false;
        longestSilence_ = std::max(qor::Time::seconds(30), qor::Time::milliSeconds(3) * heartbeat);
        const bool armed =
            qor::TimerManager::instance()->setTimer(timer_, name, 0, heartbeat, this, 0, nullptr);
        const qor::Monitor::Lock lock(monitor_);
        return armed_ = armed;
    }
    // After this returns, no callback of this object is called.
    void close() {
        qor::TimerManager::instance()->killTimer(timer_);
        {
            const qor::Monitor::Lock lock(monitor_);
            while (armed_)
                monitor_.wait();
        }
        // onTimerRelease, which has notified, may still be running.
        qor::TimerManager::instance()->waitForReleases();
        tcp_.close();
    }

    const qor::String& refusal() const { return refusal_; }
    // False if the connection has ended, or if the server has not answered heartbeats for too long.
    bool connected() const {
        const qor::Time silence = monotonicNow() - qor::Time::microSeconds(heard_);
        const qor::Monitor::Lock lock(monitor_);
        return !closed_ && silence < longestSilence_;
    }

    // Sends a request and waits for the reply. False if there is none; `reply` is then unchanged.
    template <class Request, class Reply>
    bool ask(Request request, Reply& reply) {
        qor::ulong32 number = 0;
        {
            const qor::Monitor::Lock lock(monitor_);
            number = ++lastNumber_;
            replies_[number];
        }
        const bool sent = send(Message(number, std::move(request)));
        std::string payload;
        {
            const qor::Monitor::Lock lock(monitor_);
            const auto mine = replies_.find(number);
            while (sent && !closed_ && mine->second.empty()) {
                if (!monitor_.wait(qor::Time::seconds(kSeconds))) break;
            }
            payload.swap(mine->second);
            replies_.erase(mine);
        }
        if (payload.empty()) return false;
        reply = read<Reply>(qor::istr(payload)).body;
        return true;
    }

    std::vector<Contact> contacts() {
        ContactListReply reply;
        ask(ContactList(), reply);
        return std::move(reply.contacts);
    }
    // Sends a text to the user `to`, or to all other users if `to` is empty. It is delivered if at
    // least one user got it.
    Delivery tell(const qor::String& to, const qor::String& text) {
        TextReply reply;
        if (!ask(Text{name_, to, qor::Time::now(), text, false}, reply)) return Delivery::NoAnswer;
        return reply.delivered ? Delivery::Delivered : Delivery::Absent;
    }

    unsigned heartbeats() const { return heartbeats_; }

    void onReceive(const qor::TcpAddr&, const qor::istr& payload) override {
        heard_ = monotonicNow().toMicroSeconds();
        const Header header = headerOf(payload);
        switch (static_cast<Kind>(static_cast<unsigned short>(header.kind))) {
            case Kind::Text:
                return receive(read<Text>(payload));
            case Kind::Presence:
                return receive(read<Presence>(payload));
            case Kind::HeartbeatReply:
                ++heartbeats_;
                return;
            default:
                return keepReply(header.number, payload);
        }
    }
    void onClosed(const qor::TcpAddr&) override {
        const qor::Monitor::Lock lock(monitor_);
        closed_ = true;
        monitor_.notifyAll();
    }

    qor::OnTimerResult onTimer(qor::TimerId, unsigned long, void*) override {
        send(Message(0, Heartbeat()));
        return {};
    }
    void onTimerRelease(qor::TimerId, unsigned long, void*) override {
        const qor::Monitor::Lock lock(monitor_);
        armed_ = false;
        monitor_.notifyAll();
    }

private:
    static constexpr int kSeconds = 10;

    template <class Body>
    bool send(const Message<Body>& message) {
        return outbox_.put(message,
                           [this](const qor::istr& frame) { return tcp_.send(frame, kSeconds); });
    }
    void receive(const Message<Text>& text) {
        if (text.body.to != name_) return;
        logMessage("messenger::Client::receive", "text", text);
        onText_(text.body);
    }
    void receive(const Message<Presence>& presence) {
        if (presence.body.to == name_ && onPresence_) onPresence_(presence.body);
    }
    void keepReply(qor::ulong32 number, const qor::istr& payload) {
        const qor::Monitor::Lock lock(monitor_);
        const auto asked = replies_.find(number);
        if (asked == replies_.end()) return;
        asked->second.assign(payload.data(), payload.size());
        monitor_.notifyAll();
    }

    static qor::Time monotonicNow() { return qor::Time::now(qor::Time::Monotonic); }

    const std::function<void(const Text&)> onText_;
    const std::function<void(const Presence&)> onPresence_;
    qor::String name_;
    qor::String refusal_;
    qor::Time longestSilence_ = qor::Time::forever();
    std::atomic<long long> heard_{0};  // time of the last message: microseconds, monotonic clock
    qor::TcpClient tcp_;
    Outbox outbox_;
    qor::TimerId timer_;
    std::atomic<unsigned> heartbeats_{0};
    qor::Monitor monitor_;  // guards all members below
    bool armed_ = false;
    bool closed_ = false;
    qor::ulong32 lastNumber_ = 0;
    // By the number of the request; the text is empty until the reply arrives.
    std::map<qor::ulong32, std::string> replies_;
};

}  // namespace messenger

#endif  // QOR_EXAMPLES_MESSENGER_CLIENT_H
