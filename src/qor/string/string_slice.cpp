#include "qor/string/string_slice.h"

#include <algorithm>
#include <string_view>

#include "qor/base/exception.h"
#include "qor/log/log_dumper.h"

namespace qor {

namespace {

// The part of s that is compared: up to and including its first zero.
std::string_view comparedPart(istr s) noexcept {
    const std::string_view text(s);
    const std::string_view::size_type zero = text.find('\0');
    return zero == std::string_view::npos ? text : text.substr(0, zero + 1);
}

unsigned long textSize(istr s) noexcept {
    return s.empty() ? 0 : s.size();
}

}  // namespace

bool StringSlice::skipTo(istr s) noexcept {
    const std::string_view rest(addr_ + std::min(cursor_, size_), left());
    const std::string_view::size_type at = rest.find(comparedPart(s));
    const bool found = at != std::string_view::npos && textSize(s) <= rest.size() - at;
    next(found ? at + textSize(s) : left());
    return found;
}

istr StringSlice::readUntil(istr s) noexcept {
    const char* const start = current();
    const bool found = skipTo(s);
    return istr(start, current()).removeRight(found ? textSize(s) : 0);
}

int StringSlice::compare(const StringSlice& other) const noexcept {
    if (addr_ == other.addr_) return 0;
    if (addr_ == nullptr || other.addr_ == nullptr) return addr_ == nullptr ? -1 : 1;
    const int order = MemCmp(addr_, other.addr_, std::min(size_, other.size_));
    if (order != 0) return order;
    return size_ == other.size_ ? 0 : size_ < other.size_ ? -1 : 1;
}

dumper& StringSlice::dump(dumper& d) const {
    dumper::_Entry entry(d, "qor::StringSlice");
    d.member("addr_", istr(*this));
    d.member("size_", size_);
    return d.member("cursor_", cursor_);
}

void StringSlice::raiseBeyondEnd() {
    QOR_THROW(OutOfRangeException, "qor::StringSlice::advance");
}

void StringSlice::raiseAtEnd() {
    QOR_THROW(OutOfRangeException, "qor::StringSlice::operator ++");
}

void StringSlice::raiseLostCursor() {
    QOR_THROW(OutOfRangeException, "qor::StringSlice::rewind");
}

}  // namespace qor
