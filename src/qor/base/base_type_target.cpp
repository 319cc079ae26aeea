#include "qor/base/base_type_target.h"

#include <ostream>

#include "base/size_difference.h"

namespace qor {

namespace {

// The part need not have a terminator.
bool sameStart(const Str& part, istr text, unsigned long n, bool noCase) noexcept {
    return StrCmpW(istr(part.data(), part.sizeN()), text, n, noCase) == 0;
}

}  // namespace

void ostr::dump(std::ostream& os) const {
    os << sizeN() << '/' << max_size() << ", " << istr(ptr_, sizeN());
}

void owstr::dump(std::ostream& os) const {
    os << sizeN() << '/' << max_size() << ", " << iwstr(ptr_, sizeN());
}

Str& Str::copy(istr text) noexcept {
    StrCopy(ptr_, text.data(), text.size());
    return *this;
}

Str& Str::cat(istr text) noexcept {
    StrSafeCat(ptr_, text.data(), text.size());
    return *this;
}

int Str::cmp(istr text, unsigned long n, bool noCase) const noexcept {
    return StrCmpW(istr(*this), text, n, noCase);
}

int Str::cmp(const char* text, unsigned long n, bool noCase) const noexcept {
    return StrCmpW(ptr_, text, n, noCase);
}

bool Str::beginWith(istr text, unsigned long n, bool noCase) const noexcept {
    return sameStart(leftstr(n), text, n, noCase);
}

bool Str::endWith(istr text, unsigned long n, bool noCase) const noexcept {
    return sameStart(rightstr(n), text, n, noCase);
}

Str& Str::toUpper(unsigned long n) noexcept {
    StrToUpper(ptr_, isNpos(n) ? capacity_ : n);
    return *this;
}

Str& Str::toLower(unsigned long n) noexcept {
    StrToLower(ptr_, isNpos(n) ? capacity_ : n);
    return *this;
}

Str& Str::fill(int c, unsigned long n) noexcept {
    if (ostr::empty()) return *this;
    const unsigned long count = std::min<unsigned long>(n, capacity_ - 1);
    if (count == 0) return *this;
    MemSet(ptr_, c, count);
    ptr_[count - 1] = '\0';
    return *this;
}

Mem& Mem::copy(istr source) noexcept {
    MemCopy(ptr_, source.data(), std::min(source.size(), size()));
    return *this;
}

Mem& Mem::copyZ(istr source) noexcept {
    if (size_ != 0) MemCopyZ(ptr_, source.data(), std::min(source.size(), size() - 1));
    return *this;
}

Mem& Mem::fill(int value) noexcept {
    MemSet(ptr_, value, size_);
    return *this;
}

int Mem::cmp(istr other) const noexcept {
    const int order = MemCmp(ptr_, other.data(), std::min(size(), other.size()));
    return order != 0 ? order : sizeDifference(size(), other.size());
}

void Mem::dump(std::ostream& os) const {
    istr(*this).dump(os);
}

}  // namespace qor
