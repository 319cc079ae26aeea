#ifndef QOR_SRC_MT_THREAD_FACTORY_H
#define QOR_SRC_MT_THREAD_FACTORY_H

#include "qor/mt/containers.h"
#include "qor/mt/thread.h"
#include "qor/util/singleton_T.h"

namespace qor {

// The registry of running threads: SimpleThreads, and all others that have used their record.
//
// A record belongs to its thread, and is registered here for other threads to read. So a thread
// finds its own record without a lock, and it stays valid when the registry is destroyed.
class ThreadFactory : noncopyable {
public:
    // The calling thread's record, entered if it is not, with its time stamp renewed.
    static const ThreadInfo& current() noexcept;
    // The calling thread is the body of this object, from enter to leave.
    static void enter(SimpleThread& thread) noexcept;
    static void leave() noexcept;

    // What the record of a thread was last; false if there is none.
    static bool find(const ThreadId& id, ThreadInfo& copy);
    // "{process.thread}" or "<process.thread>".
    static String idText(const ThreadId& id, bool simpleThread);

    static void destroy() noexcept;
    static dumper& dump(dumper& d);

    struct Record;

private:
    friend class CreateByAllocate<ThreadFactory>;
    using Records = mt::map<ThreadId, Record*>;

    ThreadFactory() = default;
    ~ThreadFactory() = default;

    static Records& records();
    static const ThreadInfo& renewed() noexcept;
    static void enroll() noexcept;
    static void withdraw() noexcept;
    static void tryToEnroll();
    static void onThreadExit(void* record) noexcept;

    Records threads_;
    unsigned processId_ = 0;  // the one that the records were entered in
};

}  // namespace qor

#endif  // QOR_SRC_MT_THREAD_FACTORY_H
