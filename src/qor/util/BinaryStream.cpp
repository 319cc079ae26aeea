#include "qor/util/BinaryStream.h"

#include <string>

namespace qor {

void BinaryStream::encrypt(ostr buffer) noexcept {
    const istr room = buffer;
    if (room.is_null()) return;
    for (unsigned long i = 0; i < room.size(); ++i) {
        buffer[i] = static_cast<char>(static_cast<unsigned char>(buffer[i]) ^ ~i);
    }
}

void BinaryStream::invalidSize(int size) {
    QOR_THROW(BinaryDecodeException, "qor::BinaryStream::readUint",
              "invalid size " + std::to_string(size));
}

}  // namespace qor
