#ifndef QOR_MT_CONTAINERS_H
#define QOR_MT_CONTAINERS_H

#include <functional>
#include <map>
#include <set>
#include <utility>

#include "qor/mt/mutex.h"

namespace qor {

class dumper;

// Standard containers behind a lock. Each single operation takes the lock, so a read and a write
// that follows are two steps; use access for more than one step. References and callbacks never
// leave the lock but where an operation says so.
namespace mt {

template <class K, class V, class Compare = std::less<K>>
class map : noncopyable {
public:
    using Values = std::map<K, V, Compare>;

    // Inserts or replaces.
    void set(const K& key, V value) {
        const Guard guard(mutex_);
        values_.insert_or_assign(key, std::move(value));
    }
    // Inserts and returns true, or leaves the present value and returns false.
    bool insert(const K& key, V value) {
        const Guard guard(mutex_);
        return values_.try_emplace(key, std::move(value)).second;
    }
    // Copies the value out; false if the key is absent.
    bool get(const K& key, V& value) const {
        const Guard guard(mutex_);
        const auto found = values_.find(key);
        if (found == values_.end()) return false;
        value = found->second;
        return true;
    }
    // The value under the key, inserted when it is missing. The reference stays valid until the
    // key is erased; what it refers to is not locked.
    V& operator[](const K& key) {
        const Guard guard(mutex_);
        return values_[key];
    }
    bool has(const K& key) const {
        const Guard guard(mutex_);
        return values_.find(key) != values_.end();
    }
    // True if there was something to erase.
    bool erase(const K& key) {
        const Guard guard(mutex_);
        return values_.erase(key) != 0;
    }
    void clear() {
        Values gone;
        const Guard guard(mutex_);
        gone.swap(values_);
    }
    std::size_t size() const {
        const Guard guard(mutex_);
        return values_.size();
    }
    bool empty() const { return size() == 0; }
    // Runs `f` on the plain container with the lock held; `f` may not come back to this object.
    template <class F>
    auto access(F f) {
        const Guard guard(mutex_);
        return f(values_);
    }
    template <class F>
    auto access(F f) const {
        const Guard guard(mutex_);
        return f(static_cast<const Values&>(values_));
    }

    // The scope "qor::mt::map". Defined in log_dumper.h.
    dumper& dump(dumper& d) const;

private:
    Mutex mutex_;
    Values values_;
};

template <class T, class Compare = std::less<T>>
class set : noncopyable {
public:
    using Values = std::set<T, Compare>;

    // False if the value was there.
    bool insert(T value) {
        const Guard guard(mutex_);
        return values_.insert(std::move(value)).second;
    }
    bool has(const T& value) const {
        const Guard guard(mutex_);
        return values_.find(value) != values_.end();
    }
    bool erase(const T& value) {
        const Guard guard(mutex_);
        return values_.erase(value) != 0;
    }
    void clear() {
        Values gone;
        const Guard guard(mutex_);
        gone.swap(values_);
    }
    std::size_t size() const {
        const Guard guard(mutex_);
        return values_.size();
    }
    bool empty() const { return size() == 0; }
    // Runs `f` on the plain container with the lock held; `f` may not come back to this object.
    template <class F>
    auto access(F f) {
        const Guard guard(mutex_);
        return f(values_);
    }
    template <class F>
    auto access(F f) const {
        const Guard guard(mutex_);
        return f(static_cast<const Values&>(values_));
    }

    // The scope "qor::mt::set". Defined in log_dumper.h.
    dumper& dump(dumper& d) const;

private:
    Mutex mutex_;
    Values values_;
};

}  // namespace mt
}  // namespace qor

#endif  // QOR_MT_CONTAINERS_H
