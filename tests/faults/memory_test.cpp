#include "support/recorder.h"
#include "support/test.h"
#include "tcp/network.h"

// Memory ends at the n-th allocation of an operation, for every n: nothing is lost or half-made,
// and the operation works once there is memory again.

namespace qor {
namespace {

struct Part {
    String text;
    std::vector<Ulong> numbers;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Part", "part", "", "");
        field(s, {"text", 1}, text);
        field(s, {"numbers", 2}, numbers);
        s.leave();
    }
    bool operator==(const Part& other) const {
        return text == other.text && numbers == other.numbers;
    }
};

struct Whole {
    std::wstring wide;
    std::map<String, Part> parts;
    std::list<Bytes> bytes;
    Time time;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Whole", "whole", "", "");
        field(s, {"wide", 1}, wide);
        field(s, {"parts", 2}, parts);
        field(s, {"bytes", 3}, bytes);
        field(s, {"time", 4}, time);
        s.leave();
    }
    bool operator==(const Whole& other) const {
        return wide == other.wide && parts == other.parts && bytes == other.bytes &&
               time == other.time;
    }
};

Whole example() {
    const String longText(std::string(100, 'x'));
    return {L"wide text that is not short",
            {{"one", {longText, {1, 2, 3}}}, {longText, {"two", {}}}},
            {Bytes(istr("bytes")), Bytes(istr(longText))},
            Time::seconds(1000000)};
}

// Runs the operation with its n-th allocation failing, for every n. It succeeds or raises
// std::bad_alloc, and nothing else. What it leaks is found by the leak sanitizer. Returns the
// number of failures.
unsigned long failEach(const char* name, const std::function<void()>& operation) {
    SCOPED_TRACE(name);
    unsigned long n = 0;
    for (bool failed = true; failed;) {
        const support::FailAllocations failing(++n);
        try {
            operation();
        } catch (const std::bad_alloc&) {
        }
        failed = failing.happened();
    }
    operation();
    return n - 1;
}

TEST(Memory, EndsInEachFormatOfAUserType) {
    const Whole whole = example();
    nbr::CodecStream nbrText;
    nbr::encode(nbrText, whole);
    pml::stream pmlText;
    pml::encode(pmlText, whole);
    const String pmlString = pmlText.toPml(true);
    const auto jsonOf = [&] {
        json::JsonOutputStream out;
        json::encode(out, whole);
        return out.str();
    };
    const String jsonText = jsonOf();
    const auto xmlOf = [&] {
        XMLOutStream out;
        xml::encode(out, whole);
        return out.node().str(true, 0);
    };
    const String xmlText = xmlOf();

    const std::pair<const char*, std::function<Whole()>> decoders[] = {
        {"nbr",
         [&] {
             Whole read;
             nbr::decode(nbrText.str(), read);
             return read;
         }},
        {"pml",
         [&] {
             Whole read;
             const pml::stream in(pmlString, false);
             pml::decode(in, read);
             return read;
         }},
        {"json",
         [&] {
             Whole read;
             json::decode(jsonText, read);
             return read;
         }},
        {"xml",
         [&] {
             Whole read;
             xml::decode(XMLInStream(xmlText), read);
             return read;
         }},
    };
    for (const auto& [name, decode] : decoders) {
        Whole read;
        EXPECT_GT(failEach(name, [&read, &run = decode] { read = run(); }), 0u);
        EXPECT_EQ(read, whole) << name;
    }
    const std::pair<const char*, std::function<void()>> encoders[] = {
        {"nbr",
         [&] {
             nbr::CodecStream out;
             nbr::encode(out, whole);
         }},
        {"pml",
         [&] {
             pml::stream out;
             pml::encode(out, whole);
         }},
        {"json", [&] { EXPECT_EQ(jsonOf(), jsonText); }},
        {"xml", [&] { EXPECT_EQ(xmlOf(), xmlText); }},
        {"dumper",
         [&] {
             dumper d;
             d << whole;
         }},
    };
    for (const auto& [name, encode] : encoders)
        EXPECT_GT(failEach(name, encode), 0u);
}

TEST(Memory, EndsInContainersAndTexts) {
    const std::string large(1000, 'x');
    mt::map<String, String> map;
    map.insert("old", "value");
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"map",
         [&] {
             map.insert(large, large);
             EXPECT_EQ(map.size(), 2u);
             map.erase(large);
         }},
        {"conversion", [&] { EXPECT_EQ(String(String(large).toWstring()), large); }},
        {"MultiString",
         [&] { EXPECT_EQ(MultiString(large + "," + large, ",").list().size(), 2u); }},
        {"exception",
         [&] {
             try {
                 QOR_THROW(InvalidDataException, "qor::f", large);
             } catch (const InvalidDataException& e) {
                 EXPECT_NE(String(e.msg()).find("xxx"), std::string::npos);
             }
         }},
        {"Handle",
         [] {
             struct Object : Shared {};
             const Handle<Object> object(checkedNew<Object>(__FILE__, __LINE__, "make"));
             EXPECT_TRUE(object);
         }},
    };
    for (const auto& [name, operation] : operations) {
        EXPECT_GT(failEach(name, operation), 0u);
        EXPECT_EQ(map.size(), 1u) << name;
    }
}

