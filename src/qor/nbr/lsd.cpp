#include "qor/nbr/lsd.h"

#include <algorithm>
#include <deque>
#include <memory>
#include <new>
#include <ostream>
#include <vector>

#include "nbr/pool.h"
#include "qor/base/base_type_convert.h"
#include "qor/log/log_dumper.h"
#include "qor/util/wire_value.h"

namespace qor::nbr {

namespace {

constexpr ulong32 kFirstCapacity = 8;

const ComplexValue& asComplex(const ValueBase& value) noexcept {
    return static_cast<const ComplexValue&>(value);
}

// A complex value that is being dumped, and the next of its items.
struct Dumping {
    Dumping(dumper& d, const ComplexValue& complex)
        : entry(d, "qor::nbr::ComplexValue"), next(complex.begin()), end(complex.end()) {}
    dumper::_Entry entry;
    const ComplexValue::Item* next;
    const ComplexValue::Item* end;
};

// A complex value that is being copied, and the next of its items.
struct Copying {
    const ComplexValue::Item* next;
    const ComplexValue::Item* end;
    ComplexValue* to;
};

}  // namespace

ValueBase::~ValueBase() = default;

void* ValueBase::operator new(std::size_t size) {
    return newBlock(size, "qor::nbr::ValueBase::ValueBase");
}

void ValueBase::operator delete(void* ptr) noexcept {
    deleteBlock(ptr, "qor::nbr::ValueBase::~ValueBase");
}

void SimpleValue::read(std::string& text) const {
    // UTF-8 text needs no temporary copy.
    if (wire::textIsUtf8()) {
        text.assign(std::string_view(data_));
        return;
    }
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
    if (pool_ == nullptr || ownsPool_) {
        ComplexValue(other).swap(*this);
    } else {
        // An inner node is never destroyed by itself, so its new items are in the tree's pool.
        ComplexValue copy(*pool_, false);
        copy.copyItems(other);
        swap(copy);
    }
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
    if ((order_ & kAscending) != 0) {
        const Item* const found = std::lower_bound(
            first, last, tag, [](const Item& item, unsigned char t) { return item.first < t; });
        if (found == last || found->first != tag) return nullptr;
        expected = static_cast<ulong32>(found - first) + 1;
        return found->second;
    }
    if ((order_ & kUniform) != 0) return first->first == tag ? last[-1].second : nullptr;
    for (const Item* item = last; item != first;) {
        if ((--item)->first == tag) return item->second;
    }
    return nullptr;
}

void ComplexValue::grow() {
    const unsigned long wanted = std::max<unsigned long>(2UL * capacity_, kFirstCapacity);
    if (wanted > npos32) throw std::bad_alloc();
    Item* const items = pool_->takeArray<Item>(wanted);
    std::uninitialized_copy_n(items_, size_, items);
    items_ = items;
    capacity_ = static_cast<ulong32>(wanted);
}

void ComplexValue::enterInIndex(Item item) {
    if (index_ == nullptr) {
        ValueBase** const index = pool_->takeArray<ValueBase*>(256);
        std::fill_n(index, 256, nullptr);
        for (const Item& present : data())
            index[present.first] = present.second;
        index_ = index;
    }
    index_[item.first] = item.second;
}

void ComplexValue::copyItems(const ComplexValue& other) {
    std::vector<Copying> open{{other.begin(), other.end(), this}};
    while (!open.empty()) {
        Copying& copying = open.back();
        if (copying.next == copying.end) {
            open.pop_back();
            continue;
        }
        const auto& [tag, value] = *copying.next++;
        if (value->simple()) {
            const auto& simple = static_cast<const SimpleValue&>(*value);
            copying.to->append({tag, pool_->make<SimpleValue>(simple)});
            continue;
        }
        const ComplexValue& complex = asComplex(*value);
        ComplexValue* const copy = pool_->makeComplex();
        copying.to->append({tag, copy});
        open.push_back({complex.begin(), complex.end(), copy});
    }
}

void ComplexValue::swap(ComplexValue& other) noexcept {
    std::swap(ownsPool_, other.ownsPool_);
    std::swap(order_, other.order_);
    std::swap(size_, other.size_);
    std::swap(capacity_, other.capacity_);
    std::swap(items_, other.items_);
    std::swap(index_, other.index_);
    std::swap(pool_, other.pool_);
}

dumper& ComplexValue::dump(dumper& d) const {
    std::deque<Dumping> open;
    open.emplace_back(d, *this);
    while (!open.empty()) {
        Dumping& dumping = open.back();
        if (dumping.next == dumping.end) {
            open.pop_back();
            if (!open.empty()) d.endline();
            continue;
        }
        const auto& [tag, value] = *dumping.next++;
        d.indent().raw("[").write(static_cast<int>(tag)).raw("] ");
        if (value->simple()) {
            value->dump(d);
            d.endline();
        } else {
            open.emplace_back(d, asComplex(*value));
        }
    }
    return d;
}

std::ostream& operator<<(std::ostream& os, const ValueBase& value) {
    return dumpTo(os, value);
}

}  // namespace qor::nbr
