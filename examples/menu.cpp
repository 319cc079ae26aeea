// A menu of examples, for users and for scripts:
//
//     menu                             shows the menu, and asks for a key
//     menu formats/json ciphers exit   runs the examples with these keys, and ends
//     menu all exit                    runs all examples, and ends
//
// Keys may also be piped to the standard input, one on each line.

#include <iostream>
#include <stdexcept>

#include "address_book.h"
#include "qor/qor.h"

namespace {

using qor::test::function;
using qor::test::TestCase;
using qor::test::UowTest;

Contact someone() {
    Contact contact;
    contact.id = 7;
    contact.name = "Zo\xC3\xAB";
    contact.labels = {"choir", "work"};
    return contact;
}

void say(const std::string& text) {
    std::cout << text << std::endl;
}

// formats

void throughNbr() {
    qor::nbr::CodecStream out;
    qor::nbr::encode(out, someone());
    std::cout << qor::nbr::dump_buf(out.str()) << std::endl;
}

void throughPml() {
    qor::pml::stream out;
    qor::pml::encode(out, someone());
    say(out.toPml(true));
}

void throughJson() {
    qor::json::JsonOutputStream out;
    qor::json::encode(out, someone());
    say(out.str(true, true, 0));
}

void throughXml() {
    qor::XMLStream out;
    qor::xml::encode(out, someone());
    say(out.str(true, 0));
}

void formats(TestCase& top) {
    UowTest menu("formats", &top);
    menu.add("nbr", "a contact in nbr, as a tree", function(throughNbr))
        .add("pml", "a contact in pml", function(throughPml))
        .add("json", "a contact in JSON", function(throughJson))
        .add("xml", "a contact in XML", function(throughXml));
    menu.start();
}

// the others

void ciphers() {
    const qor::String text = "a text that nobody shall read";
    qor::Bytes closed, open;
    const qor::AES aes("0123456789abcdef", "a first block...");
    aes.encrypt(qor::istr(text), closed);
    aes.decrypt(qor::istr(closed), open);
    qor::String shown;
    qor::Base64::encode(qor::istr(closed), shown, false);
    say("AES, in Base64: " + shown);
    // The decrypted text ends with the zeros that pad its last block.
    if (qor::istr(open).leftstr(text.size()) != qor::istr(text))
        throw std::runtime_error("AES lost the text");
}

// Prints each firing, and lets another thread wait for the last one.
class Ticks : public qor::ITimerObject {
public:
    qor::OnTimerResult onTimer(qor::TimerId, unsigned long, void*) override {
        say("tick");
        return {};
    }
    void onTimerRelease(qor::TimerId, unsigned long, void*) override {
        const qor::Monitor::Lock lock(monitor_);
        over_ = true;
        monitor_.notifyAll();
    }
    // After this returns, the timer service makes no more calls of this object.
    void wait() const {
        {
            const qor::Monitor::Lock lock(monitor_);
            while (!over_)
                monitor_.wait();
        }
        // onTimerRelease, which has notified, may still be running.
        qor::TimerManager::instance()->waitForReleases();
    }

private:
    qor::Monitor monitor_;
    bool over_ = false;
};

void timers() {
    Ticks ticks;
    qor::TimerId id;
    if (!qor::TimerManager::instance()->setTimer(id, "ticks", 0, 100, &ticks, 3, nullptr)) {
        throw std::runtime_error("no timer");
    }
    ticks.wait();
    say("over");
}

// Sends each payload back.
class Echo : public qor::TcpCallback {
public:
    void onReceive(const qor::TcpAddr& peer, const qor::istr& payload) override {
        server.send(peer, payload, 5);
    }
    void onClosed(const qor::TcpAddr&) override {}

    qor::TcpServer server;
};

class Listener : public qor::TcpCallback {
public:
    void onReceive(const qor::TcpAddr&, const qor::istr& payload) override {
        const qor::Monitor::Lock lock(monitor_);
        text_ = payload;
        monitor_.notifyAll();
    }
    void onClosed(const qor::TcpAddr&) override {}
    qor::String wait() const {
        const qor::Monitor::Lock lock(monitor_);
        if (text_.empty()) monitor_.wait(qor::Time::seconds(5));
        return text_;
    }

private:
    qor::Monitor monitor_;
    qor::String text_;
};

void network() {
    const auto echo = qor::makeHandle<Echo>("network");
    const auto listener = qor::makeHandle<Listener>("network");
    qor::TcpClient client;
    const bool open =
        echo->server.open(qor::TcpAddr(0, "127.0.0.1"), echo, 65536) &&
        client.open(qor::TcpAddr(echo->server.getLocalPort(), "127.0.0.1"), listener, 5, 65536) &&
        client.send("hello", 5);
    const qor::String answer = open ? listener->wait() : qor::String();
    client.close();
    echo->server.close();
    if (answer != "hello") throw std::runtime_error("no echo");
    say("a frame to a server and back: " + answer);
}

}  // namespace

int main(int argc, char** argv) {
    const qor::InitFini library("menu", false, 0);
    const qor::WideArgs args(argc, argv);
    UowTest menu(args.argc(), args.argv());
    menu.add("formats", "a type through each format", function(formats))
        .add("ciphers", "a text through AES and Base64", function(ciphers))
        .add("timers", "a timer that fires three times", function(timers))
        .add("network", "an echo over TCP", function(network));
    const int status = menu.start();
    if (std::cout) return status;
    std::cerr << "menu: the output cannot be written\n";
    return 1;
}
