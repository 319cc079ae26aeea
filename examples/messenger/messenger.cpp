// An instant messenger: nbr messages in frames, with one codec for each message, a thread for each
// connection, heartbeats sent by timers, a rotated log, settings in pml, and the leak checker.
//
//     messenger serve PORT             a server, until "quit" is typed or a signal ends it
//     messenger talk HOST PORT NAME    a client; a line is sent to all, "/help" lists the commands
//     messenger demo                   a server, and a client for each user in the transcript, for
//                                      the rounds of the settings or until a signal
//     messenger soak SECONDS VISITORS  the same for SECONDS or until a signal, with visitors
//
// The arguments SETTINGS.pml and LOGFILE may follow.

#include <signal.h>

#include <algorithm>
#include <charconv>
#include <fstream>
#include <iostream>
#include <memory>
#include <set>
#include <stdexcept>
#include <system_error>

#include "messenger/client.h"
#include "messenger/crowd.h"
#include "messenger/server.h"
#include "messenger/talk.h"

namespace messenger {

struct Settings {
    explicit Settings(const std::string& path) : file(path, qor::pml::from_file(), false) {
        if (file.unit().empty()) throw std::runtime_error("no settings in " + path);
        file["heartbeat"] >> heartbeat;
        file["rounds"] >> rounds;
        file["socketBuffer"] >> socketBuffer;
    }

    qor::pml::stream file;
    unsigned long heartbeat = 5000;
    unsigned rounds = 1;
    int socketBuffer = 65536;
};

// Writes the library's logger "QOR" and the network's logger "qor" to the same file.
void openLogs(const Settings& settings, const std::string& path) {
    for (const char* const name : {"QOR", "qor"}) {
        qor::logger& logger = qor::logger_factory::instance(name);
        qor::pml::stream switches(settings.file[name]);
        logger.codec(switches);
        logger.open(qor::istr(path));
        int size = 1024, count = 4;
        settings.file["log"]["maxFileSize"] >> size;
        settings.file["log"]["maxFileCount"] >> count;
        logger.maxFileSize(size);
        logger.maxFileCount(count);
    }
}

// Waits until SIGINT or SIGTERM arrives, and returns true; or until the timeout, and returns false.
bool signalledWithin(const qor::Time& time) {
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    const timespec left{static_cast<time_t>(time.toSeconds()),
                        static_cast<long>(time.toMicroSeconds() % 1000000) * 1000};
    return sigtimedwait(&ends, nullptr, &left) > 0;
}
bool signalled() {
    return signalledWithin(qor::Time());
}

// serve

int serve(const Settings& settings, unsigned short port) {
    const auto server = qor::makeHandle<Server>("messenger::serve");
    if (!server->open(port, settings.socketBuffer)) {
        std::cerr << "messenger: cannot listen on port " << port << '\n';
        return 1;
    }
    std::cout << "listening on port " << server->port() << std::endl;
    qor::CmdLineQueue commands;
    commands.open(qor::iwstr());
    std::wstring line;
    while (!signalled()) {
        if (commands.get(line, qor::Time::milliSeconds(200)) && line == L"quit") break;
    }
    server->close();
    return 0;
}

// talk

int talk(const Settings& settings, const qor::TcpAddr& address, const qor::String& name) {
    Talk conversation(address, name, settings.heartbeat, settings.socketBuffer);
    if (!conversation.connect()) {
        std::cerr << "messenger: " << address << " does not take " << printable(name) << ": "
                  << conversation.fault() << '\n';
        return 1;
    }
    conversation.greet();
    qor::CmdLineQueue commands;
    commands.open(L"> ");
    std::wstring line;
    while (!signalled()) {
        conversation.keepConnected();
        if (commands.get(line, qor::Time::milliSeconds(200)) && !conversation.obey(line)) break;
    }
    return 0;
}

// demo

struct Line {
    qor::String from;
    qor::String to;
    qor::String text;
};

std::vector<Line> readTranscript(const std::string& path) {
    std::ifstream file(path);
    std::vector<Line> lines;
    for (std::string line; std::getline(file, line);) {
        if (line.starts_with('#')) continue;
        const qor::MultiString split(line, "|");
        const std::vector<qor::String> parts(split.list().begin(), split.list().end());
        if (parts.size() == 3) lines.push_back({parts[0], parts[1], parts[2]});
    }
    if (lines.empty()) throw std::runtime_error("no transcript in " + path);
    return lines;
}

// Sends the lines of one user, and measures the time until the server has confirmed each of them.
class Speaker : public qor::SimpleThread {
public:
    // Sends all lines `rounds` times, with a pause after each round; with 0, until it is stopped.
    Speaker(const qor::String& name, const std::vector<Line>& transcript, unsigned rounds,
            const qor::Time& pause)
        : SimpleThread(nullptr, name.c_str()),
          client_(qor::makeHandle<Client>("messenger::Speaker::Speaker",
                                          [this](const Text&) { ++received_; })),
          transcript_(transcript),
          rounds_(rounds),
          pause_(pause) {}

