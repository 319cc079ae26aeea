#ifndef QOR_UTIL_BINARYINSTREAM_H
#define QOR_UTIL_BINARYINSTREAM_H

#include <string>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_time.h"
#include "qor/string/string_slice.h"
#include "qor/util/BinaryStream.h"

namespace qor {

// Reads the values that a BinaryOutStream wrote, in the same order:
//
//     BinaryInStream in(message);
//     in.read(number).read(name);
//
// The bytes are not owned and must outlive the stream. Each read clears its target first. Reading
// beyond the end is not an error: the target is then 0, empty or the epoch. Input that is not a
// value of the target's kind raises BinaryDecodeException. Use a stream from one thread only.
class QOR_API BinaryInStream {
public:
    explicit BinaryInStream(const istr& input) : input_(input) {}

    void str(const istr& input) { input_ = StringSlice(input); }
    istr str() const noexcept { return input_; }

    // Numbers are not sign-extended: read a value as the type that was written. A number with
    // missing bytes is 0, and an info line is logged.
    template <WireScalar T>
    BinaryInStream& read(T& value) {
        qor::setFromWire(value, 0);
        qor::setFromWire(value, readNumber(wireWidth<T>()));
        return *this;
    }
    BinaryInStream& read(Time& value);
    // An istr becomes a view of the input. If the input ends within the data, the target gets the
    // bytes that are there.
    BinaryInStream& read(istr& data);
    BinaryInStream& read(Bytes& data);
    // A std::string is converted from UTF-8 to the configured code page.
    BinaryInStream& read(std::string& text);
    BinaryInStream& read(std::wstring& text);

    // Bytes without a size before them. Reads one byte; 0 at the end.
    BinaryInStream& readRaw(char& byte);
    BinaryInStream& readRaw(unsigned char& byte);
    // Reads at most `*size` bytes and sets `*size` to their number.
    BinaryInStream& readRaw(char* buffer, unsigned long* size);
    // Reads one byte and returns its low four bits: the number of size bytes. (In nbr, the high
    // bits mark text.)
    unsigned char readLos();

private:
    bool eof() const noexcept { return input_.eof(); }
    unsigned long long readNumber(unsigned width);
    istr readData();

    StringSlice input_;
};

}  // namespace qor

#endif  // QOR_UTIL_BINARYINSTREAM_H
