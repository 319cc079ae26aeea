#ifndef QOR_NBR_LSD_H
#define QOR_NBR_LSD_H

#include <cstddef>
#include <iosfwd>
#include <string>
#include <utility>

#include "qor/api.h"
#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_time.h"
#include "qor/base/exception.h"
#include "qor/util/BinaryStream.h"

// The values of an nbr tree. docs/formats.md describes the format byte by byte.

namespace qor {

class dumper;

namespace nbr {

class Pool;
class parser;

QOR_DECLARE_EXCEPTION(DecodeException, "qor::nbr::DecodeException");

// A value of a tree that nbr::parser or the program has built. Delete a tree by deleting its root.
// Several threads may read a tree while no thread changes it.
class QOR_API ValueBase {
public:
    virtual ~ValueBase();
    virtual bool simple() const noexcept = 0;
    virtual dumper& dump(dumper& d) const = 0;

    // Record the value in the leak table.
    static void* operator new(std::size_t size);
    static void operator delete(void* ptr) noexcept;

private:
    // Only the two classes below derive from it.
    friend class SimpleValue;
    friend class ComplexValue;
    friend class Reader;
    explicit ValueBase(bool simple) noexcept : simple_(simple) {}
    ValueBase(const ValueBase&) noexcept = default;
    ValueBase& operator=(const ValueBase&) noexcept = default;

    bool simple_;  // as simple(), without a virtual call
};

// A leaf: a view of its data. The parsed buffer must outlive it.
class QOR_API SimpleValue final : public ValueBase {
public:
    // `text` is the mark of text, which only dump uses.
    explicit SimpleValue(bool text) noexcept : ValueBase(true), text_(text) {}
    SimpleValue(istr data, bool text) noexcept : ValueBase(true), text_(text), data_(data) {}

    bool simple() const noexcept override { return true; }
    const istr& data() const noexcept { return data_; }

    // Reads the data as the target's type. The type is not part of the message: missing bytes of a
    // number are 0, and it is not sign-extended, so use the type that was written. Raises
    // BinaryDecodeException if a number has 128 to 255 bytes (modulo 256).
    template <WireScalar T>
    void read(T& value) const {
        qor::setFromWire(value, readUint(wireWidth<T>()));
    }
    void read(Time& value) const { value = Time::microSeconds(readInt(8)); }
    void read(istr& data) const noexcept { data = data_; }
    void read(Bytes& data) const { data = data_; }
    // A std::string is converted from UTF-8 to the configured code page.
    void read(std::string& text) const;
    void read(std::wstring& text) const;

    // Writes marked text in single quotes, other data in hexadecimal.
    dumper& dump(dumper& d) const override;

private:
    long long readInt(unsigned long width) const { return BinaryStream::readInt(data_, width); }
    unsigned long long readUint(unsigned long width) const {
        return BinaryStream::readUint(data_, width);
    }

    bool text_;
    istr data_;
};

// An inner node: a list of tagged values, which it owns. Several values may have the same tag.
//
// The stack use of building, copying, dumping and deleting a tree does not depend on its depth.
class QOR_API ComplexValue final : public ValueBase {
public:
    using Item = std::pair<unsigned char, ValueBase*>;

    // The items in their order, as a range.
    class Items {
    public:
        using value_type = Item;
        using const_iterator = const Item*;

        Items(const Item* first, unsigned long size) noexcept : first_(first), size_(size) {}
        const Item* begin() const noexcept { return first_; }
        const Item* end() const noexcept { return first_ + size_; }
        unsigned long size() const noexcept { return size_; }
        bool empty() const noexcept { return size_ == 0; }
        const Item& operator[](unsigned long i) const noexcept { return first_[i]; }

    private:
        const Item* first_;
        unsigned long size_;
    };

    ComplexValue() noexcept : ValueBase(false) {}
    // A copy of the whole tree. Its leaves are views of the same data.
    ComplexValue(const ComplexValue& other);
    ComplexValue& operator=(const ComplexValue& other);
    ~ComplexValue() override;

    bool simple() const noexcept override { return false; }
    // Adds and owns the value, which must have been allocated by new. If std::bad_alloc is raised,
    // the caller still owns it. A null pointer is ignored.
    void add(unsigned char tag, ValueBase* value);
    // The last value with this tag; null if there is none.
    ValueBase* get(unsigned char tag) const noexcept;
    Items data() const noexcept { return Items(items_, size_); }
    const Item* begin() const noexcept { return items_; }
    const Item* end() const noexcept { return items_ + size_; }

    dumper& dump(dumper& d) const override;

private:
    friend class Reader;
    friend Pool;
    friend parser;

    // A node whose items and children are in a pool, its own or that of its tree.
    ComplexValue(Pool& pool, bool ownsPool) noexcept
        : ValueBase(false), ownsPool_(ownsPool), pool_(&pool) {}
    void append(Item item) {
        if (size_ == capacity_) [[unlikely]]
            grow();
        if (size_ != 0) {
            const unsigned char before = items_[size_ - 1].first;
            order_ &= static_cast<unsigned char>((before < item.first ? kAscending : 0) |
                                                 (before == item.first ? kUniform : 0));
            if (order_ == 0 && size_ >= kScanned) [[unlikely]]
                enterInIndex(item);
        }
        items_[size_++] = item;
    }
    void grow();
    void enterInIndex(Item item);
    void copyItems(const ComplexValue& other);
    void swap(ComplexValue& other) noexcept;
    // As get, but tries the position `expected` first, and sets it to the position after the
    // result.
    ValueBase* find(unsigned char tag, ulong32& expected) const noexcept {
        if (expected < size_ && (order_ & kAscending) != 0 && items_[expected].first == tag) {
            return items_[expected++].second;
        }
        return findFar(tag, expected);
    }
    ValueBase* findFar(unsigned char tag, ulong32& expected) const noexcept;

    // Properties of the tags. Ascending: each is greater than the previous one. Uniform: all are
    // equal.
    static constexpr unsigned char kAscending = 1;
    static constexpr unsigned char kUniform = 2;
    // Up to this number, items without such an order are searched one by one.
    static constexpr ulong32 kScanned = 16;

    bool ownsPool_ = false;
    unsigned char order_ = kAscending | kUniform;
    ulong32 size_ = 0;
    ulong32 capacity_ = 0;
    Item* items_ = nullptr;
    ValueBase** index_ = nullptr;  // by tag; only for many items without an order
    Pool* pool_ = nullptr;
};

QOR_API std::ostream& operator<<(std::ostream& os, const ValueBase& value);

}  // namespace nbr
}  // namespace qor

#endif  // QOR_NBR_LSD_H
