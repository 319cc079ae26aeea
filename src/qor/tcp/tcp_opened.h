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
//     bool ending() const;        // it has ended, but its thread still runs
//     bool isOwnThread() const;   // whether the calling thread calls its callback
//     void endFromCallback();     // requests the end and waits for no thread
template <class T>
class Opened : noncopyable {
public:
    // Null if there is none.
    Handle<T> last() const {
        const Guard guard(mutex_);
        return all_.empty() ? Handle<T>() : all_.front();
    }

    // An earlier one that has not ended keeps running and cannot be reached any more.
    void add(const Handle<T>& opened) {
        std::list<Handle<T>> added{opened}, dropped;  // released without the lock
        const Guard guard(mutex_);
        for (auto next = all_.begin(); next != all_.end();) {
            const auto each = next++;
            if (!(*each)->ending()) dropped.splice(dropped.end(), all_, each);
        }
        all_.splice(all_.begin(), added);
    }

    // Ends the last one and waits until its thread and those of the earlier ones have ended. Does
    // not wait on a thread that calls the callback of one of them: the next close by another thread
    // does.
    void close() {
        const Handle<T> closing = last();
        if (!closing) return;
        if (isOwnThread()) return closing->endFromCallback();
        while (const Handle<T> earlier = oldestBefore(closing)) {
            earlier->stop();
            remove(earlier);
        }
        closing->stop();
        remove(closing);
    }

private:
    bool isOwnThread() const {
        const Guard guard(mutex_);
        return std::any_of(all_.begin(), all_.end(),
                           [](const Handle<T>& each) { return each->isOwnThread(); });
    }

    // Null if there is none. Those that a callback opens meanwhile are newer.
    Handle<T> oldestBefore(const Handle<T>& closing) const {
        const Guard guard(mutex_);
        const bool found = std::find(all_.begin(), all_.end(), closing) != all_.end();
        return found && all_.back() != closing ? all_.back() : Handle<T>();
    }

    void remove(const Handle<T>& ended) {
        std::list<Handle<T>> dropped;  // released without the lock
        const Guard guard(mutex_);
        const auto found = std::find(all_.begin(), all_.end(), ended);
        if (found != all_.end()) dropped.splice(dropped.end(), all_, found);
    }

    const Mutex mutex_;
    std::list<Handle<T>> all_;  // guarded; the newest first
};

}  // namespace qor::tcp

#endif  // QOR_SRC_TCP_TCP_OPENED_H
