#ifndef QOR_BASE_INTERFACE_H
#define QOR_BASE_INTERFACE_H

#include "qor/api.h"

namespace qor {

// The root of all abstract callback and codec classes, derived from virtually.
class QOR_API Interface {
public:
    Interface() = default;
    Interface(const Interface&) = default;
    Interface& operator=(const Interface&) = default;
    virtual ~Interface() = default;
};

// The base of classes that own a resource and cannot be copied.
class noncopyable {
public:
    noncopyable(const noncopyable&) = delete;
    noncopyable& operator=(const noncopyable&) = delete;

protected:
    noncopyable() = default;
    ~noncopyable() = default;
};

}  // namespace qor

#endif  // QOR_BASE_INTERFACE_H
