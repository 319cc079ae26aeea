#include "support/bound.h"
#include "support/recorder.h"
#include "support/test.h"
#include "tcp/network.h"

// Memory ends at the n-th allocation of an operation, for every n: nothing is half-made, and the
// operation works once there is memory again. The leak sanitizer finds what leaks.

namespace qor {
namespace {

using namespace network;

TEST(Memory, EndsInContainersAndTexts) {
    const std::string large(1000, 'x');
    const std::map<String, int> keys{{large, 1}};
    const std::vector<Contact> contacts{{large, {1, 2}}};
    const Bytes bytes(istr("x\n\xFFy"));
    const std::string dump = dumped(keys) + dumped(contacts) + dumped(bytes);
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
        {"exception",
         [&] {
             try {
                 QOR_THROW(InvalidDataException, "qor::f", large);
             } catch (const InvalidDataException& e) {
                 EXPECT_TRUE(contains(String(e.msg()), "xxx"));
             }
         }},
        {"assigned exception",
         [&] {
             Exception kept("f", 1, "g", "name", "message");
             try {
                 kept = Exception("other", 2, "h", large.c_str(), large.c_str());
                 EXPECT_EQ(kept.line(), 2u);
             } catch (const std::bad_alloc&) {
                 EXPECT_EQ(kept.name() + std::string(kept.msg()) + kept.file(), "namemessagef");
                 throw;
             }
         }},
        {"dumper",
         [&] {
             dumper d(true);
             d << keys << contacts << bytes;
             EXPECT_EQ(d.str(), dump);
         }},
        {"Handle",
         [] {
             struct Object : Shared {};
             const Handle<Object> object(checkedNew<Object>(__FILE__, __LINE__, "make"));
             EXPECT_TRUE(object);
         }},
    };
    for (const auto& [name, operation] : operations) {
        SCOPED_TRACE(name);
        EXPECT_GT(failEachAllocation(operation), 0u);
        EXPECT_EQ(map.size(), 1u);
    }
}

// An entry without memory is dropped, and the next one is whole.
TEST(Memory, EndsInLoggers) {
    LogFile file("memory");
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
        failures += failEachAllocation(write);
    EXPECT_GT(failures, 0u);
    writeDataLog(file.log(), "f", 0, "TAG", "the last entry");
    EXPECT_TRUE(file.entries().ends_with("the last entry\n"));

    pml::stream switches;
    file.log().codec(switches);
    const String written = switches.toPml(true);
    EXPECT_GT(failEachAllocation([&] {
                  pml::stream in(written, false);
                  file.log().codec(in);
              }),
              0u);
    pml::stream again;
    file.log().codec(again);
    EXPECT_EQ(again.toPml(true), written);
}

// A timer is set, or the result is false; the service keeps working.
TEST(Memory, EndsInTimers) {
    Recorder object;
    const std::string name(100, 'n');
    EXPECT_GT(failEachAllocation([&] {
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
    EXPECT_TRUE(until([&] { return object.take().find("-2") != std::string::npos; }));
    TimerManager::destroy();
}

class MemoryOfConnections : public ServerTest {};

// The threads that open and send.
TEST_F(MemoryOfConnections, EndsInTheCaller) {
    EXPECT_GT(failEachAllocation([&] {
                  TcpServer other;
                  TcpClient client;
                  if (other.open(local(), events, kBuffer) &&
                      client.open(local(other.getLocalPort()), nullptr, 5, kBuffer))
                      client.send("x", 5);
                  client.close();
                  other.close();
              }),
              0u);
    open();
    known();
}

// The connection's own thread: it ends or continues, and others are served.
TEST_F(MemoryOfConnections, EndsInTheConnection) {
    thread_local std::optional<FailAllocations> failing;
    static std::atomic<unsigned long> next{0};
    static std::atomic<bool> happened{true};
    next = 0;
    struct Failing : Events {
        void onClosed(const TcpAddr& peer) override {
            if (failing) happened = failing->happened();
            failing.reset();
            Events::onClosed(peer);
        }
    };
    const Handle<Failing> callback(new Failing);
    callback->receive = [&](const TcpAddr& peer, const istr& payload) {
        if (payload == "fail") failing.emplace(next);
        if (payload != "fail") server.send(peer, payload, 5);
    };
    ASSERT_TRUE(server.open(local(), callback, kBuffer));
    const std::string large(100000, 'x');
    while (happened) {
        ++next;
        Socket client;
        ASSERT_TRUE(client.connect(server.getLocalPort()));
        const unsigned ends = callback->closed;
        client.post(frame("fail") + frame(large));
        client.read(large.size() + 4);
        client.close();
        ASSERT_TRUE(callback->ended(ends + 1));
        ASSERT_LT(next, 100u);
    }
    const Socket client;
    ASSERT_TRUE(client.connect(server.getLocalPort()));
    client.write(frame("whole"));
    EXPECT_EQ(client.read(9), frame("whole"));
}

}  // namespace
}  // namespace qor
