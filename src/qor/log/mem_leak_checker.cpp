#include <cstdlib>
#include <map>
#include <new>
#include <ostream>

#include "base/text_stream.h"
#include "base/upward.h"
#include "log/console_end.h"
#include "mt/registry_lock.h"
#include "qor/base/base_type_char.h"
#include "qor/base/library.h"
#include "qor/base/mlcheck.h"
#include "qor/log/console.h"
#include "qor/log/log_dumper.h"
#include "qor/log/log_factory.h"

// Every allocation uses the checker: with any lock held, and also while the library starts and
// ends. So the checker holds its own lock only to access the table, and never while it logs or
// prints.

namespace qor {

namespace {

struct LeakTable;
using TableLock = RegistryLock<LeakTable>;

// Created before the locks of all other registries: a fork takes the locks in the reverse order of
// their creation, and this lock must be the last one, since allocations take it while they hold the
// others.
[[gnu::constructor(101)]] void makeAtLoad() {
    TableLock::get();
    MemLeakChecker::instance();
}

// True while the calling thread shows an event: the allocations for that are recorded, but not
// shown.
constinit thread_local bool showing = false;

template <class Compose>
void show(Compose compose) noexcept {
    if (showing) return;
    // fini has destroyed the console, and releases more blocks.
    if (System::closing() && isConsoleDestroyed()) return;
    showing = true;
    try {
        TextStream line;
        compose(line);
        const std::string text = line.text();
        console::print(text.data(), static_cast<unsigned long>(text.size()));
    } catch (...) {
        // Without memory the line is dropped.
    }
    showing = false;
}

// A place as one row of the report.
struct Row {
    dumper& dump(dumper& d) const {
        TextStream text;
        text << place;
        return d.raw(istr(text.text()));
    }

    Current place;
};

bool wanted() {
    return getenv("QOR_MEM_LEAK_CHECK") == "on";
}

std::atomic<int>& entryCount() {
    static std::atomic<int> count{0};
    return count;
}

}  // namespace

// MemLeakChecker

const Mutex& MemLeakChecker::mtxInstance() {
    return TableLock::get();
}

MemLeakChecker* MemLeakChecker::instance() noexcept {
    // Never destroyed, and needs no memory.
    alignas(MemLeakChecker) static unsigned char room[sizeof(MemLeakChecker)];
    static MemLeakChecker* const checker = new (room) MemLeakChecker;
    return checker;
}

void MemLeakChecker::destroy() noexcept {
    instance()->clear();
}

// The entries are destroyed after the lock is released.
void MemLeakChecker::clear() noexcept {
    std::unordered_map<void*, Current> removed;
    const Guard guard(mtxInstance());
    started_ = false;
    dumpOn_ = false;
    removed.swap(entries_);
}

void MemLeakChecker::push(void* p, const char* file, unsigned line, const char* func) noexcept {
    if (!isStarted()) return;
    const Current place(file, line, func);
    if (dumpOn_) show([&](std::ostream& os) { os << "+++ " << p << ' ' << place << '\n'; });
    try {
        const Guard guard(mtxInstance());
        if (isStarted()) entries_.insert_or_assign(p, place);
    } catch (...) {
    }
}

bool MemLeakChecker::pop(void* p, const char* file, unsigned line, const char* func) noexcept {
    if (p == nullptr) return false;
    if (!isStarted()) return true;
    const Current place(file, line, func);
    Current allocated;
    bool found = false;
    {
        std::unordered_map<void*, Current>::node_type removed;
        const Guard guard(mtxInstance());
        if (!isStarted()) return true;
        removed = entries_.extract(p);
        found = !removed.empty();
        if (found) allocated = removed.mapped();
    }
    if (dumpOn_) {
        show([&](std::ostream& os) {
            os << "--- " << p << ' ';
            if (found) os << allocated << ' ';
            os << '(' << place << ")\n";
        });
    }
    if (!found) {
        show([&](std::ostream& os) { os << "[NOTICE] not found pointer " << place << '\n'; });
    }
    return found;
}

void MemLeakChecker::start() noexcept {
    started_ = true;
}

// Turns the checker off first, so that the blocks of the dump are not recorded.
void MemLeakChecker::stop() {
    started_ = false;
    try {
        if (upward::infoOn()) {
            TextStream report;
            dump(report);
            upward::writeInfoLog(__FILE__, __LINE__, "qor::MemLeakChecker::stop",
                                 istr(report.text()), log_tag::Info);
        }
    } catch (const std::bad_alloc&) {
        // Without memory the report is dropped.
    }
    clear();
}

void MemLeakChecker::dumpOn() noexcept {
    dumpOn_ = true;
}

void MemLeakChecker::dumpOff() noexcept {
    dumpOn_ = false;
}

std::size_t MemLeakChecker::size() const {
    const Guard guard(mtxInstance());
    return entries_.size();
}

// Counts the places with the lock and writes them without it, since writing allocates.
dumper& MemLeakChecker::dump(dumper& d) const {
    std::map<Current, unsigned> places;
    {
        const Guard guard(mtxInstance());
        for (const auto& [block, place] : entries_)
            ++places[place];
    }
    const dumper::_Entry entry(d, "qor::MemLeakChecker");
    if (places.empty()) return d.raw("\n\tCongratulations! No memory leaked.");
    std::multimap<unsigned, Row> counts;
    for (const auto& [place, count] : places)
        counts.emplace(count, Row{place});
    return d.member("sorted", counts).member("sorting", places);
}

void MemLeakChecker::dump(std::ostream& os) const {
    dumpTo(os, *this);
}

MemLeakChecker::Helper::Helper() {
    instance()->start();
}

MemLeakChecker::Helper::~Helper() {
    try {
        instance()->stop();
    } catch (...) {
        // Without memory there is no report; the table must be emptied in any case.
        destroy();
    }
}

MemLeakChecker::DumpEntry::DumpEntry() {
    instance()->dumpOn();
}

MemLeakChecker::DumpEntry::~DumpEntry() {
    instance()->dumpOff();
}

// MLC_Entry

void MLC_Entry::enter() {
    if (entryCount().fetch_add(1) == 0 && wanted()) startup();
}

void MLC_Entry::leave() {
    if (entryCount().fetch_sub(1) == 1 && wanted()) shutdown();
}

}  // namespace qor
