#include "support/child.h"
#include "support/small_disk.h"
#include "support/terminal.h"
#include "support/test.h"
#include "support/threads.h"
#include "tcp/network.h"

// The system refuses: a disk without room, no descriptors, a network that is down. Each failure is
// reported and leaves nothing half-made; afterwards everything works again.

namespace qor {
namespace {

using namespace network;

// A full disk.

TEST(FullDisk, FailsInFilesAndDirectories) {
    const SmallDisk disk;
    if (!disk.isThere()) GTEST_SKIP() << "no right to mount a file system";
    const auto wide = [&](std::string_view name) { return String(disk.path(name)).toWstring(); };
    const std::string block(64 * 1024, 'x');
    std::uint64_t whole = 0;
    FileWriter out(wide("large"), true);
    while (out.write(istr(block)))
        whole += block.size();
    EXPECT_EQ(errno, ENOSPC);
    EXPECT_GE(whole, 512u * 1024);
    errno = 0;
    FileWriter small(wide("small"), true);
    EXPECT_FALSE(small.writeLine("x"));
    EXPECT_EQ(errno, ENOSPC);
    Directory snapshot;
    EXPECT_TRUE(snapshot.setup(wide("")));
    out.close();
    ASSERT_EQ(std::remove(disk.path("large").c_str()), 0);
    EXPECT_TRUE(small.writeLine("there is room"));
    String line;
    EXPECT_TRUE(FileReader(wide("small")).readLine(line));
    EXPECT_EQ(line, "there is room");
}

// Files may not grow. In a child process, which has the limit for itself.
TEST(LimitOfFileSizes, FailsWithoutASignal) {
    const TempDir dir;
    const auto path = [&](const char* name) { return String(dir.path(name)); };
    FileWriter file(path("file").toWstring(), true);
    const pml::ntv::Unit unit("name", "", "a long text");
    const std::pair<const char*, std::function<bool()>> writes[] = {
        {"write", [&] { return file.write("123456789012345"); }},
        {"write above", [&] { return file.write("x"); }},
        {"truncate", [&] { return file.truncate(100); }},
        {"writeTo", [&] { return Directory::writeTo(path("other").toWstring(), 100, "x"); }},
        {"pml",
         [&] { return pml::ntvToCompactPml(unit, pml::File(path("pml")), pml::ShowPattern::ALL); }},
    };
    for (const auto& [name, operation] : writes) {
        const int status = statusOf([&, &write = operation] {
            const rlimit ten{10, RLIM_INFINITY}, none{RLIM_INFINITY, RLIM_INFINITY};
            setrlimit(RLIMIT_FSIZE, &ten);
            const auto tick = [] {
                timespec now{};
                clock_gettime(CLOCK_MONOTONIC_COARSE, &now);
                return now.tv_nsec;
            };
            for (const long before = tick(); tick() == before;) {
            }
            errno = 0;
            const bool fails = !write() && errno == EFBIG;
            sigset_t pending;
            sigpending(&pending);
            setrlimit(RLIMIT_FSIZE, &none);
            _exit(!fails || sigismember(&pending, SIGXFSZ) || !file.write("y"));
        });
        EXPECT_EQ(status, 0) << name;
    }
}

// The cancellation of a thread takes effect in a sleep, or after the operation. In a child process,
// which ends itself when it is cancelled.
TEST(Cancellation, EndsOnlyTheThread) {
#ifdef _LIBCPP_VERSION
    GTEST_SKIP() << "an unwinder beside that of the system cannot end a thread";
#endif
    const TempDir dir;
    const std::wstring name = dir.wide(L"file");
    FileReadWriter file(name, true);
    ASSERT_TRUE(file.writeLine("line"));
    TcpServer server;
    TcpClient client;
    ASSERT_TRUE(server.open(local(), nullptr, kBuffer));
    ASSERT_TRUE(client.open(local(server.getLocalPort()), nullptr, 5, kBuffer));
    const Terminal terminal;
    console::setOn(true);
    String line;
    Bytes bytes(10);
    constexpr unsigned long kEndless = 1000000;
    const std::pair<const char*, std::function<void()>> calls[] = {
        {"sleep", [] { sleep(kEndless); }},
        {"Time::sleep", [] { Time::milliSeconds(kEndless).sleep(); }},
        {"reopen", [&] { file.reopen(); }},
        {"close", [&] { file.close(); }},
        {"read", [&] { file.readAll(line) && file.rewind(0) == 0 && file.readLine(line); }},
        {"write", [&] { file.write("x"); }},
        {"truncate", [&] { file.truncate(1) && file.flush(); }},
        {"filesize", [&] { File(name).filesize(); }},
        {"directory", [&] { Directory(dir.wide()); }},
        {"writeTo", [&] { Directory::writeTo(name, 0, "x"); }},
        {"readFrom", [&] { Directory::readFrom(name, 0, bytes); }},
        {"print", [] { console::println("x"), console::flush(); }},
        {"readline", [&] { console::readline(line); }},
        {"ping", [] { Ping().open(); }},
        {"send", [&] { client.send("x", 5); }},
    };
    for (const auto& [label, operation] : calls) {
        const int status = statusOf([&, &call = operation] {
            alarm(10);
            try {
                pthread_cancel(pthread_self());
                call();
                pthread_testcancel();
            } catch (...) {
                _exit(0);
            }
            _exit(1);
        });
        EXPECT_EQ(status, 0) << label;
    }
    console::setOn(false);
    console::destroy();
    client.close();
    server.close();
}

TEST(Cancellation, LetsTheOperationEnd) {
#ifdef _LIBCPP_VERSION
    GTEST_SKIP() << "an unwinder beside that of the system cannot end a thread";
#endif
    struct Screen : std::stringbuf {
        std::streamsize xsputn(const char* text, std::streamsize size) override {
            pthread_testcancel();
            return std::stringbuf::xsputn(text, size);
        }
    } screen;
    struct Child : test::UowTest {
        explicit Child(unsigned& number) : left(number) {}
        ~Child() noexcept(false) override {
            --left;
            pthread_testcancel();
        }
        unsigned& left;
    };
    unsigned children = 2;
    UnitOfWork* unit = new test::UowTest;
    for (unsigned i = 0; i < children; ++i)
        unit->children().push_back(checkedNew<Child>(__FILE__, __LINE__, "test", children));
    const Handle<Worker> worker(new Worker);
    AsyncThreadManager manager("manager");
    TcpClient client;
    const char* const arguments[] = {"program", "raise", "exit"};
    const WideArgs args(3, arguments);
    test::UowTest menu(args.argc(), args.argv());
    menu.add("raise", "", test::function([] { throw std::runtime_error("meant"); }));
    test::Context::instance().interactive(false);
    console::setOn(true);
    console::print("whole");
    const std::pair<const char*, std::function<void()>> operations[] = {
        {"startAndWait", [&] { worker->startAndWait(), manager.put(worker); }},
        {"close", [&] { manager.close(); }},
        {"flush", [] { console::flush(); }},
        {"dump",
         [] {
             dumper d(std::cout, true);
             const dumper::_Entry entry(d.beginTag(""));
         }},
        {"delete", [&] { delete unit; }},
        {"menu", [&] { menu.start(); }},
        {"open", [&] { client.open(TcpAddr(1, "localhost"), nullptr, 1, kBuffer); }},
    };
    std::streambuf* const before = std::cout.rdbuf(&screen);
    for (const auto& [label, call] : operations) {
        bool returned = false;
        std::function<void()> body = [&, &operation = call] {
            pthread_cancel(pthread_self());
            operation();
            returned = true;
            pthread_testcancel();
        };
        pthread_t thread{};
        const auto enter = [](void* data) -> void* {
            (*static_cast<std::function<void()>*>(data))();
            return nullptr;
        };
        ASSERT_EQ(pthread_create(&thread, nullptr, enter, &body), 0);
        void* result = nullptr;
        pthread_join(thread, &result);
        EXPECT_TRUE(returned) << label;
        EXPECT_EQ(result, PTHREAD_CANCELED) << label;
    }
    std::cout.rdbuf(before);
    console::setOn(false);
    console::destroy();
    test::Context::instance().interactive(true);
    EXPECT_EQ(screen.str(), "whole}failed: meant\n");
    EXPECT_EQ(children, 0u);
    EXPECT_FALSE(worker->living());
}

// No descriptors.

TEST(NoDescriptors, FailsAndWorksAfterwards) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs descriptors of its own";
#endif
    const TempDir dir;
    logger& log = logger_factory::instance("descriptors");
    File file;
    Directory directory;
    TcpClient client;
    {
        const NoDescriptors none;
        EXPECT_FALSE(file.open(dir.wide(L"file"), OpenWrite | OpenCreate));
        EXPECT_EQ(errno, EMFILE);
        EXPECT_FALSE(directory.setup(dir.wide()));
        EXPECT_FALSE(client.open(local(1), nullptr, 1, kBuffer));
        log.open(dir.path("a.log").c_str());
        writeDataLog(log, "f", 0, "", "lost");
    }
    EXPECT_TRUE(file.open(dir.wide(L"file"), OpenWrite | OpenCreate));
    EXPECT_TRUE(directory.setup(dir.wide()));
    TcpServer server;
    EXPECT_TRUE(server.open(local(), nullptr, kBuffer));
    EXPECT_TRUE(client.open(local(server.getLocalPort()), nullptr, 5, kBuffer));
    client.close();
    server.close();
    EXPECT_TRUE(until([&] {
        writeDataLog(log, "f", 0, "", "kept");
        return contentOf(dir.path("a.log")).find("kept") != std::string::npos;
    }));
    log.close();
}

// A network that is down.

void sendWithoutNetwork() {
    const Handle<Events> served(new Events), clientEvents(new Events);
    TcpServer server;
    TcpClient client;
    const auto connect = [&](int timeoutSeconds) {
        const TcpAddr address = local(server.getLocalPort());
        return client.open(address, clientEvents, timeoutSeconds, 4096);
    };
    ASSERT_TRUE(server.open(local(), served, 4096) && connect(5));
    ASSERT_TRUE(client.send("before", 5) && served->received(1));
    // It is up again before the timeout: nothing ends.
    ASSERT_TRUE(setLoopback(false));
    EXPECT_TRUE(client.send("meanwhile", 5));
    ASSERT_TRUE(setLoopback(true));
    EXPECT_TRUE(served->received(2));
    // What fits into the system's buffers is accepted; then the timeout ends the connection.
    ASSERT_TRUE(setLoopback(false));
    const std::string large(100000, 'x');
    int sent = 0;
    while (client.send(large, 1))
        ASSERT_LT(++sent, 1000);
    EXPECT_TRUE(clientEvents->ended(1));
    EXPECT_EQ(served->closed, 0u) << "nothing reached the other end";
    client.close();
    EXPECT_FALSE(connect(1));
    server.close();
    EXPECT_EQ(served->closed, 1u);
    // Everything works again with the network.
    ASSERT_TRUE(setLoopback(true));
    ASSERT_TRUE(server.open(local(), served, 4096) && connect(5));
    const unsigned frames = served->count;
    EXPECT_TRUE(client.send("after", 5) && served->received(frames + 1));
    EXPECT_TRUE(served->frames().starts_with("before|meanwhile|"));
    client.close();
    server.close();
}

TEST(VanishedNetwork, EndsConnectionsAtTheTimeout) {
    inOwnNetwork(sendWithoutNetwork);
}

}  // namespace
}  // namespace qor
