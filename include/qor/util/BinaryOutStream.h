#ifndef QOR_UTIL_BINARYOUTSTREAM_H
#define QOR_UTIL_BINARYOUTSTREAM_H

#include <string>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_time.h"
#include "qor/util/BinaryStream.h"
#include "qor/util/wire_value.h"

namespace qor {

// Writes a flat sequence of values, with no tags and no nesting: a BinaryInStream reads them in the
// same order. Each value is a byte with the count of its size bytes, the size, and the data;
// docs/formats.md has the format byte by byte. Text is written in UTF-8. A write that raises
// std::bad_alloc leaves the stream unchanged. A stream belongs to one thread.
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
        return finish(wire::store(buffer_.pbuf(), toWire(value)));
    }
    BinaryOutStream& write(const Time& value) { return write(value.toMicroSeconds()); }
    // A literal is refused: it could be data and text.
    BinaryOutStream& write(istr data) {
        data = wire::grow(buffer_, data, wire::kMostHeader + data.size());
        return finish(wire::store(buffer_.pbuf(), WireData{data}));
    }
    BinaryOutStream& write(const Bytes& data) { return write(istr(data)); }
    // From the configured code page.
    BinaryOutStream& write(const std::string& text);
    BinaryOutStream& write(iwstr text);
    BinaryOutStream& write(const std::wstring& text) { return write(iwstr(text)); }
    BinaryOutStream& write(const wchar_t* text) { return write(iwstr(text)); }

    // With no framing.
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
