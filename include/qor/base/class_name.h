#ifndef QOR_BASE_CLASS_NAME_H
#define QOR_BASE_CLASS_NAME_H

#include <string>
#include <typeinfo>

#include "qor/api.h"

namespace qor {

// The name of a class as messages show it: "class qor::Thread"; of a built-in type: "long".
QOR_API std::string className(const std::type_info& type);

// "qor::Scope<class qor::Thread>::member". The text is never freed, since exceptions that refer to
// it may outlive every static object. Any thread may call it.
QOR_API const char* memberName(const char* scope, const std::type_info& type, const char* member);
template <class T>
const char* memberName(const char* scope, const char* member) {
    return memberName(scope, typeid(T), member);
}

}  // namespace qor

#endif  // QOR_BASE_CLASS_NAME_H
