// qor-ping: measures round trips to a host.

#include <arpa/inet.h>
#include <netdb.h>
#include <netinet/in.h>
#include <poll.h>

#include <algorithm>
#include <cerrno>
#include <cmath>
#include <csignal>
#include <cstdio>
#include <ctime>
#include <optional>

#include "common/failure.h"
#include "common/options.h"
#include "common/output.h"
#include "common/run.h"
#include "ping/statistics.h"
#include "qor/base/base_type_time.h"
#include "qor/icmp/icmp_ping.h"

namespace {

using namespace tools;

constexpr const char* kTool = "qor-ping";

volatile std::sig_atomic_t isStopped = 0;

// A second signal, also of the other kind, ends the program at once.
void stop(int) {
    isStopped = 1;
    ::signal(SIGINT, SIG_DFL);
    ::signal(SIGTERM, SIG_DFL);
}

// The IPv4 address of a host. It is resolved once, so that a round trip does not include a query of
// a name server.
std::string resolve(const std::string& host) {
    addrinfo hints{};
    hints.ai_family = AF_INET;
    hints.ai_socktype = SOCK_DGRAM;
    addrinfo* found = nullptr;
    const int error = ::getaddrinfo(host.c_str(), nullptr, &hints, &found);
    if (error != 0) throw Failure(host + ": " + ::gai_strerror(error));
    sockaddr_in address{};
    std::copy_n(reinterpret_cast<const char*>(found->ai_addr), sizeof address,
                reinterpret_cast<char*>(&address));
    ::freeaddrinfo(found);
    char text[INET_ADDRSTRLEN] = "";
    ::inet_ntop(AF_INET, &address.sin_addr, text, sizeof text);
    return text;
}

// Waits for a time, or until a signal arrives. The signals are blocked except in ppoll, which they
// interrupt: one that arrives just before it is not missed.
void wait(double seconds) {
    const double whole = std::floor(seconds);
    const timespec pause = {static_cast<std::time_t>(whole),
                            static_cast<long>((seconds - whole) * 1e9)};
    sigset_t ends;
    sigset_t before;
    ::sigemptyset(&ends);
    ::sigaddset(&ends, SIGINT);
    ::sigaddset(&ends, SIGTERM);
    ::pthread_sigmask(SIG_BLOCK, &ends, &before);
    if (isStopped == 0) ::ppoll(nullptr, 0, &pause, &before);
    ::pthread_sigmask(SIG_SETMASK, &before, nullptr);
}

int ping(const std::vector<std::string>& arguments) {
    std::optional<unsigned long> count;
    unsigned long timeout = 1;
    double interval = 1;
    bool quiet = false;
    Options line(
        kTool, "[OPTION]... HOST",
        "Sends ICMP echoes over IPv4 to a host and measures the time to their replies.",
        {{'c', "count", "N", "the number of requests; by default without an end",
          [&](std::string_view text) { count = parseCount("count", text, 1000000000); }},
         {'i', "interval", "SECONDS", "between a reply and the next request; default 1",
          [&](std::string_view text) { interval = parseSeconds("interval", text, 86400); }},
         {'W', "timeout", "SECONDS", "whole seconds to wait for a reply; default 1",
          [&](std::string_view text) { timeout = parseCount("timeout", text, 3600); }},
         {'q', "quiet", nullptr, "only the summary at the end",
          [&](std::string_view) { quiet = true; }}},
        "\nThe exit status is 0 if there was a reply, 1 if there was none, and 2 after a mistake\n"
        "in the command line. The process needs the right to send echoes: root, CAP_NET_RAW, or\n"
        "a group in the range of /proc/sys/net/ipv4/ping_group_range.\n");
    const std::vector<std::string> hosts = line.parse(arguments);
    Output out = Output::standard(ColorMode::Never);
    if (!line.answer().empty()) {
        out.raw(line.answer()).flush();
        return kSuccess;
    }
    if (hosts.size() != 1) throw UsageError(hosts.empty() ? "no host given" : "one host at a time");
    const std::string address = resolve(hosts[0]);
    qor::Ping echo;
    if (!echo.open()) throw Failure("no right to send echoes, see --help");

    struct sigaction action {};
    action.sa_handler = stop;
    ::sigaction(SIGINT, &action, nullptr);
    ::sigaction(SIGTERM, &action, nullptr);
    PingStatistics statistics;
    while (isStopped == 0 && (!count || statistics.sentCount() < *count)) {
        if (statistics.sentCount() != 0) wait(interval);
        if (isStopped != 0) break;
        statistics.sent();
        const qor::Time begin = qor::Time::now(qor::Time::Monotonic);
        const bool replied = echo.sendAndWait(address, nullptr, static_cast<long>(timeout));
        const double cost = (qor::Time::now(qor::Time::Monotonic) - begin).toMilliSecondsDouble();
        if (replied) statistics.received(cost);
        if (quiet) continue;
        char text[64];
        if (replied) {
            std::snprintf(text, sizeof text, ": reply %lu after %.3f ms\n", statistics.sentCount(),
                          cost);
        } else {
            std::snprintf(text, sizeof text, ": no reply %lu\n", statistics.sentCount());
        }
        out.put(Role::Plain, address).raw(text).flush();
    }
    echo.close();
    out.put(Role::Plain, hosts[0]).raw(": " + statistics.text()).flush();
    return statistics.receivedCount() != 0 ? kSuccess : kFailure;
}

}  // namespace

int main(int argc, char** argv) {
    return run(kTool, argc, argv, ping);
}
