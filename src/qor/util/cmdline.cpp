#include "qor/util/cmdline.h"

#include <new>
#include <utility>

#include "log/own_log.h"
#include "mt/thread_factory.h"
#include "qor/base/mlcheck.h"
#include "qor/log/console.h"

namespace qor {

namespace {

std::wstring textOf(const iwstr& text) {
    return text.empty() ? std::wstring() : std::wstring(text.data(), text.size());
}

// Repeats a step that lacks memory until the calling thread is to end, and then passes the failure
// on.
template <class Step>
bool withMemory(Step step) {
    for (;;) {
        try {
            return step();
        } catch (const std::bad_alloc&) {
            const SimpleThread* const thread = ThreadFactory::thread();
            if (thread == nullptr || !thread->living()) throw;
            ThreadControl::sleep(Time::milliSeconds(100));
        }
    }
}

}  // namespace

// CmdLineThread

CmdLineThread::CmdLineThread(const istr& name, CmdLineCallback* callback, const iwstr& prompt)
    : SimpleThread(nullptr, String(name).c_str()), callback_(callback), prompt_(textOf(prompt)) {}

void CmdLineThread::onWork() {
    std::wstring line;
    if (!withMemory([&] { return console::readline(line, noPrompt_ ? L"" : prompt_.c_str()); }) ||
        line.empty()) {
        return;
    }
    if (line == L"prompt()") return showPrompt(true);
    if (line == L"noprompt()") return showPrompt(false);
    callback_->onCmdLine(line);
}

void CmdLineThread::showPrompt(bool on) {
    own_log::info("qor::CmdLineThread::onWork",
                  [&] { return on ? "turn on prompt" : "turn off prompt"; });
    noPrompt_ = !on;
}

// CmdLineQueue

CmdLineQueue::CmdLineQueue() = default;

CmdLineQueue::~CmdLineQueue() {
    close();
}

bool CmdLineQueue::open(const iwstr& prompt) {
    close();
    thread_ = checkedNew<CmdLineThread>(__FILE__, __LINE__, "qor::CmdLineQueue::open", "cmdline",
                                        this, prompt);
    thread_->startAndWait(0);
    return thread_->living();
}

void CmdLineQueue::close() {
    if (const Handle<CmdLineThread> thread = std::exchange(thread_, nullptr)) thread->stop();
}

// Waits at most once, even if there is no timeout: returns false if another thread takes the line
// first.
bool CmdLineQueue::get(std::wstring& line, Time timeout) {
    const Monitor::Lock lock(monitor_);
    if (lines_.empty()) {
        if (timeout == Time::forever()) {
            monitor_.wait();
        } else if (!monitor_.wait(timeout)) {
            return false;
        }
    }
    if (lines_.empty()) return false;
    line = std::move(lines_.front());
    lines_.pop_front();
    return true;
}

void CmdLineQueue::onCmdLine(const std::wstring& line) {
    std::list<std::wstring> added;
    withMemory([&] { return added.push_back(line), true; });
    const Monitor::Lock lock(monitor_);
    lines_.splice(lines_.end(), added);
    monitor_.notify();
}

}  // namespace qor
