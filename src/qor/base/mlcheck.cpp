#include "qor/base/mlcheck.h"

void* operator new(std::size_t size, const char*, unsigned, const char*) {
    return ::operator new(size);
}

void operator delete(void* ptr, const char*, unsigned, const char*) noexcept {
    ::operator delete(ptr);
}
