#include "base/upward.h"
#include "qor/base/mlcheck.h"

// Stands in for owners that do not exist yet: one logger without a sink and with its default
// switches, no call tracing, no leak table.

namespace qor {

void blockAllocated(void*, const char*, unsigned, const char*) {}
void blockReleased(void*, const char*, unsigned, const char*) noexcept {}

namespace upward {

CallStack callStack() {
    return CallStack();
}

bool infoOn() {
    return true;
}

bool debugOn() {
    return false;
}

unsigned long maxStringSize() {
    return 256;
}

void writeLine(istr) {}
void writeInfoLog(const char*, unsigned, const char*, istr, const char*) {}
void writeDebugLog(const char*, unsigned, const char*, istr, const char*) {}
void writeErrorLog(const char*, unsigned, const char*, istr) {}
void exceptionThrown(const char*, unsigned, const char*, const char*) {}

}  // namespace upward
}  // namespace qor
