// BinaryInStream: the first bytes of the input select the types that are read from the other bytes.

#include <string>

#include "qor/util/BinaryInStream.h"

namespace {

using namespace qor;

template <class T>
void readOne(BinaryInStream& in) {
    T value{};
    in.read(value);
}

// Reads into a small buffer, and checks that the stream does not report more bytes than fit.
void readIntoRoom(BinaryInStream& in) {
    char room[5];
    unsigned long size = sizeof room;
    in.readRaw(room, &size);
    if (size > sizeof room) __builtin_trap();
}

void read(BinaryInStream& in, unsigned char choice) {
    switch (choice % 15) {
        case 0:
            return readOne<bool>(in);
        case 1:
            return readOne<char>(in);
        case 2:
            return readOne<Ushort>(in);
        case 3:
            return readOne<Long>(in);
        case 4:
            return readOne<unsigned long long>(in);
        case 5:
            return readOne<float>(in);
        case 6:
            return readOne<Double>(in);
        case 7:
            return readOne<Wchar>(in);
        case 8:
            return readOne<Time>(in);
        case 9:
            return readOne<Bytes>(in);
        case 10:
            return readOne<String>(in);
        case 11:
            return readOne<std::wstring>(in);
        case 12:
            return readOne<istr>(in);
        case 13:
            return readIntoRoom(in);
        default:
            in.readLos();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    constexpr std::size_t kChoices = 8;
    if (size < kChoices) return 0;
    BinaryInStream in(istr(data + kChoices, size - kChoices));
    for (std::size_t i = 0; i < kChoices; ++i) {
        try {
            read(in, data[i]);
        } catch (const BinaryDecodeException&) {
        }
    }
    return 0;
}
