#ifndef QOR_SRC_PLATFORM_THREAD_H
#define QOR_SRC_PLATFORM_THREAD_H

#include <pthread.h>

#include <cstddef>

namespace qor::platform {

// The system's numbers of the calling thread and of the process. They are cached; after a fork the
// child reads its own.
unsigned currentThreadId() noexcept;
unsigned currentProcessId() noexcept;

// The number of forks between the process that loaded the library and this one. An object that
// stores it with what belongs to its threads can tell in a child that these threads do not exist.
unsigned short forkCount() noexcept;

// An address that identifies the calling thread.
const void* self() noexcept;

// self() of the thread that made this process by a fork, and so the only one that it has of its
// parent's threads; null if there was no fork.
const void* forkingThread() noexcept;

// Whether the process has a thread with this number. The system reuses the numbers of ended
// threads.
bool threadExists(unsigned id) noexcept;

void yieldThread() noexcept;

// Asks the system to run the calling thread as soon as it is ready: before all threads of normal
// priority if the process has the right (root, or CAP_SYS_NICE), else before threads that have used
// their share of time. Use it only for a thread that does little work at a time. Threads that the
// calling thread starts do not inherit this.
void runPromptly() noexcept;

// A thread that startThread has started. The object has two owners: the thread itself and the
// caller of startThread. The last owner to release it deletes it, and detaches the thread if it was
// not joined. Any thread may call the functions below.
struct SystemThread;

// Starts a thread that calls body(argument). A stackSize of 0 is the system's default; a size that
// is too small is raised. Returns null on failure, with the error number in `error`. Throws
// std::bad_alloc. An exception that leaves the body ends the process.
SystemThread* startThread(std::size_t stackSize, void (*body)(void*), void* argument, int& error);

// Waits until the thread has stored its number, before its body runs.
unsigned threadId(const SystemThread& thread) noexcept;

// False after the body has ended, and in a forked child.
bool isRunning(const SystemThread& thread) noexcept;

// Waits until the thread has ended and its thread_local objects are destroyed. Several threads may
// wait, also at the same time. Returns 0 or an error number, such as EDEADLK for a thread that
// waits for itself. In a forked child it returns 0 at once.
int waitForThread(SystemThread& thread) noexcept;

// Releases the ownership of the caller of startThread. Null does nothing.
void closeThread(SystemThread* thread) noexcept;

// Calls a function at the end of each thread that has called `ask`, after the destructors of the
// thread's thread_local objects. The function gets the last argument that the thread passed to
// `ask`, and may call `ask` again. Objects must live as long as the process: the destructor does
// not cancel the calls.
class ThreadExitCall {
public:
    explicit ThreadExitCall(void (*function)(void*)) noexcept;
    // Null cancels the request. Returns false if the system cannot store the request.
    bool request(void* argument) const noexcept;

private:
    pthread_key_t key_{};
    bool valid_;
};

// Registers functions that are called before each fork, and after each fork in the parent and in
// the child.
void callAtFork(void (*before)(), void (*inParent)(), void (*inChild)()) noexcept;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_THREAD_H
