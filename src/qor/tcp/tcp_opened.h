#ifndef QOR_SRC_TCP_TCP_OPENED_H
#define QOR_SRC_TCP_TCP_OPENED_H

#include <algorithm>
#include <list>

#include "qor/base/interface.h"
#include "qor/mt/handle.h"
#include "qor/mt/mutex.h"

namespace qor::tcp {

// What the opens of a client or server have made: the connection or listener of the last open, and
// earlier ones that have ended but whose callback may still be running, perhaps since it has itself
// closed and opened again. For any thread.
//
// T is a SimpleThread with three more operations:
//     bool ending() const;       // its thread runs, but it is not connected or listening
//     bool isOwnThread() const;  // whether the calling thread calls its callback
//     void requestEnd();         // ends it and waits for no thread
template <class T>
class Opened : noncopyable {
public:
    // Null if there is none.
    Handle<T> last() const { return newest().opened; }

    // An earlier one that has not ended keeps running and cannot be reached any more.
    void add(const Handle<T>& opened) {
        std::list<Entry> added{{opened, 0}}, dropped;  // released without the lock
        const Guard guard(mutex_);
        for (auto next = all_.begin(); next != all_.end();) {
            const auto each = next++;
            if (!each->opened->ending()) dropped.splice(dropped.end(), all_, each);
        }
        added.front().number = ++count_;
        all_.splice(all_.begin(), added);
    }

    // Ends the last one and waits until its thread and those of the earlier ones have ended. Does
    // not wait on a thread that calls the callback of one of them: the next close by another thread
    // does.
    void close() {
        const Entry closing = newest();
        if (!closing.opened) return;
        if (isOwnThread()) return closing.opened->requestEnd();
        // First, since the callback of an earlier one may be using it.
        if (oldestBefore(closing)) closing.opened->requestEnd();
        while (const Handle<T> earlier = oldestBefore(closing)) {
            earlier->stop();
            remove(earlier);
        }
        closing.opened->stop();
        remove(closing.opened);
    }

private:
    struct Entry {
        Handle<T> opened;
        unsigned long long number = 0;  // of the open
    };

    Entry newest() const {
        const Guard guard(mutex_);
        return all_.empty() ? Entry() : all_.front();
    }

    bool isOwnThread() const {
        const Guard guard(mutex_);
        return std::any_of(all_.begin(), all_.end(),
                           [](const Entry& each) { return each.opened->isOwnThread(); });
    }

    // Null if there is none. Those that a callback opens meanwhile are newer.
    Handle<T> oldestBefore(const Entry& closing) const {
        const Guard guard(mutex_);
        const bool found = !all_.empty() && all_.back().number < closing.number;
        return found ? all_.back().opened : Handle<T>();
    }

    void remove(const Handle<T>& ended) {
        std::list<Entry> dropped;  // released without the lock
        const Guard guard(mutex_);
        const auto found = std::find_if(all_.begin(), all_.end(),
                                        [&](const Entry& each) { return each.opened == ended; });
        if (found != all_.end()) dropped.splice(dropped.end(), all_, found);
    }

    const Mutex mutex_;
    std::list<Entry> all_;          // guarded; the newest first
    unsigned long long count_ = 0;  // guarded; of the opens
};

}  // namespace qor::tcp

#endif  // QOR_SRC_TCP_TCP_OPENED_H
