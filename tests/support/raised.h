#ifndef QOR_TESTS_SUPPORT_RAISED_H
#define QOR_TESTS_SUPPORT_RAISED_H

#include <string>

namespace support {

// The function that an exception of the library says it was raised in, ": " and its message; empty
// if the call does not raise. Exceptions of other types pass.
template <class Exception, class Call>
std::string raised(Call&& call) {
    try {
        call();
    } catch (const Exception& e) {
        return std::string(e.func()) + ": " + e.msg();
    }
    return std::string();
}

// The function alone.
template <class Exception, class Call>
std::string raisedIn(Call&& call) {
    const std::string text = raised<Exception>(call);
    return text.substr(0, text.find(": "));
}

// What an exception says that the call raises; empty if it does not raise.
template <class Exception, class Call>
std::string whatOf(Call&& call) {
    try {
        call();
    } catch (const Exception& e) {
        return e.what();
    }
    return std::string();
}

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_RAISED_H
