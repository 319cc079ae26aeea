#ifndef QOR_BASE_MLCHECK_H
#define QOR_BASE_MLCHECK_H

#include <atomic>
#include <cstddef>
#include <iosfwd>
#include <new>
#include <type_traits>
#include <unordered_map>
#include <utility>

#include "qor/api.h"
#include "qor/base/exception.h"
#include "qor/base/interface.h"

// Allocation and release that record the place of the call, and the table of blocks that are not
// released yet. Memory comes from plain operator new: failure is std::bad_alloc, and a replaced
// global operator new sees every block.

QOR_API void* operator new(std::size_t size, const char* file, unsigned line, const char* func);
// Called by the compiler alone, when a constructor raises.
QOR_API void operator delete(void* ptr, const char* file, unsigned line, const char* func) noexcept;

namespace qor {

class Mutex;
class dumper;

// The table of blocks that the checked functions below have allocated and not released yet. At the
// end it is the list of leaks, each with the place of its allocation:
//
//     const InitFini library("program", false, 0);
//     const MemLeakChecker::Helper leaks;
//     run();
//
// If it is started before init and left on, fini shows the blocks that are left on the standard
// error after all of the library has been destroyed.
//
// It is off until start; an allocation then costs one test. Blocks that were allocated before start
// are not in the table: their release is reported on the console, and happens all the same.
//
// Any thread may use it. The texts of a place are literals, kept by pointer.
class QOR_API MemLeakChecker : noncopyable {
public:
    // Runs the checker for a scope. The destructor writes the report to the logger "QOR", so the
    // scope must end before fini. Do not stop the checker inside the scope.
    struct QOR_API Helper {
        Helper();
        ~Helper();
        Helper(const Helper&) = delete;
        Helper& operator=(const Helper&) = delete;
    };
    // Shows each event on the console for a scope.
    struct QOR_API DumpEntry {
        DumpEntry();
        ~DumpEntry();
        DumpEntry(const DumpEntry&) = delete;
        DumpEntry& operator=(const DumpEntry&) = delete;
    };

    // The checker, created at the first use and valid for ever: after destroy it is an empty table
    // that is off.
    static MemLeakChecker* instance() noexcept;
    // Empties the table and turns it off, as a new one.
    static void destroy() noexcept;
    static bool isStarted() noexcept { return started_.load(std::memory_order_relaxed); }

    // Adds a block, and replaces an entry of the same address. A block is left out if there is no
    // memory to record it.
    void push(void* p, const char* file, unsigned line, const char* func) noexcept;
    // Removes a block before it is released. False for a null pointer, and for a block that is not
    // in the table, which is reported on the console. While the checker is off, true for every
    // pointer but null.
    bool pop(void* p, const char* file, unsigned line, const char* func) noexcept;

    void start() noexcept;
    // Writes the remaining blocks to the logger "QOR", if its infoOn() is true, and destroys the
    // table.
    void stop();
    void dumpOn() noexcept;
    void dumpOff() noexcept;

    // The number of blocks in the table.
    std::size_t size() const;
    // Writes the scope "qor::MemLeakChecker": the number of blocks of each place, ordered by number
    // and by place.
    dumper& dump(dumper& d) const;
    void dump(std::ostream& os) const;

private:
    MemLeakChecker() = default;
    ~MemLeakChecker() = default;

    static const Mutex& mtxInstance();
    void clear() noexcept;

    inline static std::atomic<bool> started_{false};

    std::unordered_map<void*, Current> entries_;  // guarded by mtxInstance()
    std::atomic<bool> dumpOn_{false};
};

// Hooks for a tracker of the whole heap: the use of the library begins and ends here. enter and
// leave count the brackets of init and fini. The first and the last one call startup and shutdown
// if the environment variable QOR_MEM_LEAK_CHECK is exactly "on". Those two and logExceptionOnly do
// nothing here: they are for a build with such a tracker.
class QOR_API MLC_Entry {
public:
    MLC_Entry() = delete;
    static void enter();
    static void leave();
    static void startup() noexcept {}
    static void shutdown() noexcept {}
    static void logExceptionOnly() noexcept {}
};

// Add a block to the leak table, and remove it. Any thread may call them.
inline void blockAllocated(void* ptr, const char* file, unsigned line, const char* func) noexcept {
    if (MemLeakChecker::isStarted()) MemLeakChecker::instance()->push(ptr, file, line, func);
}
inline void blockReleased(void* ptr, const char* file, unsigned line, const char* func) noexcept {
    if (MemLeakChecker::isStarted()) MemLeakChecker::instance()->pop(ptr, file, line, func);
}

// The address that an object was allocated at, which a pointer to a base need not be.
template <class T>
void* blockOf(T* ptr) noexcept {
    if constexpr (std::is_polymorphic_v<T>) {
        return const_cast<void*>(dynamic_cast<const void*>(ptr));
    } else {
        return const_cast<std::remove_cv_t<T>*>(ptr);
    }
}

// The same for an object. A class with its own operator new adds its blocks to the table itself.
template <class T>
void objectAllocated(T* ptr, const char* file, unsigned line, const char* func) noexcept {
    if constexpr (!requires { T::operator delete(static_cast<void*>(ptr)); }) {
        blockAllocated(blockOf(ptr), file, line, func);
    }
}
template <class T>
void objectReleased(T* ptr, const char* file, unsigned line, const char* func) noexcept {
    if constexpr (!requires { T::operator delete(static_cast<void*>(ptr)); }) {
        blockReleased(blockOf(ptr), file, line, func);
    }
}

// The literals are kept by pointer.
template <class T, class... Args>
T* checkedNew(const char* file, unsigned line, const char* func, Args&&... args) {
    T* const object = new (file, line, func) T(std::forward<Args>(args)...);
    objectAllocated(object, file, line, func);
    return object;
}

template <class T>
void checkedDelete(T* ptr, const char* file, unsigned line, const char* func) noexcept {
    if (ptr == nullptr) return;
    objectReleased(ptr, file, line, func);
    delete ptr;
}

// Arrays of a scalar type, uninitialised. The count may exceed 32 bits.
template <class T>
T* checkedNewArray(const char* file, unsigned line, const char* func, std::size_t count) {
    static_assert(std::is_trivial_v<T>);
    T* const block = new T[count];
    blockAllocated(block, file, line, func);
    return block;
}

template <class T>
void checkedDeleteArray(T* ptr, const char* file, unsigned line, const char* func) noexcept {
    static_assert(std::is_trivial_v<T>);
    if (ptr == nullptr) return;
    blockReleased(ptr, file, line, func);
    delete[] ptr;
}

}  // namespace qor

#endif  // QOR_BASE_MLCHECK_H
