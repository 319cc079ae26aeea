#ifndef QOR_SRC_MT_THREAD_FACTORY_H
#define QOR_SRC_MT_THREAD_FACTORY_H

#include "qor/mt/containers.h"
#include "qor/mt/thread.h"
#include "qor/util/singleton_T.h"

namespace qor {

// The registry of running threads: SimpleThreads, and all other threads that have called current().
//
// A record belongs to its thread, and is registered here so that other threads can read it. A
// thread finds its own record without a lock, and the record stays valid when the registry is
// destroyed.
class ThreadFactory : noncopyable {
public:
    // The calling thread's record, with its time stamp updated. Registers the thread if it is not
    // registered.
    static const ThreadInfo& current() noexcept;
    // The calling thread runs the body of `thread` from enter to leave.
    static void enter(SimpleThread& thread) noexcept;
    static void leave() noexcept;
    // The SimpleThread whose body the calling thread runs, null if there is none. Unlike the
    // thread's record, it needs no memory.
    static SimpleThread* thread() noexcept;

    // Copies the record of a thread; false if there is none.
    static bool find(const ThreadId& id, ThreadInfo& copy);
    // "{process.thread}" or "<process.thread>".
    static String idText(const ThreadId& id, bool simpleThread);

    static void destroy() noexcept;
    static dumper& dump(dumper& d);

    struct Record;
    // Called at the end of a thread that has a record.
    static void onThreadExit(void* record) noexcept;

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

    Records threads_;
    unsigned short forks_ = 0;  // of the process, when the last record was added
};

}  // namespace qor

#endif  // QOR_SRC_MT_THREAD_FACTORY_H
