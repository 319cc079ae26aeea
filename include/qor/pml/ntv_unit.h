#ifndef QOR_PML_NTV_UNIT_H
#define QOR_PML_NTV_UNIT_H

#include <concepts>
#include <cstddef>
#include <iosfwd>
#include <memory>
#include <optional>
#include <set>
#include <string>
#include <type_traits>
#include <utility>

#include "qor/base/exception.h"
#include "qor/pml/ntv_listvalue.h"
#include "qor/pml/ntv_value.h"
#include "qor/pml/pml_show.h"
#include "qor/util/BinaryStream.h"
#include "qor/util/singleton_T.h"

namespace qor::pml::ntv {

using qor::DuplicatedUnitException;

// A volatile scalar, for a member that other threads also access. It is read or written by a single
// access; the tree itself is not protected.
template <class T>
concept VolatileScalar = std::is_volatile_v<T> && WireScalar<std::remove_volatile_t<T>>;

// A node of a pml tree: a name, a type and a value, which is a scalar or a list of child units:
//
//     Unit unit("contact");
//     unit["name"] << "Ann";
//     unit["age"] << 30;
//     long age = 0;
//     std::as_const(unit)["age"] >> age;
//
// Nearly all scalars are text: operator<< stores a number as its text and operator>> parses it, so
// that a parsed tree and one that was built by code are equal. The type is any text; the tree
// itself uses only "utf8" for wide text and "base64" for bytes.
//
// A child with a name is found by it, a child without one by "[" index "]". A child with the name
// of a sibling is not added; a child that gets such a name later is found by its index. Finding a
// child by its name takes O(log n).
//
// A unit owns its value, and through it its children; do not delete a child directly. The stack use
// of building, copying, writing and deleting a tree does not depend on its depth. Only one thread
// at a time may use a tree; there are no locks.
class QOR_API Unit {
public:
    explicit Unit(Unit* parent = nullptr) noexcept : parent_(parent) {}
    explicit Unit(istr name, Unit* parent = nullptr) : name_(name), parent_(parent) {}
    // The value is owned as by value(ValueBase*).
    Unit(istr name, istr type, ValueBase* value, Unit* parent = nullptr);
    Unit(istr name, istr type, istr value, Unit* parent = nullptr);
    explicit Unit(ValueBase* value, Unit* parent = nullptr);
    // Copies name, type and value; the new unit has no parent.
    Unit(const Unit& other);
    // Copies name, type and value; parent and index are kept. `other` may be a part of this unit.
    // The name is set as by name(istr).
    Unit& operator=(const Unit& other);
    ~Unit();

    // The shared empty unit that the reading operators return for a missing child.
    static const Unit& null();
    static void destroy_null() noexcept;

    // Children.

    // Appends the child and returns true; the unit then owns it. A unit with a string becomes a
    // list, with the string in a first child without a name; another scalar is dropped.
    //
    // Otherwise the caller still owns the child: returns false for null and if memory runs out, and
    // raises DuplicatedUnitException if a sibling has the name.
    bool addChild(Unit* child);
    // The same, but always owns the child, and raises std::bad_alloc if memory runs out.
    void addChild(std::unique_ptr<Unit> child);
    // Append a new unit, or a copy. Nothing is added unless the result is true.
    bool addChild(istr name);
    bool addChild(istr name, istr value);
    bool addChild(istr name, istr type, istr value);
    bool addChild(const Unit& child);
    // Copies `child` to the child of the same name, which is created if it is missing. Deliberate
    // (compatibility): returns false then, although it has succeeded. A child without a name is
    // appended as by addChild. Always owns the argument.
    bool addOrUpdateChild(Unit* child);
    bool updateChild(istr name, istr value);
    bool updateChild(istr name, istr type, istr value);
    bool updateChild(const Unit& child);
    // Returns false if there is no such child. A child that is not a string gives empty text.
    bool getChild(istr name, String& value) const;

