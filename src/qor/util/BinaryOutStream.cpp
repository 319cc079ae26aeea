#include "qor/util/BinaryOutStream.h"

#include "util/simple_value.h"

namespace qor {

BinaryOutStream& BinaryOutStream::write(null_type) {
    return writeRaw(0);
}

BinaryOutStream& BinaryOutStream::write(empty_type) {
    return write(istr());
}

BinaryOutStream& BinaryOutStream::write(istr data) {
    simple_value::putData(buffer_, data, simple_value::kData);
    return *this;
}

BinaryOutStream& BinaryOutStream::write(const std::string& text) {
    simple_value::putText(buffer_, text, simple_value::kData);
    return *this;
}

BinaryOutStream& BinaryOutStream::write(iwstr text) {
    simple_value::putWide(buffer_, text);
    return *this;
}

BinaryOutStream& BinaryOutStream::writeRaw(unsigned char byte) {
    return writeRaw(reinterpret_cast<const char*>(&byte), 1);
}

BinaryOutStream& BinaryOutStream::writeRaw(istr data) {
    buffer_.append(data.data(), data.size());
    return *this;
}

BinaryOutStream& BinaryOutStream::writeNumber(WireNumber number) {
    simple_value::putNumber(buffer_, number);
    return *this;
}

}  // namespace qor
