#ifndef QOR_SRC_PLATFORM_FORMS_H
#define QOR_SRC_PLATFORM_FORMS_H

#include <algorithm>
#include <cstddef>
#include <iterator>
#include <span>

#include "platform/first_use.h"

namespace qor::platform {

// The `runsHere` of a form that every machine can run.
inline bool runsEverywhere() noexcept {
    return true;
}

// The forms that this machine can run. `all` is an array of implementations of one task, fastest
// first; each has a function `runsHere`. A machine that can run a form can also run all later ones,
// and every machine can run the last one.
template <auto& all>
auto formsOfThisMachine() noexcept {
    static constinit FirstUse<std::size_t> number;
    return std::span(all).last(number.get([] {
        const auto* first = std::ranges::find_if(all, [](auto& form) { return form.runsHere(); });
        return static_cast<std::size_t>(std::end(all) - first);
    }));
}

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_FORMS_H
