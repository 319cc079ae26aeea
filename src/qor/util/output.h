#ifndef QOR_SRC_UTIL_OUTPUT_H
#define QOR_SRC_UTIL_OUTPUT_H

#include <cstddef>
#include <functional>
#include <span>

#include "qor/base/base_type_bytes.h"

// Helpers to replace the content of a caller's object by a result.

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

// Whether a byte of the source is in the memory of `out`, its unused capacity included.
template <class Out>
bool owns(const Out& out, ByteSpan source) noexcept {
    if (source.empty()) return false;
    const auto* begin = reinterpret_cast<const unsigned char*>(out.data());
    const std::less<> before;
    return before(source.data(), begin + roomOf(out)) &&
           before(begin, source.data() + source.size());
}

// Calls write(target), then the content of `out` is that of the target. The target has room for n
// bytes, which do not overlap the source; it is `out` itself or a new object. If memory runs out,
// `out` is unchanged.
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