    Client& client() { return *client_; }
    unsigned sent() const { return sent_; }
    unsigned undelivered() const { return undelivered_; }
    unsigned received() const { return received_; }
    const std::vector<qor::Time>& roundTrips() const { return roundTrips_; }

protected:
    bool onLoop() override {
        for (const Line& line : transcript_) {
            if (line.from == name()) speak(line);
        }
        if (pause_ > qor::Time()) wait(pause_);
        return rounds_ == 0 || ++round_ < rounds_;
    }

private:
    void speak(const Line& line) {
        const qor::Time begin = qor::Time::now(qor::Time::Monotonic);
        ++sent_;
        if (client_->tell(line.to, line.text) != Delivery::Delivered) ++undelivered_;
        keep(qor::Time::now(qor::Time::Monotonic) - begin);
    }
    // Keeps only the last kKept ones, so that a long run needs no more memory than a short one.
    void keep(const qor::Time& roundTrip) {
        if (roundTrips_.size() < kKept) {
            roundTrips_.push_back(roundTrip);
        } else {
            roundTrips_[sent_ % kKept] = roundTrip;
        }
    }

    static constexpr std::size_t kKept = 10000;

    const qor::Handle<Client> client_;
    const std::vector<Line>& transcript_;
    const unsigned rounds_;
    const qor::Time pause_;
    unsigned round_ = 0;
    unsigned sent_ = 0;
    unsigned undelivered_ = 0;
    std::atomic<unsigned> received_{0};
    std::vector<qor::Time> roundTrips_;
};

struct Summary {
    unsigned sent = 0;
    unsigned received = 0;
    unsigned heartbeats = 0;
    std::vector<qor::Time> roundTrips;
};

void show(Summary& summary) {
    std::vector<qor::Time>& times = summary.roundTrips;
    std::sort(times.begin(), times.end());
    const auto at = [&](double part) {
        const double last = static_cast<double>(times.size() - 1);
        return times[static_cast<std::size_t>(last * part)].toMicroSeconds();
    };
    std::cout << "messages sent:      " << summary.sent << '\n'
              << "messages received:  " << summary.received << '\n'
              << "lost:               " << summary.sent - summary.received << '\n'
              << "heartbeats:         " << summary.heartbeats << '\n';
    if (times.empty()) return;
    std::cout << "round trip, in microseconds: half within " << at(0.5) << ", 90% within "
              << at(0.9) << ", 99% within " << at(0.99) << ", the longest " << at(1) << '\n';
}

// The server and the speakers. The destructor ends them, also after an exception.
struct Stage {
    ~Stage() {
        for (const auto& speaker : speakers)
            speaker->stop();
        for (const auto& speaker : speakers)
            speaker->client().close();
        server->close();
    }

