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

// A volatile scalar, for a member that other threads read. One access reads or writes it; the tree
// itself is not protected.
template <class T>
concept VolatileScalar = std::is_volatile_v<T> && WireScalar<std::remove_volatile_t<T>>;

// A node of a pml tree: a name, a type and a value, which is a scalar or a list of child units.
// Nearly all scalars are text: operator<< writes a number as its text and operator>> parses it, so
// that a parsed tree and one that was built by code look the same. The type is any text; the tree
// itself uses only "utf8" for wide text and "base64" for bytes.
//
// Children with a name are found by it, those without one by "[" index "]". A child with the name
// of a sibling is not added; a child that gets such a name later is found by its index too. Finding
// a child by its name takes O(log n).
//
// A unit owns its value, and through it its children, which are deleted only through their parent.
// The stack use of building, copying, showing and deleting a tree does not depend on its depth. A
// tree belongs to one thread at a time; nothing here locks.
class QOR_API Unit {
public:
    explicit Unit(Unit* parent = nullptr) noexcept : parent_(parent) {}
    explicit Unit(istr name, Unit* parent = nullptr) : name_(name), parent_(parent) {}
    // As value(ValueBase*) takes the value.
    Unit(istr name, istr type, ValueBase* value, Unit* parent = nullptr);
    Unit(istr name, istr type, istr value, Unit* parent = nullptr);
    explicit Unit(ValueBase* value, Unit* parent = nullptr);
    // Name, type and a copy of the value; a root.
    Unit(const Unit& other);
    // The same, but parent and index are kept. The other unit may be a part of this one. The name
    // is set as by name(istr).
    Unit& operator=(const Unit& other);
    ~Unit();

    // The shared empty unit that the reading operators return for a missing child.
    static const Unit& null();
    static void destroy_null() noexcept;

    // Children.

    // Appends the child and returns true; the unit then owns it. A unit with a string becomes a
    // list with the string in a first child without a name; another scalar is dropped.
    //
    // Otherwise the caller still owns the child: the result is false for null and if memory runs
    // out, and DuplicatedUnitException is raised for the name of a sibling.
    bool addChild(Unit* child);
    // The same, but always takes ownership; raises std::bad_alloc if memory runs out.
    void addChild(std::unique_ptr<Unit> child);
    // Append a new unit, or a copy. Nothing is added unless the result is true.
    bool addChild(istr name);
    bool addChild(istr name, istr value);
    bool addChild(istr name, istr type, istr value);
    bool addChild(const Unit& child);
    // Copies a child with a name over the child of that name, which is created if there is none.
    // Deliberate (compatibility): returns false then, although it has succeeded. A child without a
    // name is appended as by addChild. Always takes ownership of the child.
    bool addOrUpdateChild(Unit* child);
    bool updateChild(istr name, istr value);
    bool updateChild(istr name, istr type, istr value);
    bool updateChild(const Unit& child);
    // False if there is no such child. A child that is no string gives empty text.
    bool getChild(istr name, String& value) const;

    // Null if there is no such child. An empty name and "." are the unit itself, "/" its root and
    // ".." its parent.
    Unit* at(istr name) const;
    Unit* at(const char* begin, const char* end) const { return at(istr(begin, end)); }
    Unit* at(const unsigned char* begin, const unsigned char* end) const;
    // Searches only the children, and creates the child if there is none. Beware: on a unit that is
    // not const, ".", ".." and "/" are names like any other: at("..") creates a child of that name.
    // std::as_const(unit).at("..") is the parent.
    Unit* at(istr name);
    // Null, with an error in the log, if there is no such child or no list.
    Unit* childAt(unsigned long index) const;
    // Follows a path: names, "." and ".." with "/" between them, from the root if it begins with
    // "/"; "[2]" is the third child. Creates nothing; null if there is no such unit.
    Unit* find(istr path) const;
    // As childAt and at, with null() in place of null.
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
    // As the at of a unit that is not const: creates the child if there is none.
    Unit& operator[](istr name) { return *at(name); }
    unsigned long numofChildren() const noexcept;

    Unit* root() const noexcept;
    Unit* parent() const noexcept { return parent_; }
    void parent(Unit* unit) noexcept { parent_ = unit; }
    // The place among the parent's children.
    unsigned long index() const noexcept { return index_; }
    void index(unsigned long n) noexcept { index_ = n; }
    // The names or indices of the units from below the root down to this one, each after a "/"; "/"
    // for the root.
    String path() const;

    // What it is.

    const String& name() const noexcept { return name_; }
    // Accepts any name. If a sibling has it already, at(name) of the parent still returns the
    // sibling, and this unit is found by "[" index "]" until it is renamed. The text of such a tree
    // has the name twice, and does not read back.
    void name(istr text);
    const String& type() const noexcept { return type_; }
    void type(istr text) { type_ = text; }
    // Null for a unit without a value.
    ValueBase* value() noexcept { return value_; }
    const ValueBase* value() const noexcept { return value_; }
    // Replaces the value, and takes ownership of the new one in any case, also if it raises. The
    // children of a list become those of this unit. Raises DuplicatedUnitException for a list with
    // a repeated name; the unit is unchanged then.
    void value(ValueBase* newValue);
    void value(istr text) { setValue(text); }
    // Children are deleted. A scalar that is no string is unchanged, and the text is dropped.
    void setValue(istr text);
    // Transfers the value, which may be null, to the caller.
    ValueBase* popValue();
    // Back to an empty unit without a parent.
    void clear() noexcept;
    // Replaces the value by an empty list.
    void initValueAsList();
    // Stored, and nothing else.
    bool allNesessary() const noexcept { return allNesessary_; }
    void allNesessary(bool on) noexcept { allNesessary_ = on; }

