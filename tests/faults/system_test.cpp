#include <net/if.h>
#include <sys/ioctl.h>

#include "support/small_disk.h"
#include "support/test.h"
#include "tcp/network.h"

// The system refuses: a disk without room, no descriptors, a network that is
// gone. Each fault is told, leaves nothing half-made, and is over when the system is well again.

namespace qor {
namespace {

using network::frame;
using network::until;

// A full disk.

TEST(FullDisk, IsToldByFilesAndDirectories) {
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

// Rotation in a full directory: entries are whole, and go on when there is room.
TEST(FullDisk, LetsTheLogRotate) {
    const SmallDisk disk;
    if (!disk.isThere()) GTEST_SKIP() << "no right to mount a file system";
    logger& log = logger_factory::instance("disk");
    log.open(disk.path("a.log").c_str());
    log.maxFileSize(100);
    log.maxFileCount(30);
    const std::string text(500, 'y');
    const auto fill = [&] {
        for (unsigned i = 0; i < 3000; ++i)
            writeDataLog(log, "f", 0, "", text);
    };
    fill();
    EXPECT_LT(disk.free(), 200u * 1024);
    std::error_code failure;
    for (int number = 30; number > 3; --number)
        std::filesystem::remove(disk.path("a_" + std::to_string(number) + ".log"), failure);
    writeDataLog(log, "f", 0, "", "room again");
    log.close();
    std::string all;
    for (const auto& entry : std::filesystem::directory_iterator(disk.path(""))) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string content{std::istreambuf_iterator<char>(file), {}};
        EXPECT_TRUE(content.empty() || content.ends_with("\r\n")) << entry.path();
        for (std::size_t at = 0; (at = content.find('y', at)) != std::string::npos;) {
            const std::size_t end = std::min(content.find_first_not_of('y', at), content.size());
            EXPECT_EQ(end - at, text.size()) << entry.path();
            at = end;
        }
        all += content;
    }
    EXPECT_NE(all.find("room again"), std::string::npos);
}

// No descriptors.

class Descriptors {
public:
    Descriptors() { getrlimit(RLIMIT_NOFILE, &before_); }
    ~Descriptors() { giveBack(); }
    void end() const {
        const rlimit none{3, before_.rlim_max};
        EXPECT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    }
    void giveBack() const { setrlimit(RLIMIT_NOFILE, &before_); }

private:
    rlimit before_{};
};

TEST(NoDescriptors, IsToldAndOver) {
#ifdef __SANITIZE_ADDRESS__
    GTEST_SKIP() << "the sanitizer needs descriptors of its own";
#endif
    const TempDir dir;
    logger& log = logger_factory::instance("descriptors");
    const Descriptors descriptors;
    descriptors.end();
    File file;
    EXPECT_FALSE(file.open(dir.wide(L"file"), OpenWrite | OpenCreate));
    EXPECT_EQ(errno, EMFILE);
    Directory directory;
    EXPECT_FALSE(directory.setup(dir.wide()));
    TcpClient client;
    EXPECT_FALSE(client.open(TcpAddr(1, "127.0.0.1"), Handle<TcpCallback>(), 1, network::kBuffer));
    log.open(dir.path("a.log").c_str());
    writeDataLog(log, "f", 0, "", "lost");
    descriptors.giveBack();
    EXPECT_TRUE(file.open(dir.wide(L"file"), OpenWrite | OpenCreate));
    EXPECT_TRUE(directory.setup(dir.wide()));
    TcpServer server;
    EXPECT_TRUE(server.open(TcpAddr(0, "127.0.0.1"), Handle<TcpCallback>(), network::kBuffer));
    EXPECT_TRUE(client.open(TcpAddr(server.getLocalPort(), "127.0.0.1"), Handle<TcpCallback>(), 5,
                            network::kBuffer));
    client.close();
    server.close();
    const auto isLogged = [&] {
        writeDataLog(log, "f", 0, "", "kept");
        std::ifstream lines(dir.path("a.log"));
        const std::string content{std::istreambuf_iterator<char>(lines), {}};
        return content.find("kept") != std::string::npos;
    };
    EXPECT_TRUE(until(isLogged));
    log.close();
}

// A network that is gone.

// A loopback device of the calling process alone, that can be taken down. Nothing but threads that
// the calling one starts afterwards see it.
class Loopback {
public:
    Loopback() : isOwn_(unshare(CLONE_NEWNET) == 0 && set(true)) {}
    bool isOwn() const { return isOwn_; }
    bool set(bool up) const {
        const int any = ::socket(AF_INET, SOCK_DGRAM, 0);
        ifreq device{};
        std::string("lo").copy(device.ifr_name, sizeof device.ifr_name - 1);
        device.ifr_flags = static_cast<short>(up ? IFF_UP | IFF_RUNNING : 0);
        const bool done = ioctl(any, SIOCSIFFLAGS, &device) == 0;
        ::close(any);
        return done;
    }

private:
    bool isOwn_;
};

void sendWithoutNetwork(const Loopback& loopback) {
    const Handle<network::Events> served(new network::Events), told(new network::Events);
    TcpServer server;
    TcpClient client;
    const auto connect = [&](int timeoutSeconds) {
        const TcpAddr address(server.getLocalPort(), "127.0.0.1");
        return client.open(address, told, timeoutSeconds, 4096);
    };
    ASSERT_TRUE(server.open(TcpAddr(0, "127.0.0.1"), served, 4096) && connect(5));
    ASSERT_TRUE(client.send("before", 5) && served->received(1));
    // Back in time: nobody notices.
    ASSERT_TRUE(loopback.set(false));
    EXPECT_TRUE(client.send("meanwhile", 5));
    ASSERT_TRUE(loopback.set(true));
    EXPECT_TRUE(served->received(2));
    // What fits into the system's buffers is accepted; then the timeout ends the connection.
    ASSERT_TRUE(loopback.set(false));
    const std::string large(100000, 'x');
    int sent = 0;
    while (client.send(large, 1))
        ASSERT_LT(++sent, 1000);
    EXPECT_TRUE(told->ended(1));
    EXPECT_EQ(served->closed, 0u) << "nobody has told the other end";
    client.close();
    EXPECT_FALSE(connect(1));
    server.close();
    EXPECT_EQ(served->closed, 1u);
    // All is well again with the network.
    ASSERT_TRUE(loopback.set(true));
    ASSERT_TRUE(server.open(TcpAddr(0, "127.0.0.1"), served, 4096) && connect(5));
    const unsigned frames = served->count;
    EXPECT_TRUE(client.send("after", 5) && served->received(frames + 1));
    EXPECT_TRUE(served->frames().starts_with("before|meanwhile|"));
    client.close();
    server.close();
}

// In a process of its own, whose status tells of failed expectations.
TEST(VanishedNetwork, HoldsNobodyForLonger) {
    constexpr int kNoRight = 77;
    const pid_t child = fork();
    if (child == 0) {
        const Loopback loopback;
        if (!loopback.isOwn()) _exit(kNoRight);
        sendWithoutNetwork(loopback);
        _exit(testing::Test::HasFailure() ? 1 : 0);
    }
    int status = -1;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    if (WIFEXITED(status) && WEXITSTATUS(status) == kNoRight)
        GTEST_SKIP() << "no right to a network of its own";
    EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace qor
