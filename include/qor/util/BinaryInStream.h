#ifndef QOR_UTIL_BINARYINSTREAM_H
#define QOR_UTIL_BINARYINSTREAM_H

#include <string>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_time.h"
#include "qor/string/string_slice.h"
#include "qor/util/BinaryStream.h"

namespace qor {

// Reads what a BinaryOutStream wrote, in the same order, from bytes that somebody else owns and
// that outlive the stream. Each read empties its target first, and reading behind the end is no
// error: the target then stays 0, empty or the epoch. Input that is no value of the kind that is
// asked for raises BinaryDecodeException. A stream belongs to one thread.
class QOR_API BinaryInStream {
public:
    explicit BinaryInStream(const istr& input) : input_(input) {}

    void str(const istr& input) { input_ = StringSlice(input); }
    istr str() const noexcept { return input_; }

    // Numbers are not sign-extended: what is read is of the type that was written. A number of
    // which some bytes are missing is 0, and an info line tells.
    template <WireScalar T>
    BinaryInStream& read(T& value) {
        value = T();
        value = fromWire<T>(readNumber(wireWidth<T>()));
        return *this;
    }
    BinaryInStream& read(Time& value);
    // A view of the input. Data that the input has less of than it promises is what there is.
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