    // Null if there is no such child. An empty name and "." are the unit itself, "/" its root and
    // ".." its parent.
    Unit* at(istr name) const;
    Unit* at(const char* begin, const char* end) const { return at(istr(begin, end)); }
    Unit* at(const unsigned char* begin, const unsigned char* end) const;
    // Searches only the children, and creates the child if it is missing. Note that here ".", ".."
    // and "/" are ordinary names: at("..") of a unit that is not const creates a child of that
    // name, while std::as_const(unit).at("..") is the parent.
    Unit* at(istr name);
    // The same, but creates nothing: null if there is no such child.
    Unit* child(istr name) const noexcept { return findChild(name); }
    // If there is no such child or no list, returns null and logs an error.
    Unit* childAt(unsigned long index) const;
    // Follows a path: names, "." and "..", separated by "/", from the root if it begins with "/";
    // "[2]" is the third child. Creates nothing; null if there is no such unit.
    Unit* find(istr path) const;
    // As childAt and at, but return null() instead of a null pointer.
    template <std::integral N>
    const Unit& operator[](N index) const {
        return orNull(childAt(static_cast<unsigned long>(index)));
    }
    template <std::integral N>
    const Unit& operator[](N index) {
        return std::as_const(*this)[index];
    }
    const Unit& operator[](istr name) const { return orNull(at(name)); }
    template <std::integral N>
    const Unit& operator()(N index) const {
        return (*this)[index];
    }
    const Unit& operator()(istr name) const { return orNull(at(name)); }
    // Creates the child if it is missing.
    Unit& operator[](istr name) { return *at(name); }
    unsigned long numofChildren() const noexcept;

    Unit* root() const noexcept;
    Unit* parent() const noexcept { return parent_; }
    void parent(Unit* unit) noexcept { parent_ = unit; }
    // The position among the parent's children.
    unsigned long index() const noexcept { return index_; }
    void index(unsigned long n) noexcept { index_ = n; }
    // "/" and the name or "[" index "]" of each unit from below the root to this one; "/" for the
    // root.
    String path() const;

    // Name, type and value.

    const String& name() const noexcept { return name_; }
    // Accepts any name. If a sibling already has it, at(name) of the parent still returns the
    // sibling, and this unit is found by "[" index "]" until it is renamed. The text of such a tree
    // has the name twice and cannot be read back.
    void name(istr text);
    const String& type() const noexcept { return type_; }
    void type(istr text) { type_ = text; }
    // Null for a unit without a value.
    ValueBase* value() noexcept { return value_; }
    const ValueBase* value() const noexcept { return value_; }
    // Replaces the value. Owns the new one in any case, even if an exception is raised. The
    // children of a list become those of this unit. For a list with a repeated name, raises
    // DuplicatedUnitException and leaves the unit unchanged.
    void value(ValueBase* newValue);
    void value(istr text) { setValue(text); }
    // Sets the value to a string; children are deleted. If the value is a scalar that is not a
    // string, it is unchanged and the text is dropped.
    void setValue(istr text);
    // Transfers the value, which may be null, to the caller.
    ValueBase* popValue();
    // Resets to an empty unit without a parent.
    void clear() noexcept;
    // Replaces the value by an empty list.
    void initValueAsList();
    // A flag for the caller; it has no effect.
    bool allNesessary() const noexcept { return allNesessary_; }
    void allNesessary(bool on) noexcept { allNesessary_ = on; }

    // Scalars.

    // Set the value, by setValue, to the text of a scalar: "1" or "0" for bool, an 8-bit character
    // itself, the code of a wide character, decimal numbers, floating point with six significant
    // digits.
    template <WireScalar T>
    Unit& operator<<(T value) {
        return setScalar(value);
    }
    Unit& operator<<(istr text);
    Unit& operator<<(const String& text) { return *this << istr(text); }
    Unit& operator<<(const std::string& text) { return *this << istr(text); }
    Unit& operator<<(const char* text) { return *this << istr(text); }
    Unit& operator<<(const unsigned char* text) { return *this << istr(text); }
    // Wide text is stored as Base64 of UTF-8, with the type "utf8".
    Unit& operator<<(iwstr text);
    Unit& operator<<(const std::wstring& text) { return *this << iwstr(text); }
    Unit& operator<<(const wchar_t* text) { return *this << iwstr(text); }
    // Stored as Base64, with the type "base64".
    Unit& operator<<(const Bytes& bytes);
    // Stored as Time::toFullDateTime: local time, to the millisecond.
    Unit& operator<<(const Time& time);
    // Copies type and value.
    Unit& operator<<(const Unit& other);
    // Appends a copy of each child of `other`, as by addChild.
    Unit& operator+=(const Unit& other);

