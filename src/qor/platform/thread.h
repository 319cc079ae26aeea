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

// Asks the system to run the calling thread as soon as it has something to do: before all others
// of normal priority where the process may ask for that (root, or CAP_SYS_NICE), else before those
// that have had their share. For threads that do little at a time. Threads that it starts do not
// inherit it.
void runPromptly() noexcept;

// A thread that was started here. It has two owners, the thread itself and whoever started it; if
// nobody has waited for it, the last one to let go detaches it. Any thread may ask anything.
struct SystemThread;

// Starts a thread that calls body(argument). A stack size of 0 is the system's default, and one
// that is too small is raised. Null for a failure, with its number in `error`. An exception that
// leaves the body ends the process.
SystemThread* startThread(std::size_t stackSize, void (*body)(void*), void* argument, int& error);

// Waits until the thread has told its number, which is the first thing that it does.
unsigned threadId(const SystemThread& thread) noexcept;

// False as soon as the body has ended.
bool isRunning(const SystemThread& thread) noexcept;

// Waits until the thread has ended, with its thread_local objects. Any number of threads may wait,
// one after another and at once. 0 or an error number: EDEADLK for a thread that waits for itself.
int waitForThread(SystemThread& thread) noexcept;

// Lets the share of the one who started the thread go.
void closeThread(SystemThread* thread) noexcept;

// A function to be called at the end of each thread that asks for it, behind the destructors of the
// thread's thread_local objects, with the last argument that it gave. What is called may ask again.
// Never taken back: one for each purpose, for the life of the process.
class ThreadExitCall {
public:
    explicit ThreadExitCall(void (*function)(void*)) noexcept;
    // Null takes the question back. False if the thread cannot be watched.
    bool ask(void* argument) const noexcept;

private:
    pthread_key_t key_{};
    bool valid_;
};

// Has functions called around each fork: before it, and behind it in the parent and in the child.
void callAtFork(void (*before)(), void (*inParent)(), void (*inChild)()) noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_THREAD_H
