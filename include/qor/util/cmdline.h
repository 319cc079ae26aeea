#ifndef QOR_UTIL_CMDLINE_H
#define QOR_UTIL_CMDLINE_H

#include <list>
#include <string>

#include "qor/api.h"
#include "qor/base/interface.h"
#include "qor/mt/monitor.h"
#include "qor/mt/thread.h"

namespace qor {

class QOR_API CmdLineCallback : public virtual Interface {
public:
    // Called on the reading thread with a line, which is not empty.
    virtual void onCmdLine(const std::wstring& line) = 0;
};

// Reads lines from the console and passes the lines that are not empty to the callback, which is
// not owned and must outlive the thread. The lines "prompt()" and "noprompt()" turn the prompt on
// and off and are not passed on. Only one thread may read from the console at a time.
class QOR_API CmdLineThread : public SimpleThread {
public:
    CmdLineThread(const istr& name, CmdLineCallback* callback, const iwstr& prompt);

protected:
    // Reads at most one line; returns after 100 ms if there is none.
    void onWork() override;

private:
    void showPrompt(bool on);

    CmdLineCallback* const callback_;
    const std::wstring prompt_;
    bool noPrompt_ = false;
};

// A queue of the lines that are typed at the console:
//
//     CmdLineQueue commands;
//     commands.open(L"> ");
//     std::wstring line;
//     while (commands.get(line, Time::seconds(1))) obey(line);
//
// Only one thread may open and close it; any thread may get lines, in the order in which they were
// typed.
class QOR_API CmdLineQueue : public CmdLineCallback, noncopyable {
public:
    CmdLineQueue();
    // Calls close.
    ~CmdLineQueue() override;

    // Starts a thread that reads; a running one is stopped first. Returns whether the thread runs.
    // Raises ThreadSyscallException if the system cannot start a thread.
    bool open(const iwstr& prompt);
    // Stops reading, within about 100 ms. Lines in the queue are kept, and an incomplete line is
    // kept for the next reader.
    void close();
    // Gets the next line, and waits for it at most for the timeout; Time::forever() means no limit.
    // Returns false, with `line` unchanged, if there is none, or if another thread took it first.
    bool get(std::wstring& line, Time timeout);
    void onCmdLine(const std::wstring& line) override;

private:
    Monitor monitor_;
    std::list<std::wstring> lines_;
    Handle<CmdLineThread> thread_;
};

}  // namespace qor

#endif  // QOR_UTIL_CMDLINE_H
