#ifndef QOR_PML_NTV_VALUE_H
#define QOR_PML_NTV_VALUE_H

#include <cstddef>
#include <iosfwd>
#include <string>
#include <utility>

#include "qor/api.h"
#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/base/interface.h"
#include "qor/log/log_dumper.h"

// The values of a pml tree. Parsed trees have only StringValue and ListValue; the typed classes are
// for trees that are built by code. docs/formats.md describes the text format.

namespace qor::pml::ntv {

class Unit;

// A value, owned by its unit. Only one thread at a time may use it.
class QOR_API ValueBase : noncopyable {
public:
    virtual ~ValueBase();
    // True for all values except a list.
    virtual bool single() const noexcept = 0;
    // A new value of the same class without an owner; lists are copied deeply.
    virtual ValueBase* clone() const = 0;
    virtual dumper& dump(dumper& d) const = 0;
    // Writes the value's text in pml.
    virtual void dump(std::ostream& os) const = 0;

    // The unit that has the value; maintained by the units.
    Unit* owner() const noexcept { return owner_; }
    Unit*& owner() noexcept { return owner_; }

    // Record the value in the leak table.
    static void* operator new(std::size_t size);
    static void* operator new(std::size_t size, const char* file, unsigned line, const char* func);
    static void operator delete(void* ptr) noexcept;
    static void operator delete(void* ptr, const char* file, unsigned line,
                                const char* func) noexcept;

protected:
    explicit ValueBase(Unit* owner) noexcept : owner_(owner) {}

private:
    friend class StringValue;
    friend class ListValue;
    friend class Unit;
    enum class Kind : unsigned char { Typed, Text, List };
    ValueBase(Unit* owner, Kind kind) noexcept : owner_(owner), kind_(kind) {}

    Unit* owner_;
    Kind kind_ = Kind::Typed;  // so that StringValue and ListValue are found without dynamic_cast
};

// The common base of the scalar classes. Self is the class, Content the type of its content.
template <class Self, class Content>
class TypedValue : public ValueBase {
public:
    explicit TypedValue(Unit* owner = nullptr) : ValueBase(owner) {}
    explicit TypedValue(const Content& content, Unit* owner = nullptr)
        : ValueBase(owner), data_(content) {}

    Self& operator=(const Content& content) { return assign(content); }
    Self& assign(const Content& content) {
        data_ = content;
        return static_cast<Self&>(*this);
    }
    const Content& data() const noexcept { return data_; }
    Content& data() noexcept { return data_; }
    static Self* create(const Content& content) {
        return new (__FILE__, __LINE__, "qor::pml::ntv::ValueBase::create") Self(content);
    }

    bool single() const noexcept override { return true; }
    dumper& dump(dumper& d) const override { return dumpPart(d, data_); }
    using ValueBase::dump;

protected:
    Content data_{};
};

// Its text is 1 or 0.
class QOR_API BooleanValue final : public TypedValue<BooleanValue, Bit> {
public:
    using TypedValue::TypedValue;
    using TypedValue::operator=;
    using TypedValue::dump;
    BooleanValue* clone() const override { return create(data_); }
    void dump(std::ostream& os) const override;
};

// Its text is Base64.
class QOR_API BytesValue final : public TypedValue<BytesValue, Bytes> {
public:
    using TypedValue::TypedValue;
    using TypedValue::operator=;
    using TypedValue::dump;
    BytesValue* clone() const override { return create(data_); }
    void dump(std::ostream& os) const override;
};

// Its text is the character unchanged, even if it is reserved in pml.
class QOR_API CharacterValue final : public TypedValue<CharacterValue, Char> {
public:
    using TypedValue::TypedValue;
    using TypedValue::operator=;
    using TypedValue::dump;
    CharacterValue* clone() const override { return create(data_); }
    void dump(std::ostream& os) const override;
};

// Its text has six significant digits.
class QOR_API FloatValue final : public TypedValue<FloatValue, Double> {
public:
    using TypedValue::TypedValue;
    using TypedValue::operator=;
    using TypedValue::dump;
    FloatValue* clone() const override { return create(data_); }
    void dump(std::ostream& os) const override;
};

// The texts of these are decimal.
class QOR_API IntegerValue final : public TypedValue<IntegerValue, Longlong> {
public:
    using TypedValue::TypedValue;
    using TypedValue::operator=;
    using TypedValue::dump;
    IntegerValue* clone() const override { return create(data_); }
    void dump(std::ostream& os) const override;
};
class QOR_API UnsignedValue final : public TypedValue<UnsignedValue, Ulonglong> {
public:
    using TypedValue::TypedValue;
    using TypedValue::operator=;
    using TypedValue::dump;
    UnsignedValue* clone() const override { return create(data_); }
    void dump(std::ostream& os) const override;
};

// Text without escapes; it is written with the escapes of pml.
class QOR_API StringValue final : public ValueBase {
public:
    explicit StringValue(Unit* owner = nullptr) noexcept : ValueBase(owner, Kind::Text) {}
    explicit StringValue(istr text, Unit* owner = nullptr)
        : ValueBase(owner, Kind::Text), data_(text) {}

    StringValue& operator=(istr text) { return assign(text); }
    StringValue& assign(istr text) {
        data_ = text;
        return *this;
    }
    const String& data() const noexcept { return data_; }
    String& data() noexcept { return data_; }
    static StringValue* create(istr text);

    bool single() const noexcept override { return true; }
    StringValue* clone() const override { return create(data_); }
    dumper& dump(dumper& d) const override;
    void dump(std::ostream& os) const override;

private:
    String data_;
};

// Its text is Time::toFullDateTime in single quotes.
class QOR_API TimeValue final : public TypedValue<TimeValue, Time> {
public:
    using TypedValue::TypedValue;
    using TypedValue::operator=;
    using TypedValue::dump;
    TimeValue* clone() const override { return create(data_); }
    void dump(std::ostream& os) const override;
};

// Its text is "\u" and the four hexadecimal digits of the low 16 bits.
class QOR_API WcharValue final : public TypedValue<WcharValue, Wchar> {
public:
    using TypedValue::TypedValue;
    using TypedValue::operator=;
    using TypedValue::dump;
    WcharValue* clone() const override { return create(data_); }
    void dump(std::ostream& os) const override;
};

// Its text is Base64 of UTF-8.
class QOR_API WstringValue final : public TypedValue<WstringValue, std::wstring> {
public:
    using TypedValue::TypedValue;
    using TypedValue::operator=;
    using TypedValue::dump;
    WstringValue* clone() const override { return create(data_); }
    void dump(std::ostream& os) const override;
};

}  // namespace qor::pml::ntv

#endif  // QOR_PML_NTV_VALUE_H
