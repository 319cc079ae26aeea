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
// released yet. Memory comes from the global operator new, which a program may replace; failure
// raises std::bad_alloc.

QOR_API void* operator new(std::size_t size, const char* file, unsigned line, const char* func);
// Called by the compiler alone, when a constructor raises.
QOR_API void operator delete(void* ptr, const char* file, unsigned line, const char* func) noexcept;

namespace qor {

class Mutex;
class dumper;

// The table of blocks that the checked functions below have allocated and not released yet. At the
// end of a program it lists the leaks, each with the place of its allocation:
//
//     const InitFini library("program", false, 0);
//     const MemLeakChecker::Helper leaks;
//     run();
//
// If the checker is started before init and not stopped, fini writes the remaining blocks to the
// standard error, after it has destroyed the rest of the library.
//
// The checker is off until start(); while it is off, an allocation costs one test. Blocks that were
// allocated before start() are not in the table: their release is reported on the console, and they
// are released.
//
// Any thread may use it, but no new-handler (std::set_new_handler) and no replacement of the global
// operator new: the table needs memory while it is locked. The texts of a place are literals, kept
// by pointer.
class QOR_API MemLeakChecker : noncopyable {
public:
    // Runs the checker for a scope. The destructor writes the report to the logger "QOR", so the
    // scope must end before fini. Do not stop the checker inside the scope.
    struct QOR_API Helper {
        [[nodiscard]] Helper();
        ~Helper();
        Helper(const Helper&) = delete;
        Helper& operator=(const Helper&) = delete;
    };
    // Shows each event on the console for a scope.
    struct QOR_API DumpEntry {
        [[nodiscard]] DumpEntry();
        ~DumpEntry();
        DumpEntry(const DumpEntry&) = delete;
        DumpEntry& operator=(const DumpEntry&) = delete;
    };

    // The checker, created at the first use. The pointer is always valid: destroy() only empties
    // the table and turns the checker off.
    static MemLeakChecker* instance() noexcept;
    // Empties the table and turns it off, as a new one.
    static void destroy() noexcept;
    static bool isStarted() noexcept { return started_.load(std::memory_order_relaxed); }

    // Adds a block, or replaces the entry of the same address. If there is no memory for the entry,
    // the block is not recorded.
    void push(void* p, const char* file, unsigned line, const char* func) noexcept;
    // Removes a block; call it before the release. Returns false for a null pointer, and for a
    // block that is not in the table; the latter is also reported on the console. While the checker
    // is off, returns true for every pointer except null.
    bool pop(void* p, const char* file, unsigned line, const char* func) noexcept;

    void start() noexcept;
    // Writes the remaining blocks to the logger "QOR", if its infoOn() is true, empties the table
    // and turns the checker off.
    void stop();
    void dumpOn() noexcept;
    void dumpOff() noexcept;

    // The number of blocks in the table.
    std::size_t size() const;
    // Writes the number of blocks of each place twice: ordered by number and ordered by place.
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

// Hooks for a tracker of the whole heap. init calls enter, and fini calls leave; both count. The
// first enter calls startup, and the last leave calls shutdown, if the environment variable
// QOR_MEM_LEAK_CHECK is exactly "on". startup, shutdown and logExceptionOnly do nothing here: a
// build with such a tracker defines them.
class QOR_API MLC_Entry {
public:
    MLC_Entry() = delete;
    static void enter();
    static void leave();
    static void startup() noexcept {}
    static void shutdown() noexcept {}
    static void logExceptionOnly() noexcept {}
};

// Add a block to the leak table and remove it. Any thread may call them.
inline void blockAllocated(void* ptr, const char* file, unsigned line, const char* func) noexcept {
    if (MemLeakChecker::isStarted()) MemLeakChecker::instance()->push(ptr, file, line, func);
}
inline void blockReleased(void* ptr, const char* file, unsigned line, const char* func) noexcept {
    if (MemLeakChecker::isStarted()) MemLeakChecker::instance()->pop(ptr, file, line, func);
}

// The address where the object was allocated; a pointer to its base class may differ from that.
template <class T>
void* blockOf(T* ptr) noexcept {
    if constexpr (std::is_polymorphic_v<T>) {
        return const_cast<void*>(dynamic_cast<const void*>(ptr));
    } else {
        return const_cast<std::remove_cv_t<T>*>(ptr);
    }
}

// As blockAllocated and blockReleased, for an object. They do nothing for a class with its own
// operator delete, which records its blocks itself.
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

// Whether `new (file, line, func) T` is not aligned as T must be: the global form with a place does
// not align.
template <class T>
inline constexpr bool kNeedsAlignedNew = alignof(T) > __STDCPP_DEFAULT_NEW_ALIGNMENT__ &&
                                         !requires(const char* text) {
    T::operator new(sizeof(T), text, 0U, text);
};

// Allocates and deletes an object, and records it. Both pass on what a constructor or destructor
// raises. The texts of the place must be literals: they are kept by pointer.
template <class T, class... Args>
T* checkedNew(const char* file, unsigned line, const char* func, Args&&... args) {
    T* object = nullptr;
    if constexpr (kNeedsAlignedNew<T>) {
        object = new T(std::forward<Args>(args)...);
    } else {
        object = new (file, line, func) T(std::forward<Args>(args)...);
    }
    objectAllocated(object, file, line, func);
    return object;
}

template <class T>
void checkedDelete(T* ptr, const char* file, unsigned line,
                   const char* func) noexcept(std::is_nothrow_destructible_v<T>) {
    if (ptr == nullptr) return;
    objectReleased(ptr, file, line, func);
    delete ptr;
}

// The same for arrays of a trivial type, which are uninitialised. The count may exceed 32 bits.
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