    // Read the text as the target's type. Return false, and leave the target unchanged, if the
    // value is not a string, is empty, or cannot be parsed. A number may be followed by other text;
    // a bool is "true", "false" or a number; a character is the first one of the text. Wide text is
    // Base64 of UTF-8 if the type is "utf8", otherwise text in the configured code page. Base64 is
    // decoded without a check, and text that is no Time gives what Time::fromString gives.
    template <WireScalar T>
    bool operator>>(T& target) const {
        return readScalar(target);
    }
    template <VolatileScalar T>
    bool operator>>(T& target) const {
        std::remove_volatile_t<T> value{};
        if (!(*this >> value)) return false;
        target = value;
        return true;
    }
    bool operator>>(std::string& target) const;
    bool operator>>(std::wstring& target) const;
    bool operator>>(Bytes& target) const;
    bool operator>>(Time& target) const;
    // Calls other << *this and returns true.
    bool operator>>(Unit& other) const;

    // Set the target to null and return false if the value is of another kind.
    bool getValue(StringValue*& target) const noexcept;
    bool getValue(ListValue*& target) const noexcept;
    StringValue* stringValue() const noexcept {
        const bool is = value_ != nullptr && value_->kind_ == ValueBase::Kind::Text;
        return is ? static_cast<StringValue*>(value_) : nullptr;
    }
    ListValue* listValue() const noexcept {
        const bool is = value_ != nullptr && value_->kind_ == ValueBase::Kind::List;
        return is ? static_cast<ListValue*>(value_) : nullptr;
    }
    // Empty if the value is not a string.
    istr getStringValue() const noexcept;
    // True if there is no name, no type and no value.
    bool empty() const noexcept;
    // True if there is no value, an empty string, or a scalar that is not a string. Deliberate
    // (compatibility): a list is never empty, even without children, and a number always is.
    bool valueEmpty() const noexcept;
    // True if there is no value or a scalar.
    bool simple() const noexcept { return value_ == nullptr || value_->single(); }
    // Follows the only child as long as a unit has exactly one; returns the last unit.
    const Unit& chainEnd() const noexcept;
    // True if no unit of the subtree has more than one child.
    bool childWasSingle() const noexcept { return chainEnd().numofChildren() == 0; }
    // True if there are at least two children, all without a name and with a type.
    bool childrenWereUnnamedList() const noexcept;

    // The unit as text. The second form appends, and returns false for an unknown mode.
    String str(ShowMode mode = ShowMode::FORMATTED, ShowPattern pattern = ShowPattern::ALL) const;
    bool toString(String& out, ShowMode mode = ShowMode::FORMATTED,
                  ShowPattern pattern = ShowPattern::ALL) const;
    dumper& dump(dumper& d) const;

    // Record the unit in the leak table.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const char* file, unsigned line, const char* func);
    static void operator delete(void* ptr) noexcept;
    static void operator delete(void* ptr, const char* file, unsigned line,
                                const char* func) noexcept;

private:
    friend class ListValue;

    // The children with a name, ordered by name. Used for lists of more than kSearched children;
    // shorter ones are searched one by one.
    struct ByName {
        using is_transparent = void;
        bool operator()(const Unit* left, const Unit* right) const noexcept;
        bool operator()(const Unit* left, istr right) const noexcept;
        bool operator()(istr left, const Unit* right) const noexcept;
    };
    using Children = std::set<Unit*, ByName>;
    static constexpr unsigned long kSearched = 16;

    static const Unit& orNull(const Unit* unit) { return unit != nullptr ? *unit : null(); }

