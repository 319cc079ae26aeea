#include "qor/mt/threadUtil.h"

#include <utility>

#include "log/own_log.h"
#include "nuv_guard.h"
#include "qor/log/log_dumper.h"

namespace qor {

AsyncThreadManager::AsyncThreadManager(const istr& name)
    : ThreadOwner(String(name).c_str()), name_(name) {}

AsyncThreadManager::~AsyncThreadManager() {
    close();
}

// The thread may end at any moment: once it is in the set and has this owner, its end removes it. A
// null handle raises before it is inserted.
void AsyncThreadManager::put(Handle<SimpleThread> thread) {
    SimpleThread& given = *thread;
    const bool taken = threads_.access([&](auto& threads) {
        if (!closing_) threads.insert(thread);
        return !closing_;
    });
    if (!taken) {
        own_log::error("qor::AsyncThreadManager::put", [&] {
            return "closing " + name_ + " thread manager, not put new thread into it";
        });
        return;
    }
    if (!given.adopt(this)) threads_.erase(thread);
}

void AsyncThreadManager::onThreadExit(Thread* thread) {
    threads_.erase(Handle<SimpleThread>(dynamic_cast<SimpleThread*>(thread)));
}

void AsyncThreadManager::close() {
    // A thread that was not stopped would keep its owner.
    const nuv_uncancelled whole;
    constexpr const char* func = "qor::AsyncThreadManager::close";
    std::set<Handle<SimpleThread>> left;
    threads_.access([&](auto& threads) {
        closing_ = true;
        left.swap(threads);
    });
    if (left.empty()) return;
    own_log::info(func, [&] {
        return own_log::text(name_, " ", left.size(), " threads still living, try stop them...");
    });
    std::size_t stopped = 0;
    for (const Handle<SimpleThread>& thread : left) {
        const auto stop = [&] { return thread->stop(Time::seconds(10)); };
        if (own_log::guarded(own_log::toolkit, func, false, stop)) {
            ++stopped;
        } else {
            thread->detach();
        }
    }
    own_log::info(func, [&] {
        return own_log::text(name_, " ", stopped, " threads stopped, ", left.size() - stopped,
                             " remaning");
    });
}

// The threads are dumped without the lock, since their dump may be overridden.
dumper& AsyncThreadManager::dump(dumper& d) const {
    std::set<Handle<SimpleThread>> copy;
    threads_.access([&](const auto& threads) { copy = threads; });
    mt::set<Handle<SimpleThread>> shown;
    shown.access([&](auto& threads) { threads.swap(copy); });
    const dumper::_Entry entry(d, "qor::AsyncThreadManager");
    return d.member("name_", name_).member("threads_", shown).member("closing_", closing_.load());
}

}  // namespace qor
