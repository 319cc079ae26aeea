#ifndef QOR_SRC_PLATFORM_THREAD_H
#define QOR_SRC_PLATFORM_THREAD_H

#include <pthread.h>

#include <cstddef>

namespace qor::platform {

// The system's numbers of the calling thread and of the process. They are cached, and right in a
// forked child too.
unsigned currentThreadId() noexcept;
unsigned currentProcessId() noexcept;

// Whether the process has a thread of this number. Numbers are used again.
bool threadExists(unsigned id) noexcept;

void yieldThread() noexcept;

// Asks the system to run the calling thread as soon as it is ready: before all threads of normal
// priority if the process has the right (root, or CAP_SYS_NICE), else before threads that have used
// their share. For threads that do little work at a time. Threads that it starts do not inherit
// this.
void runPromptly() noexcept;

// A thread that was started here. It has two owners, the thread itself and its starter; if it was
// not joined, the last owner to release it detaches it. Any thread may call these functions.
struct SystemThread;

// Starts a thread that calls body(argument). A stack size of 0 is the system's default, and one
// that is too small is raised. Null for a failure, with its number in `error`. An exception that
// leaves the body ends the process.
SystemThread* startThread(std::size_t stackSize, void (*body)(void*), void* argument, int& error);

// Waits until the thread has stored its number, which it does first.
unsigned threadId(const SystemThread& thread) noexcept;

// False as soon as the body has ended.
bool isRunning(const SystemThread& thread) noexcept;

// Waits until the thread has ended, with its thread_local objects. Any number of threads may wait,
// one after another and at once. 0 or an error number: EDEADLK for a thread that waits for itself.
int waitForThread(SystemThread& thread) noexcept;

// Releases the starter's share.
void closeThread(SystemThread* thread) noexcept;

// A function that is called at the end of each thread that requests it, after the destructors of
// the thread's thread_local objects, with the last argument that the thread gave. The function may
// request another call. There is one object for each purpose, for the life of the process.
class ThreadExitCall {
public:
    explicit ThreadExitCall(void (*function)(void*)) noexcept;
    // Null takes the question back. False if the thread cannot be watched.
    bool ask(void* argument) const noexcept;

private:
    pthread_key_t key_{};
    bool valid_;
};

// Registers functions that are called before each fork, and after it in the parent and in the
// child.
void callAtFork(void (*before)(), void (*inParent)(), void (*inChild)()) noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_THREAD_H
