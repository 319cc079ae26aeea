#ifndef QOR_BASE_LIBRARY_H
#define QOR_BASE_LIBRARY_H

#include <atomic>
#include <compare>
#include <functional>
#include <iosfwd>

#include "qor/api.h"
#include "qor/base/base_type.h"
#include "qor/base/field.h"

namespace qor {

// A program calls init and startup at its beginning, and shutdown and fini at its end, all from its
// main thread; InitFini does so for a scope. At fini no other thread of the library may run. No
// state is recorded: each call does its work, whatever was called before, and no call reports a
// failure. Pass the same arguments to init and startup; only numberOfTimers is used.
QOR_API void init(const char* name, bool flag, int value);
// Starts the timer service with room for numberOfTimers timers; 0 or less leaves the number
// unchanged.
QOR_API void startup(const char* name, bool flag, int numberOfTimers);
QOR_API void shutdown();
// Runs shutdown, then destroys the singletons. A singleton that is used later is created again.
QOR_API void fini();

// Calls init and startup in its constructor, with the value as the number of timers, and fini in
// its destructor:
//
//     int main() {
//         const qor::InitFini library("program", false, 0);
//         ...
//     }
//
// If startup raises, the constructor calls fini and raises the same exception.
struct QOR_API InitFini {
    [[nodiscard]] InitFini(const char* name, bool flag, int value);
    ~InitFini();
    InitFini(const InitFini&) = delete;
    InitFini& operator=(const InitFini&) = delete;
};

// Whether the process is ending; shutdown and fini call close(). Once set, it stays set. Any thread
// may call both members.
class QOR_API System {
public:
    static bool closing() noexcept { return closing_.load(std::memory_order_relaxed); }
    static void close() noexcept { closing_.store(true, std::memory_order_relaxed); }

private:
    static std::atomic<bool> closing_;
};

struct Version {
    constexpr Version(unsigned long number, unsigned long patchNumber) noexcept
        : version(static_cast<ulong32>(number)), patch(static_cast<ulong32>(patchNumber)) {}

    friend constexpr bool operator==(const Version&, const Version&) noexcept = default;
    friend constexpr std::strong_ordering operator<=>(const Version&,
                                                      const Version&) noexcept = default;

    template <class Stream>
    void codec(Stream& s) {
        field(s, {"version", 1}, version);
        field(s, {"patch", 2}, patch);
    }

    ulong32 version;
    ulong32 patch;
};

// Writes "2.05": the patch has at least two digits.
QOR_API std::ostream& operator<<(std::ostream& os, const Version& version);

// Written to a stream, prints the library's version, the time, and the build's settings.
struct show_version {};
QOR_API std::ostream& operator<<(std::ostream& os, show_version);

}  // namespace qor

template <>
struct std::hash<qor::Version> {
    std::size_t operator()(const qor::Version& version) const noexcept {
        return std::hash<qor::ulong32>()(version.version) * 31 + version.patch;
    }
};

// A symbol with the version in its name: a program bound to it depends on that version.
namespace qor_20500 {
QOR_API void zzz_dummy_to_show_version();
}

#endif  // QOR_BASE_LIBRARY_H
