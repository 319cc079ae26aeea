// Sets, resets and kills reminders with typed commands. Each reminder is a timer of the library's
// timer service.
//
//     reminders
//     reminders < commands.txt
//
// "help" shows the commands. If the input is no terminal, the program ends after the last command
// as soon as there are no reminders. It runs with the leak checker; the exit status is 1 if memory
// was not released or the output cannot be written.

#include <poll.h>
#include <unistd.h>

#include <iostream>
#include <map>
#include <sstream>
#include <string>

#include "qor/qor.h"

namespace {

using qor::console;
using qor::MemLeakChecker;
using qor::OnTimerResult;
using qor::Time;
using qor::TimerId;
using qor::TimerManager;

constexpr const char* kHelp =
    "set NAME MILLISECONDS [TIMES]    a new reminder; 0 times is for ever\n"
    "reset NAME MILLISECONDS [TIMES]  another time for a reminder\n"
    "kill NAME\n"
    "list\n"
    "wait MILLISECONDS                before the next command\n"
    "prompt()  noprompt()\n"
    "quit\n";

// The reminders by name. Used by the thread of the timer service and by the main thread.
class Reminders : public qor::ITimerObject {
public:
    void obey(const std::string& line) {
        std::istringstream words(line);
        std::string command, name;
        words >> command;
        if (command == "list") return list();
        words >> name;
        unsigned long milliseconds = 0, times = 0;
        const bool timed = !!(words >> milliseconds);
        if (!(words >> times)) times = 1;
        if (command == "kill" && !name.empty()) return kill(name);
        if (command == "set" && timed) return set(name, milliseconds, times);
        if (command == "reset" && timed) return reset(name, milliseconds, times);
        console::print(kHelp);
    }
    bool empty() const {
        const qor::Monitor::Lock lock(monitor_);
        return reminders_.empty();
    }
    // After this returns, the timer service makes no more calls of this object.
    void killAll() {
        for (const auto& [number, reminder] : all())
            TimerManager::instance()->killTimer(reminder.id);
        {
            const qor::Monitor::Lock lock(monitor_);
            while (!reminders_.empty())
                monitor_.wait();
        }
        // onTimerRelease, which has notified, may still be running.
        TimerManager::instance()->waitForReleases();
    }

    OnTimerResult onTimer(TimerId, unsigned long number, void*) override {
        std::string text;
        {
            const qor::Monitor::Lock lock(monitor_);
            Reminder& reminder = reminders_[number];
            text = reminder.name + ", " + std::to_string(++reminder.fired);
        }
        console::println(text.c_str());
        return {};
    }
    void onTimerRelease(TimerId, unsigned long number, void*) override {
        std::string text;
        {
            const qor::Monitor::Lock lock(monitor_);
            text = reminders_[number].name + " is over";
            reminders_.erase(number);
            monitor_.notifyAll();
        }
        console::println(text.c_str());
    }

private:
    struct Reminder {
        std::string name;
        TimerId id;
        unsigned fired = 0;
    };
    using All = std::map<unsigned long, Reminder>;

    All all() const {
        const qor::Monitor::Lock lock(monitor_);
        return reminders_;
    }
    // An empty id if there is no reminder of this name; prints a message then.
    TimerId idOf(const std::string& name) const {
        for (const auto& [number, reminder] : all()) {
            if (reminder.name == name) return reminder.id;
        }
        console::println(("no reminder " + name).c_str());
        return TimerId();
    }

    // The timer may fire before its id is stored. So a reminder is stored under its number, which
    // the callbacks get.
    void set(const std::string& name, unsigned long milliseconds, unsigned long times) {
        const unsigned long number = next_++;
        {
            const qor::Monitor::Lock lock(monitor_);
            reminders_[number].name = name;
        }
        TimerId id;
        const bool done = TimerManager::instance()->setTimer(id, name, number, milliseconds, this,
                                                             times, nullptr);
        const qor::Monitor::Lock lock(monitor_);
        const auto found = reminders_.find(number);
        if (found == reminders_.end()) return;
        if (done) {
            found->second.id = id;
        } else {
            reminders_.erase(found);
        }
    }
    void reset(const std::string& name, unsigned long milliseconds, unsigned long times) {
        const TimerId id = idOf(name);
        if (!id.empty()) TimerManager::instance()->resetTimer(id, milliseconds, times);
    }
    void kill(const std::string& name) {
        const TimerId id = idOf(name);
        if (!id.empty()) TimerManager::instance()->killTimer(id);
    }
    void list() const {
        std::string text;
        for (const auto& [number, reminder] : all())
            text += reminder.name + " has fired " + std::to_string(reminder.fired) + " times\n";
        console::print(text.empty() ? "no reminders\n" : text.c_str());
    }

    // Never locked while the timer service is called, since a callback may be waiting for it.
    qor::Monitor monitor_;
    All reminders_;
    unsigned long next_ = 1;  // used by the main thread only
};

// Whether the input is no terminal and has ended: then it is readable although there is no line.
bool inputIsOver() {
    pollfd input{STDIN_FILENO, POLLIN, 0};
    return isatty(STDIN_FILENO) == 0 && poll(&input, 1, 0) > 0;
}

void run(Reminders& reminders) {
    qor::CmdLineQueue commands;
    commands.open(L"> ");
    for (;;) {
        std::wstring wide;
        if (!commands.get(wide, Time::milliSeconds(500))) {
            if (inputIsOver() && reminders.empty()) return;
            continue;
        }
        const qor::String line(wide);
        if (line == "quit") return;
        unsigned long pause = 0;
        if (line.rfind("wait ", 0) == 0 && std::istringstream(line.substr(5)) >> pause) {
            qor::sleep(pause);
        } else {
            reminders.obey(line);
        }
    }
}

}  // namespace

int main() {
    console::setOn(true);
    const qor::InitFini library("reminders", false, 100);
    std::size_t left = 0;
    {
        const MemLeakChecker::Helper watch;
        {
            Reminders reminders;
            run(reminders);
            reminders.killAll();
        }
        left = MemLeakChecker::instance()->size();
        if (left != 0) MemLeakChecker::instance()->dump(std::cerr);
    }
    console::close();
    console::println(("blocks left behind: " + std::to_string(left)).c_str());
    console::flush();
    if (std::cout) return left == 0 ? 0 : 1;
    std::cerr << "reminders: the output cannot be written\n";
    return 1;
}