// What is logged without memory is dropped, and the next entry is whole.
TEST(Memory, EndsInLoggers) {
    support::LogFile file("memory");
    const std::string text(300, 'x');
    const std::function<void()> writers[] = {
        [&] { writeDataLog(file.log(), "f", 0, "TAG", text); },
        [&] { writeDebugLog(file.log(), "f", 0, "g", text); },
        [&] { writeInfoLog(file.log(), "f", 0, "a::g", text); },
        [&] { writeEntryLog(file.log(), "left", text, "right", '.'); },
        [&] { writeErrorLog(file.log(), "f", 0, "g", text); },
        [&] { writeExcptLog(file.log(), "f", 0, "g", text); },
        [&] { exceptionThrown(file.log(), "f", 0, "g", text); },
        [&] { assertFailure(file.log(), "c", "f", 0, "g", "action"); },
    };
    unsigned long failures = 0;
    for (const auto& write : writers)
        failures += failEach("writer", write);
    EXPECT_GT(failures, 0u);
    writeDataLog(file.log(), "f", 0, "TAG", "the last entry");
    EXPECT_TRUE(file.entries().ends_with("the last entry\n"));

    pml::stream switches;
    file.log().codec(switches);
    const String written = switches.toPml(true);
    EXPECT_GT(failEach("switches",
                       [&] {
                           pml::stream in(written, false);
                           file.log().codec(in);
                       }),
              0u);
    pml::stream again;
    file.log().codec(again);
    EXPECT_EQ(again.toPml(true), written);
}

// A timer is set, or false is told; either way the service goes on.
TEST(Memory, EndsInTimers) {
    support::Recorder object;
    const std::string name(100, 'n');
    EXPECT_GT(failEach("timers",
                       [&] {
                           TimerManager::destroy();
                           TimerManager& timers = *TimerManager::instance();
                           timers.open();
                           TimerId id;
                           if (!timers.setTimer(id, name, 1, 1000, &object, 1, nullptr)) return;
                           EXPECT_EQ(timers.numofTimers(), 1u);
                           timers.killTimer(id);
                           EXPECT_EQ(timers.numofTimers(), 0u);
                       }),
              0u);
    TimerManager::instance()->start();
    TimerId id;
    ASSERT_TRUE(TimerManager::instance()->setTimer(id, name, 2, 1, &object, 1, nullptr));
    EXPECT_TRUE(network::until([&] { return object.take().find("-2") != std::string::npos; }));
    TimerManager::destroy();
}

class MemoryOfConnections : public network::NetworkTest {};

// The threads that open and send.
TEST_F(MemoryOfConnections, EndsInTheCaller) {
    EXPECT_GT(failEach("open and send",
                       [&] {
                           TcpServer server;
                           TcpClient client;
                           if (server.open(TcpAddr(0, "127.0.0.1"), events, network::kBuffer)) {
                               const TcpAddr to(server.getLocalPort(), "127.0.0.1");
                               if (client.open(to, Handle<TcpCallback>(), 5, network::kBuffer))
                                   client.send("x", 5);
                           }
                           client.close();
                           server.close();
                       }),
              0u);
    TcpServer server;
    ASSERT_TRUE(server.open(TcpAddr(0, "127.0.0.1"), events, network::kBuffer));
    const network::Socket client;
    ASSERT_TRUE(client.connect(server.getLocalPort()));
    const unsigned before = events->count;
    client.write(network::frame("whole"));
    EXPECT_TRUE(events->received(before + 1));
    server.close();
}

// The connection's own thread: it ends or goes on, and others are served.
TEST_F(MemoryOfConnections, EndsInTheConnection) {
    thread_local std::optional<support::FailAllocations> failing;
    static std::atomic<unsigned long> next{0};
    static std::atomic<bool> happened{true};
    next = 0;
    struct Failing : network::Events {
        void onClosed(const TcpAddr& peer) override {
            if (failing) happened = failing->happened();
            failing.reset();
            Events::onClosed(peer);
        }
    };
    const Handle<Failing> callback(new Failing);
    TcpServer server;
    callback->receive = [&](const TcpAddr& peer, const istr& payload) {
        if (payload == "fail") failing.emplace(next);
        if (payload != "fail") server.send(peer, payload, 5);
    };
    ASSERT_TRUE(server.open(TcpAddr(0, "127.0.0.1"), callback, network::kBuffer));
    const std::string large(100000, 'x');
    while (happened) {
        ++next;
        network::Socket client;
        ASSERT_TRUE(client.connect(server.getLocalPort()));
        const unsigned ends = callback->closed;
        client.post(network::frame("fail") + network::frame(large));
        client.read(large.size() + 4);
        client.close();
        ASSERT_TRUE(callback->ended(ends + 1));
        ASSERT_LT(next, 100u);
    }
    const network::Socket client;
    ASSERT_TRUE(client.connect(server.getLocalPort()));
    client.write(network::frame("whole"));
    EXPECT_EQ(client.read(9), network::frame("whole"));
    server.close();
}

}  // namespace
}  // namespace qor
