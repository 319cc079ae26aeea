#ifndef QOR_SRC_UTIL_GUARDED_STEP_H
#define QOR_SRC_UTIL_GUARDED_STEP_H

#include <functional>

namespace qor {

// Runs a step of a unit's loop. What it raises is logged, and counts as the code 1 if it is the
// library's and 2 if it is another std::exception; anything else passes. 0 if nothing is raised.
int guardedStep(const std::function<void()>& step);

}  // namespace qor

#endif  // QOR_SRC_UTIL_GUARDED_STEP_H
