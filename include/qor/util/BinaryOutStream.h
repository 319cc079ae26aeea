#ifndef QOR_UTIL_BINARYOUTSTREAM_H
#define QOR_UTIL_BINARYOUTSTREAM_H

#include <string>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_time.h"
#include "qor/util/BinaryStream.h"
#include "qor/util/wire_value.h"

namespace qor {

// Writes a flat sequence of values, without tags and nesting; a BinaryInStream reads them in the
// same order:
//
//     BinaryOutStream out;
//     out.write(number).write(name);
//     send(out.str());
//
// Each value is a byte with the number of its size bytes, the size, and the data; docs/formats.md
// describes the format byte by byte. Text is written in UTF-8. If a write raises std::bad_alloc,
// the stream is unchanged. Use a stream from one thread only.
class QOR_API BinaryOutStream {
public:
    // All bytes written. Valid until the next write.
    istr str() const noexcept { return buffer_; }
    StringBuffer& buffer() noexcept { return buffer_; }
    const StringBuffer& buffer() const noexcept { return buffer_; }

    BinaryOutStream& write(null_type) { return writeRaw(0); }
    BinaryOutStream& write(empty_type) { return write(istr()); }
    template <WireScalar T>
    BinaryOutStream& write(const T& value) {
        buffer_.needMore(wire::kMostNumber);
        return finish(wire::store(buffer_.pbuf(), qor::toWire(value)));
    }
    BinaryOutStream& write(const Time& value) { return write(value.toMicroSeconds()); }
    // Writes the bytes of the view. A string literal does not compile: it could be bytes or text.
    BinaryOutStream& write(istr data) {
        data = wire::grow(buffer_, data, wire::kMostHeader + data.size());
        return finish(wire::store(buffer_.pbuf(), WireData{data}));
    }
    BinaryOutStream& write(const Bytes& data) { return write(istr(data)); }
    // A std::string is converted from the configured code page to UTF-8.
    BinaryOutStream& write(const std::string& text);
    BinaryOutStream& write(iwstr text);
    BinaryOutStream& write(const std::wstring& text) { return write(iwstr(text)); }
    BinaryOutStream& write(const wchar_t* text) { return write(iwstr(text)); }

    // Write bytes without a size before them.
    BinaryOutStream& writeRaw(unsigned char byte) { return writeRaw(istr(&byte, 1)); }
    BinaryOutStream& writeRaw(istr data) {
        buffer_ += data;
        return *this;
    }
    BinaryOutStream& writeRaw(const char* data, unsigned long size) {
        return writeRaw(istr(data, size));
    }

private:
    BinaryOutStream& finish(const char* end) noexcept {
        buffer_.psize(static_cast<unsigned long>(end - buffer_.data()));
        return *this;
    }

    StringBuffer buffer_{0};
};

}  // namespace qor

#endif  // QOR_UTIL_BINARYOUTSTREAM_H
