#ifndef QOR_BASE_CLASS_NAME_H
#define QOR_BASE_CLASS_NAME_H

#include <string>
#include <typeinfo>

#include "qor/api.h"

namespace qor {

// A class as messages spell it: "class qor::Thread".
QOR_API std::string className(const std::type_info& type);

// "qor::Scope<class qor::Thread>::member", made once for each use. The text is never freed: it goes
// into failures that may outlive every static object.
template <class T>
const std::string& memberName(const char* scope, const char* member) {
    return *new std::string(std::string(scope) + '<' + className(typeid(T)) + ">::" + member);
}

}  // namespace qor

#endif  // QOR_BASE_CLASS_NAME_H
