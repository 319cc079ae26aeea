#ifndef QOR_INTEROP_FMT_H
#define QOR_INTEROP_FMT_H

#include <fmt/format.h>

#include "qor/interop/format.h"

// The types of qor/interop/format.h for the fmt library, in the same way:
//
//     fmt::format("{:>20} since {}", address, time.toDateTime())
//
// The library itself does not need fmt, so qor.h does not include this header. A program that
// includes it must link fmt.

template <>
struct fmt::formatter<qor::istr> : qor::ShownFormatter<fmt::formatter<fmt::string_view>> {};
template <>
struct fmt::formatter<qor::ansi> : qor::ShownFormatter<fmt::formatter<fmt::string_view>> {};
template <>
struct fmt::formatter<qor::utf8> : qor::ShownFormatter<fmt::formatter<fmt::string_view>> {};
template <>
struct fmt::formatter<qor::String> : qor::ShownFormatter<fmt::formatter<fmt::string_view>> {};
template <>
struct fmt::formatter<qor::iwstr> : qor::ShownFormatter<fmt::formatter<fmt::string_view>> {};
template <>
struct fmt::formatter<qor::Bytes> : qor::ShownFormatter<fmt::formatter<fmt::string_view>> {};
template <>
struct fmt::formatter<qor::Time> : qor::ShownFormatter<fmt::formatter<fmt::string_view>> {};
template <>
struct fmt::formatter<qor::TcpAddr> : qor::ShownFormatter<fmt::formatter<fmt::string_view>> {};
template <>
struct fmt::formatter<qor::Version> : qor::ShownFormatter<fmt::formatter<fmt::string_view>> {};

#endif  // QOR_INTEROP_FMT_H
