#ifndef QOR_SRC_UTIL_OUTPUT_H
#define QOR_SRC_UTIL_OUTPUT_H

#include <cstddef>
#include <functional>
#include <span>

#include "qor/base/base_type_bytes.h"

// How a result replaces the content of an object of the caller's.

namespace qor::util {

using ByteSpan = std::span<const unsigned char>;

// A null view is a view of no bytes, whatever its size.
inline ByteSpan bytesOf(istr s) noexcept {
    return {reinterpret_cast<const unsigned char*>(s.data()), s.empty() ? 0 : s.size()};
}

template <class Out>
std::size_t roomOf(const Out& out) noexcept {
    return out.capacity();
}
inline std::size_t roomOf(const Bytes& out) noexcept {
    return out.max_size();
}

template <class Out>
void makeRoom(Out& out, std::size_t n) {
    out.reserve(n);
}
inline void makeRoom(Bytes& out, std::size_t n) {
    out.resize(n);
}

// Whether the source has a byte in the memory of `out`, used or not.
template <class Out>
bool owns(const Out& out, ByteSpan source) noexcept {
    if (source.empty()) return false;
    const auto* begin = reinterpret_cast<const unsigned char*>(out.data());
    const std::less<> before;
    return before(source.data(), begin + roomOf(out)) &&
           before(begin, source.data() + source.size());
}

// Calls write(target), with a target that has room for n bytes none of which is the source's, and
// that is `out` or becomes it. If memory is short, `out` is as it was.
template <class Out, class Write>
void replaceContent(Out& out, ByteSpan source, std::size_t n, Write write) {
    if (n <= roomOf(out) && !owns(out, source)) return write(out);
    Out fresh;
    makeRoom(fresh, n);
    write(fresh);
    out.swap(fresh);
}

}  // namespace qor::util

#endif  // QOR_SRC_UTIL_OUTPUT_H
