#include "support/allocation.h"

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <utility>

namespace {

// Plain thread-local words, so that the operators may run at any time in a thread's life.
constinit thread_local unsigned long allocated = 0;
constinit thread_local unsigned long allocatedBytes = 0;
constinit thread_local unsigned long released = 0;
constinit thread_local unsigned long failFrom = 0;  // the count of the first failure, 0 for none
constinit thread_local bool failed = false;
constinit thread_local const std::function<void()>* pending = nullptr;

void* allocate(std::size_t size, std::size_t alignment = 0) noexcept {
    if (failFrom != 0 && allocated + 1 >= failFrom) {
        failed = true;
        return nullptr;
    }
    if (pending != nullptr) (*std::exchange(pending, nullptr))();
    size = std::max<std::size_t>(size, 1);
    void* const block = alignment == 0 ? std::malloc(size) : std::aligned_alloc(alignment, size);
    if (block == nullptr) return nullptr;
    ++allocated;
    allocatedBytes += size;
    return block;
}

template <class... Alignment>
void* allocateOrThrow(std::size_t size, Alignment... alignment) {
    void* const block = allocate(size, static_cast<std::size_t>(alignment)...);
    if (block == nullptr) throw std::bad_alloc();
    return block;
}

void release(void* block) noexcept {
    if (block != nullptr) ++released;
    std::free(block);
}

}  // namespace

// clang-format off
void* operator new(std::size_t n) { return allocateOrThrow(n); }
void* operator new[](std::size_t n) { return allocateOrThrow(n); }
void* operator new(std::size_t n, std::align_val_t a) { return allocateOrThrow(n, a); }
void* operator new(std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void* operator new[](std::size_t n, const std::nothrow_t&) noexcept { return allocate(n); }
void operator delete(void* p) noexcept { release(p); }
void operator delete[](void* p) noexcept { release(p); }
void operator delete(void* p, std::size_t) noexcept { release(p); }
void operator delete[](void* p, std::size_t) noexcept { release(p); }
void operator delete(void* p, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, std::size_t, std::align_val_t) noexcept { release(p); }
void operator delete(void* p, const std::nothrow_t&) noexcept { release(p); }
void operator delete[](void* p, const std::nothrow_t&) noexcept { release(p); }
// clang-format on

namespace support {

AllocationCounter::AllocationCounter() noexcept
    : allocations_(allocated), bytes_(allocatedBytes), releases_(released) {}

unsigned long AllocationCounter::allocations() const noexcept {
    return allocated - allocations_;
}

unsigned long AllocationCounter::bytes() const noexcept {
    return allocatedBytes - bytes_;
}

long AllocationCounter::outstanding() const noexcept {
    return static_cast<long>(allocations()) - static_cast<long>(released - releases_);
}

FailAllocations::FailAllocations(unsigned long n) noexcept {
    failFrom = allocated + n;
    failed = false;
}

FailAllocations::~FailAllocations() {
    failFrom = 0;
}

bool FailAllocations::happened() const noexcept {
    return failed;
}

AtAllocation::AtAllocation(std::function<void()> call) noexcept : call_(std::move(call)) {
    pending = &call_;
}

AtAllocation::~AtAllocation() {
    pending = nullptr;
}

}  // namespace support
