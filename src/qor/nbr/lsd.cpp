#include "qor/nbr/lsd.h"

#include <algorithm>
#include <cstring>
#include <ostream>
#include <vector>

#include "nbr/pool.h"
#include "qor/base/base_type_convert.h"
#include "qor/base/mlcheck.h"
#include "qor/log/log_dumper.h"

namespace qor::nbr {

namespace {

constexpr ulong32 kFirstCapacity = 8;
// So many items are searched one by one.
constexpr ulong32 kScanned = 16;

const ComplexValue& asComplex(const ValueBase& value) noexcept {
    return static_cast<const ComplexValue&>(value);
}

// A complex value that is being walked, and the next of its items.
struct Walk {
    const ComplexValue* value;
    const ComplexValue::Item* next;
};

}  // namespace

ValueBase::~ValueBase() = default;

void ValueBase::operator delete(void* ptr) noexcept {
    blockReleased(ptr, __FILE__, __LINE__, "qor::nbr::ValueBase::~ValueBase");
    ::operator delete(ptr);
}

void SimpleValue::read(std::string& text) const {
    String converted;
    utf8ToAnsi(data_, converted);
    text = std::move(converted);
}

void SimpleValue::read(std::wstring& text) const {
    utf8ToWstring(data_, text);
}

dumper& SimpleValue::dump(dumper& d) const {
    if (!text_) {
        const write_hex bytes(data_);
        return bytes(d);
    }
    String text;
    read(text);
    if (text.empty()) return d;
    return d.raw("'").raw(text).raw("'");
}

ComplexValue::ComplexValue(const ComplexValue& other) : ComplexValue() {
    if (other.size_ == 0) return;
    ComplexValue copy(*Pool::create(), true);
    copy.copyItems(other);
    swap(copy);
}

ComplexValue& ComplexValue::operator=(const ComplexValue& other) {
    ComplexValue(other).swap(*this);
    return *this;
}

ComplexValue::~ComplexValue() {
    if (ownsPool_) Pool::destroy(*pool_);
}

void ComplexValue::add(unsigned char tag, ValueBase* value) {
    if (value == nullptr) return;
    if (pool_ == nullptr) {
        pool_ = Pool::create();
        ownsPool_ = true;
    }
    pool_->adopt(value);
    try {
        append(Item(tag, value));
    } catch (...) {
        pool_->disownLast();
        throw;
    }
}

ValueBase* ComplexValue::get(unsigned char tag) const noexcept {
    ulong32 expected = 0;
    return findFar(tag, expected);
}

ValueBase* ComplexValue::findFar(unsigned char tag, ulong32& expected) const noexcept {
    if (index_ != nullptr) return index_[tag];
    if (size_ == 0) return nullptr;
    const Item* const first = items_;
    const Item* const last = items_ + size_;
    if (ascending_) {
        const Item* const found = std::lower_bound(
            first, last, tag, [](const Item& item, unsigned char t) { return item.first < t; });
        if (found == last || found->first != tag) return nullptr;
        expected = static_cast<ulong32>(found - first) + 1;
        return found->second;
    }
    if (uniform_) return first->first == tag ? last[-1].second : nullptr;
    for (const Item* item = last; item != first;) {
        if ((--item)->first == tag) return item->second;
    }
    return nullptr;
}

void ComplexValue::append(Item item) {
    if (size_ == capacity_) grow();
    if (size_ != 0) {
        const unsigned char before = items_[size_ - 1].first;
        ascending_ = ascending_ && before < item.first;
        uniform_ = uniform_ && before == item.first;
    }
    if (!ascending_ && !uniform_ && size_ >= kScanned) enterInIndex(item);
    items_[size_++] = item;
}

void ComplexValue::grow() {
    // In 64 bits: the sizes of a view are the bound of all counts.
    const unsigned long wanted = std::max<unsigned long>(2UL * capacity_, kFirstCapacity);
    Item* const items = pool_->makeArray<Item>(wanted);
    std::uninitialized_copy_n(items_, size_, items);
    items_ = items;
    capacity_ = static_cast<ulong32>(wanted);
}

void ComplexValue::enterInIndex(Item item) {
    if (index_ == nullptr) {
        ValueBase** const index = pool_->makeArray<ValueBase*>(256);
        std::fill_n(index, 256, nullptr);
        for (const Item& present : data())
            index[present.first] = present.second;
        index_ = index;
    }
    index_[item.first] = item.second;
}

void ComplexValue::copyItems(const ComplexValue& other) {
    struct Copy {
        const ComplexValue* from;
        const Item* next;
        ComplexValue* to;
    };
    std::vector<Copy> open{{&other, other.begin(), this}};
    while (!open.empty()) {
        Copy& copy = open.back();
        if (copy.next == copy.from->end()) {
            open.pop_back();
            continue;
        }
        const auto& [tag, value] = *copy.next++;
        if (value->simple()) {
            copy.to->append(
                Item(tag, pool_->make<SimpleValue>(static_cast<const SimpleValue&>(*value))));
            continue;
        }
        ComplexValue* const child = pool_->makeComplex();
        copy.to->append(Item(tag, child));
        open.push_back({&asComplex(*value), asComplex(*value).begin(), child});
    }
}

void ComplexValue::swap(ComplexValue& other) noexcept {
    std::swap(ownsPool_, other.ownsPool_);
    std::swap(ascending_, other.ascending_);
    std::swap(uniform_, other.uniform_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
    std::swap(items_, other.items_);
    std::swap(index_, other.index_);
    std::swap(pool_, other.pool_);
}

dumper& ComplexValue::dump(dumper& d) const {
    constexpr const char* kTitle = "qor::nbr::ComplexValue";
    std::vector<Walk> open{{this, begin()}};
    d.enter(kTitle);
    while (!open.empty()) {
        Walk& walk = open.back();
        if (walk.next == walk.value->end()) {
            d.leave();
            open.pop_back();
            if (!open.empty()) d.endline();
            continue;
        }
        const auto& [tag, value] = *walk.next++;
        d.indent().raw("[").write(static_cast<int>(tag)).raw("] ");
        if (value->simple()) {
            value->dump(d);
            d.endline();
            continue;
        }
        d.enter(kTitle);
        open.push_back({&asComplex(*value), asComplex(*value).begin()});
    }
    return d;
}

std::ostream& operator<<(std::ostream& os, const ValueBase& value) {
    dumper d(os);
    value.dump(d);
    return os;
}

}  // namespace qor::nbr
