#ifndef QOR_SRC_BASE_UPWARD_H
#define QOR_SRC_BASE_UPWARD_H

#include "qor/base/base_type_view.h"
#include "qor/base/exception.h"

// Functions of higher floors that the lower floors need: declared here, defined by their owners, so
// that no include points up. The leak table of mlcheck.h is the other such case.

namespace qor::upward {

// The configured code page.
ulong32 codepage();

// A copy of the calling thread's call stack.
CallStack callStack();

// The library's own logger: its switches, the limit of texts in dumps, in bytes, and its writers.
bool infoOn();
bool debugOn();
unsigned long maxStringSize();
void writeLine(istr text);
void writeInfoLog(const char* file, unsigned line, const char* func, istr text, const char* tag);
void writeDebugLog(const char* file, unsigned line, const char* func, istr text, const char* tag);
void writeErrorLog(const char* file, unsigned line, const char* func, istr cause);
void exceptionThrown(const char* file, unsigned line, const char* func, const char* text);

}  // namespace qor::upward

#endif  // QOR_SRC_BASE_UPWARD_H
