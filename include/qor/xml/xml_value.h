#ifndef QOR_XML_XML_VALUE_H
#define QOR_XML_XML_VALUE_H

#include <concepts>
#include <string>
#include <type_traits>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/util/BinaryStream.h"

// The conversion of values to and from the text of an element or an attribute.

namespace qor::xml {

// A volatile scalar, for a member that other threads also access. It is read or written by a single
// access.
template <class T>
concept VolatileScalar = std::is_volatile_v<T> && WireScalar<std::remove_volatile_t<T>>;

// The type as which a value is written and read: bytes that are numbers as wider numbers, and never
// as characters.
template <class T>
struct NumberForm {
    using type = T;
};
template <NumberWrapper T>
struct NumberForm<T> {
    using type = std::conditional_t<
        std::derived_from<T, Bit> || std::derived_from<T, Sbyte>, short,
        std::conditional_t<std::derived_from<T, Byte>, unsigned short, typename T::value_type>>;
};
template <>
struct NumberForm<bool> : NumberForm<Bit> {};

// A wide character as "\u" and four hexadecimal digits of its low 16 bits. For text of another
// length or begin, parseWide returns false and sets 0.
QOR_API void formatWide(wchar_t value, String& out);
QOR_API bool parseWide(istr text, wchar_t& target);

// Appends the text of a value: numbers in decimal, bool as 1 or 0, floating point with six
// significant digits, an 8-bit character as itself (nothing for zero, which would end the
// document), wide text as Base64 of UTF-8, bytes as Base64, Time as Time::toFullDateTime.
template <WireScalar T>
void formatValue(const T& value, String& out) {
    using Form = typename NumberForm<T>::type;
    if constexpr (std::same_as<Form, wchar_t>) {
        formatWide(value, out);
    } else if constexpr (sizeof(Form) > 1 && std::derived_from<T, Sbyte>) {
        formatNumber<Form>(static_cast<signed char>(value.value()), out);
    } else if constexpr (sizeof(Form) > 1) {
        formatNumber(static_cast<Form>(value), out);
    } else if (value != 0) {
        out += static_cast<char>(value);
    }
}
inline void formatValue(istr value, String& out) {
    out += value;
}
QOR_API void formatValue(iwstr value, String& out);
QOR_API void formatValue(const Bytes& value, String& out);
QOR_API void formatValue(const Time& value, String& out);
inline void formatValue(const std::string& value, String& out) {
    out += value;
}
inline void formatValue(const char* value, String& out) {
    out += value;
}
inline void formatValue(const unsigned char* value, String& out) {
    out += value;
}
inline void formatValue(const std::wstring& value, String& out) {
    formatValue(iwstr(value), out);
}
inline void formatValue(const wchar_t* value, String& out) {
    formatValue(iwstr(value), out);
}

// Reads the text of a value. Numbers are read by parseNumber: empty text leaves the target
// unchanged, other text without a number gives 0; both return false. A character is the first one
// of the text, or 0. Base64 is decoded without a check. Text that is not a Time gives what
// Time::fromString gives.
template <WireScalar T>
bool parseValue(istr text, T& target) {
    using Form = typename NumberForm<T>::type;
    Form value{};
    bool good = true;
    if constexpr (std::same_as<Form, wchar_t>) {
        good = parseWide(text, value);
    } else if constexpr (sizeof(Form) == 1) {
        if (!text.empty()) value = static_cast<Form>(*text);
    } else {
        value = static_cast<Form>(target);
        good = parseNumber(text, value);
    }
    if constexpr (NumberWrapper<T>) {  // of a derived class, only the number changes
        target.value() = static_cast<typename T::value_type>(value);
    } else {
        target = static_cast<T>(value);
    }
    return good;
}
inline bool parseValue(istr text, std::string& target) {
    target.assign(std::string_view(text));
    return true;
}
QOR_API bool parseValue(istr text, std::wstring& target);
QOR_API bool parseValue(istr text, Bytes& target);
QOR_API bool parseValue(istr text, Time& target);

// Types that can be written, and types that can be read. A program gives a type of its own the form
// of one text by functions formatValue(const T&, String& out) and bool parseValue(istr text, T&) in
// the namespace of the type.
template <class T>
concept Writable = requires(const T& value, String& out) {
    formatValue(value, out);
};
template <class T>
concept Readable = requires(istr text, T& target) {
    parseValue(text, target);
};

// The "__type__" of an element with such a value; empty for most types.
template <class T>
constexpr istr typeOf() noexcept {
    if constexpr (std::derived_from<T, Bytes>) {
        return istr("base64", 6);
    } else if constexpr (!WireScalar<T> && std::convertible_to<const T&, iwstr> &&
                         !std::convertible_to<const T&, istr>) {
        return istr("utf8", 4);
    } else {
        return istr();
    }
}

}  // namespace qor::xml

#endif  // QOR_XML_XML_VALUE_H