    const qor::Handle<Server> server = qor::makeHandle<Server>("messenger::Stage");
    std::vector<qor::Handle<Speaker>> speakers;
};

// Waits until the speakers have sent all of their lines, or a signal arrives.
void awaitEnd(const std::vector<qor::Handle<Speaker>>& speakers) {
    const auto isSpeaking = [](const auto& speaker) {
        return speaker->getThreadControl().isAlive();
    };
    while (std::any_of(speakers.begin(), speakers.end(), isSpeaking)) {
        if (signalledWithin(qor::Time::milliSeconds(20))) return;
    }
}

struct Soak {
    long seconds = 0;
    std::size_t visitors = 0;
};

// Runs visitors that connect and leave, and prints the latency of their messages up to 100 times.
// Returns the number of failed visits.
unsigned watchCrowd(const Settings& settings, const qor::TcpAddr& server, const Soak& soak) {
    if (soak.visitors == 0) {
        signalledWithin(qor::Time::seconds(soak.seconds));
        return 0;
    }
    constexpr long kReports = 100;
    const auto crowd = qor::makeHandle<Crowd>("messenger::watchCrowd", server, soak.visitors,
                                              settings.heartbeat, settings.socketBuffer);
    crowd->startAndWait();
    const qor::Time begin = qor::Time::now(qor::Time::Monotonic);
    bool ended = false;
    for (long i = 1; i <= kReports && !ended; ++i) {
        const qor::Time due = begin + qor::Time::milliSeconds(soak.seconds * 1000 / kReports * i);
        const qor::Time left = due - qor::Time::now(qor::Time::Monotonic);
        ended = left > qor::Time() && signalledWithin(left);
        std::cout << "latency of visitors: " << crowd->medianMicroseconds() << std::endl;
    }
    crowd->stop();
    std::cout << "visits:             " << crowd->visits() << '\n'
              << "failed:             " << crowd->failures() << '\n';
    return crowd->failures();
}

// Runs for the time of the soak; if that is 0 seconds, for the number of rounds in the settings, of
// which 0 means without an end. A signal ends it too.
int demo(const Settings& settings, const std::string& transcriptPath, const Soak& soak) {
    const long seconds = soak.seconds;
    const std::vector<Line> transcript = readTranscript(transcriptPath);
    std::set<qor::String> names;
    for (const Line& line : transcript)
        names.insert({line.from, line.to});

    const unsigned rounds = seconds == 0 ? settings.rounds : 0;
    // The pauses leave processor time for the visitors.
    const qor::Time pause = qor::Time::milliSeconds(soak.visitors == 0 ? 0 : 50);
    Summary summary;
    unsigned failures = 0;
    std::vector<qor::Handle<Speaker>> speakers;
    {
        Stage stage;
        if (!stage.server->open(0, settings.socketBuffer))
            throw std::runtime_error("cannot listen");
        const qor::TcpAddr address(stage.server->port(), "127.0.0.1");
        for (const qor::String& name : names) {
            stage.speakers.push_back(
                qor::makeHandle<Speaker>("messenger::demo", name, transcript, rounds, pause));
            Client& client = stage.speakers.back()->client();
            if (!client.open(address, name, settings.heartbeat, settings.socketBuffer)) {
                throw std::runtime_error("no login for " + name);
            }
        }
        speakers = stage.speakers;
        std::cout << speakers.front()->client().contacts().size() << " of " << names.size()
                  << " users are connected; " << transcript.size() << " lines are sent ";
        if (seconds != 0) {
            std::cout << "for " << seconds << " seconds" << std::endl;
        } else if (rounds != 0) {
            std::cout << rounds << " times" << std::endl;
        } else {
            std::cout << "until a signal" << std::endl;
        }
        for (const auto& speaker : speakers)
            speaker->startAndWait();
        if (seconds != 0) {
            failures = watchCrowd(settings, address, soak);
        } else {
            awaitEnd(speakers);
        }
    }
    for (const auto& speaker : speakers) {
        summary.sent += speaker->sent();
        summary.received += speaker->received();
        summary.heartbeats += speaker->client().heartbeats();
        summary.roundTrips.insert(summary.roundTrips.end(), speaker->roundTrips().begin(),
                                  speaker->roundTrips().end());
    }
    show(summary);
    if (!std::cout.flush()) throw std::runtime_error("the output cannot be written");
    return summary.sent == summary.received && failures == 0 ? 0 : 1;
}

unsigned long numberOf(const char* argument, const std::string& text, unsigned long most) {
    unsigned long number = 0;
    const char* const end = text.data() + text.size();
    const auto [at, error] = std::from_chars(text.data(), end, number);
    if (error == std::errc() && at == end && number <= most) return number;
    throw std::invalid_argument(std::string(argument) + " is a number from 0 to " +
                                std::to_string(most) + ", not " + text);
}

int run(const std::vector<std::string>& arguments) {
    const std::string command = arguments.empty() ? std::string() : arguments.front();
    const std::map<std::string, std::size_t> commands = {
        {"talk", 4}, {"serve", 2}, {"soak", 3}, {"demo", 1}};
    const auto found = commands.find(command);
    const std::size_t own = found != commands.end() ? found->second : 0;
    if (own == 0 || arguments.size() < own || arguments.size() > own + 2) {
        std::cerr << "usage: messenger serve PORT | talk HOST PORT NAME | demo |\n"
                     "       messenger soak SECONDS VISITORS\n"
                     "       each may be followed by: [SETTINGS.pml [LOGFILE]]\n";
        return 2;
    }
    const std::string data = MESSENGER_DATA;
    const Settings settings(arguments.size() > own ? arguments[own] : data + "/messenger.pml");
    openLogs(settings, arguments.size() > own + 1 ? arguments[own + 1] : "messenger.log");
    if (command == "demo") return demo(settings, data + "/transcript.txt", Soak());
    if (command == "soak") {
        constexpr unsigned long kMostSeconds = 1'000'000, kMostVisitors = 10'000;
        const unsigned long seconds = numberOf("SECONDS", arguments[1], kMostSeconds);
        const Soak soak{std::max(static_cast<long>(seconds), 1L),
                        numberOf("VISITORS", arguments[2], kMostVisitors)};
        return demo(settings, data + "/transcript.txt", soak);
    }
    const auto port =
        static_cast<unsigned short>(numberOf("PORT", arguments[own == 2 ? 1 : 2], 65535));
    if (command == "serve") return serve(settings, port);
    return talk(settings, qor::TcpAddr(port, arguments[1]), arguments[3]);
}

// The checker writes its report to the log, which therefore must be open until this returns.
int runChecked(const std::vector<std::string>& arguments) {
    const qor::MemLeakChecker::Helper watch;
    int status = 1;
    try {
        status = run(arguments);
    } catch (const std::exception& e) {
        std::cerr << "messenger: " << e.what() << '\n';
    }
    const std::size_t leaks = qor::MemLeakChecker::instance()->size();
    if (status == 2) return status;
    std::cout << "leaks:              " << leaks << std::endl;
    return leaks == 0 ? status : 1;
}

}  // namespace messenger

int main(int argc, char** argv) {
    // Blocked here, before any thread starts: threads inherit this, and signalledWithin waits for
    // these signals.
    sigset_t ends;
    sigemptyset(&ends);
    sigaddset(&ends, SIGINT);
    sigaddset(&ends, SIGTERM);
    pthread_sigmask(SIG_BLOCK, &ends, nullptr);
    qor::console::setOn(true);
    const qor::InitFini library("messenger", false, 1000);
    return messenger::runChecked({argv + 1, argv + argc});
}
