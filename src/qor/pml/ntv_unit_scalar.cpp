#include "qor/pml/ntv_unit.h"

#include "base/text_stream.h"
#include "qor/base/base_type_convert.h"
#include "qor/util/base64.h"

// The operators of a unit for scalars.

namespace qor::pml::ntv {

namespace {

template <class Shown>
Unit& setToText(Unit& unit, const Shown& shown) {
    TextStream text;
    text << shown;
    return unit << istr(text.text());
}

Unit& setToBase64(Unit& unit, const Bytes& bytes, istr type) {
    String encoded;
    Base64::encode(bytes, encoded, false);
    unit.setValue(encoded);
    unit.type(type);
    return unit;
}

}  // namespace

Unit& Unit::operator<<(istr text) {
    setValue(text);
    return *this;
}

Unit& Unit::operator<<(iwstr text) {
    Bytes utf8Text;
    wstringToUtf8(text, utf8Text);
    return setToBase64(*this, utf8Text, "utf8");
}

Unit& Unit::operator<<(const Bytes& bytes) {
    return setToBase64(*this, bytes, "base64");
}

Unit& Unit::operator<<(const Time& time) {
    return *this << time.toFullDateTime();
}

Unit& Unit::operator<<(const Unit& other) {
    Unit copy(other);
    takeValueOf(copy);
    type_.swap(copy.type_);
    return *this;
}

bool Unit::readBool(bool& target) const noexcept {
    const istr text = getStringValue();
    if (text == "true" || text == "false") {
        target = text == "true";
        return true;
    }
    long long number = 0;
    if (!parseNumber(text, number)) return false;
    target = number != 0;
    return true;
}

bool Unit::operator>>(std::string& target) const {
    const istr text = getStringValue();
    if (text.empty()) return false;
    target.assign(std::string_view(text));
    return true;
}

bool Unit::operator>>(std::wstring& target) const {
    const istr text = getStringValue();
    if (text.empty()) return false;
    if (type_ == "utf8") {
        utf8ToWstring(Bytes(base64(text)), target);
    } else {
        ansiToWstring(text, target);
    }
    return true;
}

bool Unit::operator>>(Bytes& target) const {
    const istr text = getStringValue();
    if (text.empty()) return false;
    Base64::decode(text, target);
    return true;
}

bool Unit::operator>>(Time& target) const {
    const istr text = getStringValue();
    if (text.empty()) return false;
    try {
        target = Time::fromString(text);
        return true;
    } catch (const Exception&) {
        return false;
    }
}

bool Unit::operator>>(Unit& other) const {
    other << *this;
    return true;
}

Unit& operator<<(Unit& unit, const ShowMode& mode) {
    return setToText(unit, mode);
}

Unit& operator<<(Unit& unit, const ShowPattern& pattern) {
    return setToText(unit, pattern);
}

}  // namespace qor::pml::ntv
