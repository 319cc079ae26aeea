#ifndef QOR_TESTS_SUPPORT_SYSTEM_FUNCTION_H
#define QOR_TESTS_SUPPORT_SYSTEM_FUNCTION_H

#include <dlfcn.h>

#include <cstdio>

namespace support {

// The system's function that a test program replaces, for the library too, with one that calls it.
// Allocates nothing. Under a sanitizer it is the sanitizer's function, which has to see the calls.
template <class Function>
Function* systemFunction(const char* name, Function*) {
    char interceptor[64];
    std::snprintf(interceptor, sizeof interceptor, "__interceptor_%s", name);
    void* found = dlsym(RTLD_DEFAULT, interceptor);
    if (found == nullptr) found = dlsym(RTLD_NEXT, name);
    return reinterpret_cast<Function*>(found);
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_SYSTEM_FUNCTION_H