    // Scalars.

    // Set the value to the text of a scalar, as setValue does: 1 and 0 for bool, the character
    // itself for one of 8 bits, the code of a wide one, decimal numbers, six significant digits.
    template <WireScalar T>
    Unit& operator<<(T value) {
        return setScalar(value);
    }
    Unit& operator<<(istr text);
    Unit& operator<<(const String& text) { return *this << istr(text); }
    Unit& operator<<(const std::string& text) { return *this << istr(text); }
    Unit& operator<<(const char* text) { return *this << istr(text); }
    Unit& operator<<(const unsigned char* text) { return *this << istr(text); }
    // UTF-8 in Base64, with the type "utf8".
    Unit& operator<<(iwstr text);
    Unit& operator<<(const std::wstring& text) { return *this << iwstr(text); }
    Unit& operator<<(const wchar_t* text) { return *this << iwstr(text); }
    // Base64, with the type "base64".
    Unit& operator<<(const Bytes& bytes);
    // The full date and time, to the millisecond, in local time.
    Unit& operator<<(const Time& time);
    // Takes the type and a copy of the value.
    Unit& operator<<(const Unit& other);
    // Appends a copy of every child of the other unit, each as addChild does.
    Unit& operator+=(const Unit& other);

    // Read the text as the target's type. False, with the target unchanged, unless the value is a
    // string that is not empty and parses: a number may be followed by other text, a bool is
    // "true", "false" or a number, a character is the first one. Wide text is Base64 of UTF-8 for
    // the type "utf8", otherwise text in the configured code page.
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
    // other << *this; true.
    bool operator>>(Unit& other) const;

    // Null and false for a value that is something else.
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
    // Empty if the value is no string.
    istr getStringValue() const noexcept;
    // Neither name nor type nor value.
    bool empty() const noexcept;
    // No string, or one without text, and no list. So a list is not empty, even without children,
    // and a scalar that is no string is: that is kept so.
    bool valueEmpty() const noexcept;
    // No value, or a scalar.
    bool simple() const noexcept { return value_ == nullptr || value_->single(); }
    // Where the chain of only children that begins here ends.
    const Unit& chainEnd() const noexcept;
    // The whole subtree is such a chain.
    bool childWasSingle() const noexcept { return chainEnd().numofChildren() == 0; }
    // At least two children, all without a name and with a type.
    bool childrenWereUnnamedList() const noexcept;

    // As text. The second form appends; false for an unknown mode.
    String str(ShowMode mode = ShowMode::FORMATTED, ShowPattern pattern = ShowPattern::ALL) const;
    bool toString(String& out, ShowMode mode = ShowMode::FORMATTED,
                  ShowPattern pattern = ShowPattern::ALL) const;
    dumper& dump(dumper& d) const;

    // Tell the leak table.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const char* file, unsigned line, const char* func);
    static void operator delete(void* ptr) noexcept;
    static void operator delete(void* ptr, const char* file, unsigned line,
                                const char* func) noexcept;

private:
    friend class ListValue;

    // The children with a name, in the order of their names. Kept for lists that are too long to be
    // searched one by one.
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
    // What this unit is found under.
    String key() const;
    // Among the first children of a list, by a name that is not empty; null if there is none.
    static Unit* byIndexIn(const ListValue& list, unsigned long count, istr key) noexcept;
    static Unit* searchIn(const ListValue& list, unsigned long count, istr name) noexcept;
    Unit* findChild(istr name) const noexcept;
    // The list that contains this unit; null for a root and for a unit whose parent was only set.
    ListValue* listAround() const noexcept;
    // Among those in `siblings` by its name.
    bool foundByName() const noexcept { return !name_.empty() && !nameTaken_; }
    Children::node_type leaveSiblings(Unit& holder) noexcept;
    // Numbers the children, and raises for a repeated name. Null for a short list, which is
    // searched.
    static std::unique_ptr<Children> initChildrenMap(const ValueBase* value);
    // Takes in a child that the list ends with.
    void copyIntoMap(const ListValue& list, Unit* child);
    void setValueOwner(Unit* owner) noexcept;
    void dropValue() noexcept;
    // The other unit is left without a value.
    void takeValueOf(Unit& other) noexcept;
    void replaceValue(ValueBase* newValue, std::unique_ptr<Children> children = nullptr) noexcept;
    // The list that children are added to; turns the unit into one.
    ListValue& makeList();
    // A failure changes nothing. The second form is for a name that no child has.
    void append(ListValue& list, Unit* child);
    void appendNew(ListValue& list, Unit* child);

    String name_;
    String type_;
    ValueBase* value_ = nullptr;
    Unit* parent_ = nullptr;
    unsigned long index_ = 0;
    std::unique_ptr<Children> children_;
    std::optional<StringValue> text_;  // the value, for text that was set: it needs no block then
    bool allNesessary_ = false;
    bool nameTaken_ = false;  // a sibling had the name first
};

class QOR_API null_unit : public Unit {
private:
    friend CreateByAllocate<null_unit>;
    null_unit() = default;
};

// In the FORMATTED layout: name, type and value. The second form appends.
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
