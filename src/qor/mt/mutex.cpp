#include "qor/mt/mutex.h"

namespace qor {

Mutex::Mutex() = default;
Mutex::~Mutex() = default;

void Mutex::lock() const {
    impl_.acquire();
}

void Mutex::unlock() const {
    impl_.release();
}

bool Mutex::tryLock() const {
    return impl_.tryacquire() == 0;
}

}  // namespace qor
