#ifndef QOR_MT_CONTAINERS_H
#define QOR_MT_CONTAINERS_H

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <set>
#include <utility>

#include "qor/base/interface.h"
#include "qor/mt/mutex.h"

namespace qor {

class dumper;

// Standard containers with a lock; any thread may use them. Each operation takes the lock for
// itself: to do several steps without another thread in between, use access(). Elements that an
// operation removes or replaces are destroyed after the lock is released, so their destructors may
// use the container. Comparisons, copies and dumps of elements must not use it.
namespace mt {

// The common base of the locked containers.
template <class Container>
class Locked : noncopyable {
public:
    using Values = Container;
    using Key = typename Container::key_type;

    bool has(const Key& key) const {
        const Guard guard(mutex_);
        return values_.find(key) != values_.end();
    }
    // True if an element was erased.
    bool erase(const Key& key) {
        typename Values::node_type removed;
        const Guard guard(mutex_);
        removed = values_.extract(key);
        return !removed.empty();
    }
    void clear() {
        Values removed;
        const Guard guard(mutex_);
        removed.swap(values_);
    }
    std::size_t size() const {
        const Guard guard(mutex_);
        return values_.size();
    }
    bool empty() const { return size() == 0; }
    // Runs `f` on the plain container with the lock held; `f` must not use this object.
    template <class F>
    auto access(F f) {
        const Guard guard(mutex_);
        return f(values_);
    }
    template <class F>
    auto access(F f) const {
        const Guard guard(mutex_);
        return f(values_);
    }

protected:
    Locked() = default;
    ~Locked() = default;

    Mutex mutex_;
    Values values_;
};

template <class K, class V, class Compare = std::less<K>>
class map : public Locked<std::map<K, V, Compare>> {
public:
    // Inserts or replaces.
    void set(const K& key, V value) {
        const Guard guard(mutex_);
        const auto [place, inserted] = values_.try_emplace(key, std::move(value));
        if (!inserted) std::swap(place->second, value);
    }
    // Inserts and returns true, or leaves the present value and returns false.
    bool insert(const K& key, V value) {
        const Guard guard(mutex_);
        return values_.try_emplace(key, std::move(value)).second;
    }
    // Copies the value of the key to `value`. Returns false, and leaves `value` unchanged, if the
    // key is missing.
    bool get(const K& key, V& value) const {
        std::optional<V> copy = find(key);
        if (copy) value = *std::move(copy);
        return copy.has_value();
    }
    // The value of the key, which is inserted if it is missing. The reference is valid until the
    // key is removed; access through it is not locked.
    V& operator[](const K& key) {
        const Guard guard(mutex_);
        return values_[key];
    }

    // Defined in log_dumper.h.
    dumper& dump(dumper& d) const;

private:
    using map::Locked::mutex_;
    using map::Locked::values_;

    std::optional<V> find(const K& key) const {
        const Guard guard(mutex_);
        const auto found = values_.find(key);
        return found == values_.end() ? std::nullopt : std::optional<V>(found->second);
    }
};

template <class T, class Compare = std::less<T>>
class set : public Locked<std::set<T, Compare>> {
public:
    // Returns false if the value is already present.
    bool insert(T value) {
        const Guard guard(mutex_);
        return values_.insert(std::move(value)).second;
    }

    // Defined in log_dumper.h.
    dumper& dump(dumper& d) const;

private:
    using set::Locked::mutex_;
    using set::Locked::values_;
};

}  // namespace mt
}  // namespace qor

#endif  // QOR_MT_CONTAINERS_H
