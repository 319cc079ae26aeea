// nbr streams: objects of every type are read from any bytes; the objects are written, and read
// back unchanged.

#include <list>
#include <map>
#include <set>
#include <string>
#include <vector>

#include "qor/base/base_type_number.h"
#include "qor/nbr/binding.h"
#include "qor/util/optional.h"
#include "repeated.h"

namespace {

using namespace qor;

struct Everything {
    Bit bit;
    Byte byte;
    Sbyte sbyte;
    Char character;
    Short signedShort;
    Ushort unsignedShort;
    Long signedLong;
    Ulong unsignedLong;
    Longlong longlong;
    Ulonglong ulonglong;
    Float single;
    Double twice;
    Wchar wide;
    String text;
    std::wstring wideText;
    Bytes bytes;
    Time time;
    Optional<String> maybe;
    std::vector<Everything> inner;
    std::set<long> set;
    std::map<String, std::list<bool>> map;

    template <class Stream>
    void codec(Stream& s) {
        unsigned char tag = 0;
        const auto next = [&](auto& member) { field(s, {"member", ++tag}, member); };
        s.enter("Everything", "", "", "");
        next(bit), next(byte), next(sbyte), next(character), next(signedShort);
        next(unsignedShort), next(signedLong), next(unsignedLong), next(longlong);
        next(ulonglong), next(single), next(twice), next(wide), next(text), next(wideText);
        next(bytes), next(time), next(maybe), next(inner), next(set), next(map);
        s.leave();
    }
};

Bytes encoded(const Everything& object) {
    nbr::CodecStream out;
    nbr::encode(out, object);
    return Bytes(out.str());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string input = fuzz::repeated(data, size);
    Everything object;
    try {
        nbr::decode(istr(input), object);
    } catch (const nbr::DecodeException&) {
    } catch (const BinaryDecodeException&) {
    }
    const Bytes first = encoded(object);
    Everything again;
    nbr::decode(first, again);
    if (encoded(again) != first) __builtin_trap();
    return 0;
}
