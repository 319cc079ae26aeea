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
    // On the thread that reads.
    virtual void onCmdLine(const std::wstring& line) = 0;
};

// Reads lines from the console, and passes each that is not empty to the callback, which is not
// owned and must outlive the thread. "prompt()" and "noprompt()" turn the prompt on and off and are
// not passed on. The console has one reader at a time.
class QOR_API CmdLineThread : public SimpleThread {
public:
    CmdLineThread(const istr& name, CmdLineCallback* callback, const iwstr& prompt);

protected:
    // A pass: at most one line, or a tenth of a second without one.
    void onWork() override;

private:
    void showPrompt(bool on);

    CmdLineCallback* const callback_;
    const std::wstring prompt_;
    bool noPrompt_ = false;
};

// The lines that are typed at the console, for a program that takes them when it suits it:
//
//     CmdLineQueue commands;
//     commands.open(L"> ");
//     std::wstring line;
//     while (commands.get(line, Time::seconds(1))) obey(line);
//
// One thread opens and closes it; any thread may get lines, which come in the order of their entry.
class QOR_API CmdLineQueue : public CmdLineCallback, noncopyable {
public:
    CmdLineQueue();
    // Closes.
    ~CmdLineQueue() override;

    // Starts reading, by a new thread if there is one already. True if the thread lives. Raises
    // ThreadSyscallException when there is no thread to be had.
    bool open(const iwstr& prompt);
    // Stops reading, within about a tenth of a second. Lines that were read stay, and the part of
    // a line that has no line feed yet is kept for the next reader.
    void close();
    // The next line: waits for one as long as this, without end for Time::forever(). False if there
    // is none, or if another thread was quicker to take it; the line is then left as it was.
    bool get(std::wstring& line, Time timeout);
    void onCmdLine(const std::wstring& line) override;

private:
    Monitor monitor_;
    std::list<std::wstring> lines_;
    Handle<CmdLineThread> thread_;
};

}  // namespace qor

#endif  // QOR_UTIL_CMDLINE_H
