#include "qor/util/zlib.h"

#include <zlib.h>

#include "base/size.h"
#include "util/output.h"

namespace qor {

namespace {

// Fills `out` by `convert`, a function of the zlib library, with at most `most` bytes.
template <class Convert>
bool fill(Bytes& out, istr data, unsigned long long most, Convert convert) {
    if (most >= npos32) {
        out.size(0);
        return false;
    }
    const std::size_t room = checkedSize(most);
    const util::ByteSpan source = util::bytesOf(data);
    bool done = false;
    util::replaceContent(out, source, room, [&](Bytes& target) {
        uLongf size = room;
        done = convert(target.data(), &size, source.data(), source.size()) == Z_OK;
        target.size(done ? size : 0);
    });
    return done;
}

}  // namespace

bool zlib::compress(const istr& data, Bytes& out) {
    return fill(out, data, data.size() * 11ULL / 10 + 30, ::compress);
}

bool zlib::uncompress(const istr& data, Bytes& out, unsigned long size) {
    return fill(out, data, size != 0 ? size : out.max_size(), ::uncompress);
}

}  // namespace qor
