#include "qor/util/BinaryInStream.h"

#include <string>
#include <utility>

#include "base/upward.h"
#include "qor/base/base_type_convert.h"

namespace qor {

namespace {

[[noreturn]] void invalid(const char* what, int number) {
    QOR_THROW(BinaryDecodeException, "qor::BinaryInStream::read",
              std::string("invalid ") + what + ' ' + std::to_string(number));
}

void reportUncompleted(unsigned long got, int expected) {
    if (!upward::infoOn()) return;
    const std::string text =
        "uncompleted data size " + std::to_string(got) + ", expected " + std::to_string(expected);
    upward::writeInfoLog(__FILE__, __LINE__, "qor::BinaryInStream::read", text, "INFO");
}

}  // namespace

BinaryInStream& BinaryInStream::read(Time& value) {
    long long microSeconds = 0;
    value = Time();
    read(microSeconds);
    value = Time::microSeconds(microSeconds);
    return *this;
}

BinaryInStream& BinaryInStream::read(istr& data) {
    data = istr();
    data = readData();
    return *this;
}

BinaryInStream& BinaryInStream::read(Bytes& data) {
    data.size(0);
    data = readData();
    return *this;
}

BinaryInStream& BinaryInStream::read(std::string& text) {
    text.clear();
    String converted;
    utf8ToAnsi(readData(), converted);
    text = std::move(converted);
    return *this;
}

BinaryInStream& BinaryInStream::read(std::wstring& text) {
    text.clear();
    utf8ToWstring(readData(), text);
    return *this;
}

BinaryInStream& BinaryInStream::readRaw(char& byte) {
    const istr taken = input_.next(1);
    byte = taken.empty() ? '\0' : *taken;
    return *this;
}

BinaryInStream& BinaryInStream::readRaw(unsigned char& byte) {
    char plain = 0;
    readRaw(plain);
    byte = static_cast<unsigned char>(plain);
    return *this;
}

BinaryInStream& BinaryInStream::readRaw(char* buffer, unsigned long* size) {
    input_.read(reinterpret_cast<unsigned char*>(buffer), *size);
    return *this;
}

unsigned char BinaryInStream::readLos() {
    unsigned char los = 0;
    readRaw(los);
    return los & 15;
}

unsigned long long BinaryInStream::readNumber(unsigned width) {
    if (eof()) return 0;
    unsigned char los = 0;
    readRaw(los);
    if (eof() || los == 0) return 0;
    if (los != 1) invalid("los", los);
    char size = 0;
    readRaw(size);
    // A size without data gives 0 too.
    if (eof() || size == 0) return 0;
    const int expected = static_cast<signed char>(size);
    if (expected < 1 || expected > 8) invalid("size", expected);
    const istr data = input_.next(static_cast<unsigned long>(expected));
    if (data.size() < static_cast<unsigned long>(expected)) {
        reportUncompleted(data.size(), expected);
        return 0;
    }
    return BinaryStream::readUint(data, width);
}

istr BinaryInStream::readData() {
    if (eof()) return istr();
    const unsigned char los = readLos();
    if (eof() || los == 0) return istr();
    if (los > 4) invalid("los", los);
    const istr size = input_.next(los);
    if (eof()) return istr();
    return input_.next(static_cast<unsigned long>(BinaryStream::readUint(size, 4)));
}

}  // namespace qor
