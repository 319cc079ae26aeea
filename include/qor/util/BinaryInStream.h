#ifndef QOR_UTIL_BINARYINSTREAM_H
#define QOR_UTIL_BINARYINSTREAM_H

#include <string>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_time.h"
#include "qor/string/string_slice.h"
#include "qor/util/BinaryStream.h"

namespace qor {

// Reads the values that a BinaryOutStream wrote, in the same order, from bytes that it does not own
// and that must outlive it. Each read clears its target first. Reading beyond the end is no error:
// the target is then 0, empty or the epoch. Input that is no value of the target's kind raises
// BinaryDecodeException. A stream belongs to one thread.
class QOR_API BinaryInStream {
public:
    explicit BinaryInStream(const istr& input) : input_(input) {}

    void str(const istr& input) { input_ = StringSlice(input); }
    istr str() const noexcept { return input_; }

    // Numbers are not sign-extended: read a value as the type that was written. A number with
    // missing bytes is 0, and an info line is logged.
    template <WireScalar T>
    BinaryInStream& read(T& value) {
        value = T();
        value = fromWire<T>(readNumber(wireWidth<T>()));
        return *this;
    }
    BinaryInStream& read(Time& value);
    // A view of the input. Data that is cut off is as long as the input has it.
    BinaryInStream& read(istr& data);
    BinaryInStream& read(Bytes& data);
    // Into the configured code page.
    BinaryInStream& read(std::string& text);
    BinaryInStream& read(std::wstring& text);

    // With no framing. One byte, 0 at the end.
    BinaryInStream& readRaw(char& byte);
    BinaryInStream& readRaw(unsigned char& byte);
    // At most `*size` bytes; `*size` becomes the count of those that there were.
    BinaryInStream& readRaw(char* buffer, unsigned long* size);
    // One byte modulo 16: the count of size bytes, without the mark of text that nbr writes.
    unsigned char readLos();

private:
    bool eof() const noexcept { return input_.eof(); }
    unsigned long long readNumber(unsigned width);
    istr readData();

    StringSlice input_;
};

}  // namespace qor

#endif  // QOR_UTIL_BINARYINSTREAM_H