    template <WireScalar T>
    Unit& setScalar(const T& value) {
        if constexpr (NumberWrapper<T>) {
            return setScalar(value.value());
        } else if constexpr (std::same_as<T, bool>) {
            return *this << (value ? "1" : "0");
        } else if constexpr (sizeof(T) == 1) {
            const char character = static_cast<char>(value);
            return *this << istr(&character, 1);
        } else {
            String text;
            formatNumber(static_cast<Number<T>>(value), text);
            return *this << istr(text);
        }
    }
    template <WireScalar T>
    bool readScalar(T& target) const {
        if constexpr (NumberWrapper<T>) {
            return readScalar(target.value());
        } else if constexpr (std::same_as<T, bool>) {
            return readBool(target);
        } else if constexpr (sizeof(T) == 1) {
            const istr text = getStringValue();
            if (text.empty()) return false;
            target = static_cast<T>(*text);
            return true;
        } else {
            Number<T> number{};
            if (!parseNumber(getStringValue(), number)) return false;
            target = static_cast<T>(number);
            return true;
        }
    }
    // A wide character is written as its code.
    template <class T>
    using Number = std::conditional_t<std::same_as<T, wchar_t>, long32, T>;
    bool readBool(bool& target) const noexcept;

    template <class... Args>
    bool addNew(const Args&... args);
    // The text by which at() of the parent finds this unit.
    String key() const;
    // Search the first `count` children of a list for an index key or a name that is not empty;
    // null if there is none.
    static Unit* byIndexIn(const ListValue& list, unsigned long count, istr key) noexcept;
    static Unit* searchIn(const ListValue& list, unsigned long count, istr name) noexcept;
    Unit* findChild(istr name) const noexcept;
    // Not by its index.
    Unit* findNamed(istr name) const noexcept;
    // The list that contains this unit; null for a root.
    ListValue* listAround() const noexcept;
    // Whether at() of the parent finds this unit by its name.
    bool foundByName() const noexcept { return !name_.empty() && !nameTaken_; }
    Children::node_type leaveSiblings(Unit& holder) noexcept;
    // Sets the indexes of the children, and raises for a repeated name. Null for a short list. In a
    // copy of a tree, a child may have the name "[0]" although a sibling that lost its name later
    // is found by that text.
    static std::unique_ptr<Children> initChildrenMap(const ValueBase* value);
    static std::unique_ptr<Children> initChildrenMap(const ValueBase* value, bool isCopy);
    // Adds the last child of the list to the set of children.
    void copyIntoMap(const ListValue& list, Unit* child);
    void setValueOwner(Unit* owner) noexcept;
    void dropValue() noexcept;
    // After this call, `other` has no value.
    void takeValueOf(Unit& other) noexcept;
    void replaceValue(ValueBase* newValue, std::unique_ptr<Children> children = nullptr) noexcept;
    // The list of children; converts the value to a list if it is none.
    ListValue& makeList();
    // If an exception is raised, nothing is changed. The second form is for a name that no child
    // has.
    void append(ListValue& list, Unit* child);
    void appendNew(ListValue& list, Unit* child);

    String name_;
    String type_;
    ValueBase* value_ = nullptr;
    Unit* parent_ = nullptr;
    // The unit whose list has this one; null for a root. Unlike the parent, it cannot be set, and
    // clear() keeps it.
    Unit* holder_ = nullptr;
    unsigned long index_ = 0;
    std::unique_ptr<Children> children_;
    // The value, if it is text that was set; it then needs no allocation.
    std::optional<StringValue> text_;
    bool allNesessary_ = false;
    bool nameTaken_ = false;  // a sibling already had the name
};

class QOR_API null_unit : public Unit {
private:
    friend CreateByAllocate<null_unit>;
    null_unit() = default;
};

// Write name, type and value in the FORMATTED layout. The second form appends.
QOR_API std::ostream& operator<<(std::ostream& os, const Unit& unit);
QOR_API String& operator<<(String& out, const Unit& unit);
// Set the value to the text of the object.
QOR_API Unit& operator<<(Unit& unit, const ShowMode& mode);
QOR_API Unit& operator<<(Unit& unit, const ShowPattern& pattern);

}  // namespace qor::pml::ntv

namespace qor {
extern template class QOR_API CreateByAllocate<pml::ntv::null_unit>;
}

#endif  // QOR_PML_NTV_UNIT_H
