#include "qor/base/base_type_view.h"

#include <ostream>

#include "qor/base/base_type_convert.h"
#include "qor/base/exception.h"

namespace qor {

istr istr::trimLeft() const {
    if (is_null()) return *this;
    unsigned long cursor = 0;
    // Deliberate (compatibility): may read the byte after the view, as a parser's cursor does.
    while (CharIsSpace(ptr_[cursor])) {
        if (cursor == size_) QOR_THROW(OutOfRangeException, "qor::StringSlice::operator ++");
        ++cursor;
    }
    return substr(cursor);
}

istr istr::trimRight() const noexcept {
    istr rest = *this;
    while (!rest.empty() && CharIsSpace(rest[rest.size() - 1]))
        rest = rest.removeRight(1);
    return rest;
}

void istr::dump(std::ostream& os) const {
    os << size_ << ", ";
    if (size_ == 0) return;
    if (is_null()) {
        os << SafeStr(ptr_);
    } else {
        os.write(ptr_, static_cast<std::streamsize>(size_));
    }
}

std::ostream& operator<<(std::ostream& os, const istr& s) {
    if (s.empty()) return os;
    return os.write(s.data(), static_cast<std::streamsize>(s.size())).flush();
}

iwstr iwstr::trimLeft() const noexcept {
    if (is_null()) return *this;
    unsigned long cursor = 0;
    while (CharIsSpace(ptr_[cursor]))
        ++cursor;
    return substr(cursor);
}

void iwstr::dump(std::ostream& os) const {
    os << size_ << ", " << *this;
}

std::ostream& operator<<(std::ostream& os, const iwstr& s) {
    String text;
    wstringToAnsi(s, text);
    return os << istr(text);
}

}  // namespace qor
