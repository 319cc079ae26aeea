#ifndef QOR_SRC_UTIL_SIMPLE_VALUE_H
#define QOR_SRC_UTIL_SIMPLE_VALUE_H

#include <bit>
#include <cstring>
#include <functional>

#include "base/upward.h"
#include "qor/base/base_type_convert.h"
#include "qor/string/string_buffer.h"
#include "qor/util/BinaryStream.h"

// The one form in which the binary formats write a value that has no parts: a byte with the count
// of size bytes (and a mark in its high half), the size, and the data.

namespace qor::simple_value {

// The mark of text, in the formats that have one.
inline constexpr unsigned char kText = 0xF0;
inline constexpr unsigned char kData = 0;

// `spare` bytes more stay free behind what is written.
inline void put(StringBuffer& out, const char* data, unsigned long size, unsigned long spare = 0) {
    out.needMore(size + spare);
    out.append(data, size);
}

inline void putNumber(StringBuffer& out, WireNumber number, unsigned long spare = 0) {
    static_assert(std::endian::native == std::endian::little);
    char bytes[2 + sizeof number.bits];
    const unsigned count = BinaryStream::byteCount(number.bits, number.width);
    bytes[0] = 1;
    bytes[1] = static_cast<char>(count);
    std::memcpy(bytes + 2, &number.bits, sizeof number.bits);
    put(out, bytes, 2 + count, spare);
}

// Makes room, and finds the data again if it is a part of the buffer and moves with it.
inline istr makeRoom(StringBuffer& out, istr data, unsigned long room) {
    const std::less<const char*> before;
    const bool own =
        !before(data.data(), out.c_str()) && before(data.data(), out.c_str() + out.size());
    const auto offset = own ? data.data() - out.c_str() : 0;
    out.needMore(room);
    return own ? istr(out.c_str() + offset, data.size()) : data;
}

inline void putData(StringBuffer& out, istr data, unsigned char mark, unsigned long spare = 0) {
    constexpr unsigned long kMostSizeBytes = 4;
    char header[1 + kMostSizeBytes];
    const char count = BinaryStream::writeInt(header + 1, data.size(), kMostSizeBytes);
    header[0] = static_cast<char>(count | mark);
    const auto headerSize = static_cast<unsigned long>(count) + 1;
    const istr source = makeRoom(out, data, headerSize + data.size() + spare);
    out.append(header, headerSize);
    if (!source.empty()) out.append(source.data(), source.size());
}

inline void putWide(StringBuffer& out, iwstr text, unsigned long spare = 0) {
    putData(out, toUtf8(wstr(text)), kData, spare);
}

inline constexpr ulong32 kUtf8 = 65001;

inline void putText(StringBuffer& out, istr text, unsigned char mark, unsigned long spare = 0) {
    // Text in UTF-8 goes out as it stands, without a copy in between.
    if (upward::codepage() == kUtf8) {
        putData(out, text, mark, spare);
    } else {
        putData(out, toUtf8(ansi(text)), mark, spare);
    }
}

}  // namespace qor::simple_value

#endif  // QOR_SRC_UTIL_SIMPLE_VALUE_H
