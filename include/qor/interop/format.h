#ifndef QOR_INTEROP_FORMAT_H
#define QOR_INTEROP_FORMAT_H

#include <version>
#ifdef __cpp_lib_format
#include <format>
#endif

#include <concepts>
#include <locale>
#include <new>
#include <sstream>
#include <string>
#include <string_view>
#include <utility>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/base/base_type_view.h"
#include "qor/base/library.h"
#include "qor/tcp/tcp_impl_base.h"

// Text, bytes, times, addresses and versions for std::format, if the standard library has it:
//
//     std::format("{:>20} since {}", address, time.toDateTime())
//
// Each value is shown as operator<< writes it: bytes in Base64, a Time as toDuration. The
// specification in the braces is that of a string: fill, alignment, width, precision and the type
// s. qor/interop/fmt.h has the same for the fmt library.

namespace qor {

// A view for text types; for other types the output of operator<< in the "C" locale.
template <class T>
auto shownText(const T& value) {
    if constexpr (std::derived_from<T, istr> || std::derived_from<T, String>) {
        return std::string_view(istr(value));
    } else {
        std::ostringstream os;
        os.imbue(std::locale::classic());
        os << value;
        if (os.bad()) throw std::bad_alloc();
        return std::move(os).str();
    }
}

// The formatter of these types. Text is the formatting library's own formatter of a string view,
// which handles the options.
template <class Text>
struct ShownFormatter : Text {
    template <class T, class Context>
    auto format(const T& value, Context& context) const {
        const auto text = shownText(value);
        return Text::format(std::string_view(text), context);
    }
};

}  // namespace qor

#ifdef __cpp_lib_format
template <>
struct std::formatter<qor::istr> : qor::ShownFormatter<std::formatter<std::string_view>> {};
template <>
struct std::formatter<qor::ansi> : qor::ShownFormatter<std::formatter<std::string_view>> {};
template <>
struct std::formatter<qor::utf8> : qor::ShownFormatter<std::formatter<std::string_view>> {};
template <>
struct std::formatter<qor::String> : qor::ShownFormatter<std::formatter<std::string_view>> {};
template <>
struct std::formatter<qor::iwstr> : qor::ShownFormatter<std::formatter<std::string_view>> {};
template <>
struct std::formatter<qor::Bytes> : qor::ShownFormatter<std::formatter<std::string_view>> {};
template <>
struct std::formatter<qor::Time> : qor::ShownFormatter<std::formatter<std::string_view>> {};
template <>
struct std::formatter<qor::TcpAddr> : qor::ShownFormatter<std::formatter<std::string_view>> {};
template <>
struct std::formatter<qor::Version> : qor::ShownFormatter<std::formatter<std::string_view>> {};
#endif

#endif  // QOR_INTEROP_FORMAT_H
