#ifndef QOR_TESTS_SUPPORT_RAISED_H
#define QOR_TESTS_SUPPORT_RAISED_H

#include <string>

namespace support {

// The function that an exception of the library says it was raised in; empty if the call does not
// raise. Exceptions of other types pass.
template <class Exception, class Call>
std::string raisedIn(Call&& call) {
    try {
        call();
    } catch (const Exception& e) {
        return e.func();
    }
    return std::string();
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_RAISED_H
