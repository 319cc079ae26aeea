#include "qor/string/string_ref.h"

#include "qor/base/exception.h"
#include "qor/log/log_dumper.h"

namespace qor {

namespace {

constexpr char kBlank = ' ';

// The number of the text's bytes that fit into `places`.
ulong32 fitting(const istr& text, unsigned long places) noexcept {
    return text.empty() ? 0 : static_cast<ulong32>(std::min(text.size(), places));
}

void put(char* target, istr text) noexcept {
    if (!text.empty()) std::memmove(target, text.data(), text.size());
}

}  // namespace

StringRef& StringRef::left(const istr& text) noexcept {
    if (maxSize_ == 0) return *this;
    const ulong32 count = fitting(text, maxSize_ - 1UL);
    put(buffer_, text.leftstr(count));
    buffer_[count] = kBlank;
    return *this;
}

StringRef& StringRef::right(const istr& text) noexcept {
    if (maxSize_ == 0) return *this;
    const ulong32 count = fitting(text, maxSize_ - 1UL);
    char* const target = buffer_ + (maxSize_ - count);
    put(target, text.rightstr(count));
    target[-1] = kBlank;
    return *this;
}

StringRef& StringRef::right(char byte, unsigned long n) noexcept {
    if (maxSize_ == 0) return *this;
    const unsigned long count = std::min(n, maxSize_ - 1UL);
    char* const target = buffer_ + (maxSize_ - count);
    std::memset(target, byte, count);
    target[-1] = kBlank;
    return *this;
}

StringRef& StringRef::center(const istr& text) noexcept {
    if (text.empty() || maxSize_ < 2) return *this;
    const ulong32 count = fitting(text, maxSize_ - 2UL);
    char* const target = buffer_ + (maxSize_ - count) / 2;
    put(target, text.substr((text.size() - count) / 2, count));
    target[-1] = kBlank;
    target[count] = kBlank;
    return *this;
}

dumper& StringRef::dump(dumper& d) const {
    dumper::_Entry entry(d, "qor::StringRef");
    d.member("buffer_", istr(buffer_, std::min(curSize_, maxSize_)));
    d.member("curSize_", curSize_);
    return d.member("maxSize_", maxSize_);
}

void StringRef::raiseBeyondEnd() {
    QOR_THROW(OutOfRangeException, "qor::StringRef::advance");
}

void StringRef::raiseAtEnd() {
    QOR_THROW(OutOfRangeException, "qor::StringRef::operator ++");
}

}  // namespace qor
