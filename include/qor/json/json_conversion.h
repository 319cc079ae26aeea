#ifndef QOR_JSON_JSON_CONVERSION_H
#define QOR_JSON_JSON_CONVERSION_H

#include <concepts>
#include <string>
#include <type_traits>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_convert.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/util/BinaryStream.h"
#include "qor/util/base64.h"

// Conversion from JSON values to values of a program, for JsonUnit and JsonView.

namespace qor::json {

// A Source has readNumber(istr&) and readString(istr&), which set the argument to the text of a
// value of that kind and return true, and readBoolean(bool&). For a value of another kind all leave
// their argument unchanged, and the first two return false.
class JsonConversion {
public:
    template <class Source, WireScalar T>
    static void read(const Source& source, T& target) {
        if constexpr (NumberWrapper<T>) {
            read(source, target.value());
        } else if constexpr (std::same_as<T, bool>) {
            source.readBoolean(target);
        } else if (istr text; source.readNumber(text)) {
            Number<T> number{};
            parseNumber(text, number);
            target = static_cast<T>(number);
        }
    }
    template <class Source>
    static void read(const Source& source, std::string& target) {
        if (istr text; source.readString(text)) target.assign(std::string_view(text));
    }
    template <class Source>
    static void read(const Source& source, std::wstring& target) {
        if (istr text; source.readString(text)) utf8ToWstring(text, target);
    }
    template <class Source>
    static void read(const Source& source, Bytes& target) {
        if (istr text; source.readString(text)) Base64::decode(text, target);
    }
    template <class Source>
    static void read(const Source& source, Time& target) {
        istr text;
        if (!source.readNumber(text)) return;
        long long milliSeconds = 0;
        parseNumber(text, milliSeconds);
        target = Time::milliSeconds(milliSeconds);
    }

    // The type as which a number is written and read. Characters are numbers in JSON.
    template <class T>
    using Number = std::conditional_t<
        std::same_as<T, char> || std::same_as<T, signed char>, short,
        std::conditional_t<std::same_as<T, unsigned char>, unsigned short,
                           std::conditional_t<std::same_as<T, wchar_t>, long32, T>>>;

    // A char is signed, even if the platform's char is unsigned.
    template <class T>
    static Number<T> numberOf(T value) noexcept {
        if constexpr (std::same_as<T, char>) {
            return static_cast<signed char>(value);
        } else {
            return static_cast<Number<T>>(value);
        }
    }
};

}  // namespace qor::json

#endif  // QOR_JSON_JSON_CONVERSION_H
