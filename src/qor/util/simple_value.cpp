#include "qor/util/simple_value.h"

#include <functional>
#include <utility>

#include "base/upward.h"
#include "qor/base/base_type_convert.h"

namespace qor {

void SimpleValueBuffer::swap(SimpleValueBuffer& other) noexcept {
    buffer_.swap(other.buffer_);
    std::swap(reserved_, other.reserved_);
    std::swap(utf8_, other.utf8_);
}

bool SimpleValueBuffer::textIsUtf8() {
    constexpr ulong32 kUtf8 = 65001;
    return upward::codepage() == kUtf8;
}

Bytes SimpleValueBuffer::converted(istr text) {
    return toUtf8(ansi(text));
}

istr SimpleValueBuffer::grow(istr data, unsigned long n) {
    const std::less<const char*> before;
    const char* const start = buffer_.data();
    const bool own = !before(data.data(), start) && before(data.data(), start + buffer_.size());
    buffer_.needMore(reserved_ + n);
    return own ? istr(buffer_.data() + (data.data() - start), data.size()) : data;
}

}  // namespace qor
