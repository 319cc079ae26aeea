#ifndef QOR_SRC_UTIL_GUARDED_STEP_H
#define QOR_SRC_UTIL_GUARDED_STEP_H

#include <functional>

namespace qor {

// Runs a step of a unit's loop. Returns 0 if it raises nothing. A std::exception is logged; the
// result is 1 for an exception of the library and 2 for another one. Other exceptions are passed
// on.
int guardedStep(const std::function<void()>& step);

}  // namespace qor

#endif  // QOR_SRC_UTIL_GUARDED_STEP_H
