#ifndef QOR_TESTS_SUPPORT_ALLOCATION_H
#define QOR_TESTS_SUPPORT_ALLOCATION_H

#include <functional>
#include <new>

#include "qor/base/interface.h"

// The test binaries replace the global operators new and delete, but those of over-aligned types,
// and for the library too, with ones that count and that fail on demand, for each thread apart.

namespace support {

// What the calling thread does between the counter's construction and the question.
class AllocationCounter {
public:
    AllocationCounter() noexcept;
    unsigned long allocations() const noexcept;
    // The sum of their sizes.
    unsigned long bytes() const noexcept;
    // Allocations less releases. Blocks that one thread makes and another one frees unbalance it.
    long outstanding() const noexcept;

private:
    unsigned long allocations_;
    unsigned long bytes_;
    unsigned long releases_;
};

// Lets the calling thread's n-th allocation from now on fail, and every later one while the guard
// lives. 1 is the next one. Guards do not nest.
class FailAllocations : qor::noncopyable {
public:
    explicit FailAllocations(unsigned long n) noexcept;
    ~FailAllocations();
    // Has one failed?
    bool happened() const noexcept;
};

// Calls a function in the calling thread's next allocation, if there is one while the guard lives.
// Guards do not nest.
class AtAllocation : qor::noncopyable {
public:
    explicit AtAllocation(std::function<void()> call) noexcept;
    ~AtAllocation();

private:
    const std::function<void()> call_;
};

// Runs the operation again and again, each time with a later allocation failing, until it no
// longer raises std::bad_alloc. `afterFailure` looks at the state after each failure. Returns the
// number of failures; 0 means that nothing was allocated, or that a failure was ignored.
template <class Operation, class Check>
unsigned long failEachAllocation(Operation operation, Check afterFailure) {
    for (unsigned long n = 1;; ++n) {
        {
            const FailAllocations failing(n);
            try {
                operation();
                return n - 1;
            } catch (const std::bad_alloc&) {
                if (!failing.happened()) throw;
            }
        }
        afterFailure();
    }
}

// As above, for an operation that may also succeed or return with a failure. It works once there is
// memory again.
template <class Operation>
unsigned long failEachAllocation(Operation operation) {
    unsigned long n = 0;
    for (bool failed = true; failed;) {
        const FailAllocations failing(++n);
        try {
            operation();
        } catch (const std::bad_alloc&) {
        }
        failed = failing.happened();
    }
    operation();
    return n - 1;
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_ALLOCATION_H
