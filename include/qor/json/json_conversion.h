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
// value of that kind and return true, and readBoolean(bool&). For a value of another kind they
// leave their argument unchanged and return false. So does read().
class JsonConversion {
public:
    template <class Source, WireScalar T>
    static bool read(const Source& source, T& target) {
        if constexpr (NumberWrapper<T>) {
            return read(source, target.value());
        } else if constexpr (std::same_as<T, bool>) {
            return source.readBoolean(target);
        } else {
            istr text;
            if (!source.readNumber(text)) return false;
            Number<T> number{};
            parseNumber(text, number);
            target = static_cast<T>(number);
            return true;
        }
    }
    template <class Source>
    static bool read(const Source& source, std::string& target) {
        istr text;
        if (!source.readString(text)) return false;
        target.assign(std::string_view(text));
        return true;
    }
    template <class Source>
    static bool read(const Source& source, std::wstring& target) {
        istr text;
        if (!source.readString(text)) return false;
        utf8ToWstring(text, target);
        return true;
    }
    template <class Source>
    static bool read(const Source& source, Bytes& target) {
        istr text;
        if (!source.readString(text)) return false;
        Base64::decode(text, target);
        return true;
    }
    template <class Source>
    static bool read(const Source& source, Time& target) {
        long long milliSeconds = 0;
        if (!read(source, milliSeconds)) return false;
        target = Time::milliSeconds(milliSeconds);
        return true;
    }

    // The type as which a number is written and read. Characters are numbers in JSON, and are
    // narrowed when read.
    template <class T>
    using Number = std::conditional_t<std::same_as<T, char> || std::same_as<T, signed char> ||
                                          std::same_as<T, unsigned char>,
                                      int, std::conditional_t<std::same_as<T, wchar_t>, long32, T>>;

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
