#ifndef QOR_UTIL_BINARYOUTSTREAM_H
#define QOR_UTIL_BINARYOUTSTREAM_H

#include <string>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_time.h"
#include "qor/string/string_buffer.h"
#include "qor/util/BinaryStream.h"

namespace qor {

// Writes a flat sequence of values, with no tags and no nesting: a BinaryInStream reads them in
// the same order. Each value is a byte with the count of its size bytes, the size, and the data;
// docs/formats.md has the format byte by byte. Text goes out in UTF-8. A write that raises
// std::bad_alloc leaves the stream as it was. A stream belongs to one thread.
class QOR_API BinaryOutStream {
public:
    // All bytes written. Valid until the next write.
    istr str() const noexcept { return buffer_; }
    StringBuffer& buffer() noexcept { return buffer_; }
    const StringBuffer& buffer() const noexcept { return buffer_; }

    BinaryOutStream& write(null_type);
    BinaryOutStream& write(empty_type);
    template <WireScalar T>
    BinaryOutStream& write(const T& value) {
        return writeNumber(toWire(value));
    }
    BinaryOutStream& write(const Time& value) { return write(value.toMicroSeconds()); }
    BinaryOutStream& write(istr data);
    BinaryOutStream& write(const Bytes& data) { return write(istr(data)); }
    // From the configured code page.
    BinaryOutStream& write(const std::string& text);
    BinaryOutStream& write(iwstr text);
    BinaryOutStream& write(const std::wstring& text) { return write(iwstr(text)); }
    BinaryOutStream& write(const wchar_t* text) { return write(iwstr(text)); }

    // With no framing.
    BinaryOutStream& writeRaw(unsigned char byte);
    BinaryOutStream& writeRaw(istr data);
    BinaryOutStream& writeRaw(const char* data, unsigned long size) {
        return writeRaw(istr(data, size));
    }

private:
    BinaryOutStream& writeNumber(WireNumber number);

    StringBuffer buffer_{0};
};

}  // namespace qor

#endif  // QOR_UTIL_BINARYOUTSTREAM_H
