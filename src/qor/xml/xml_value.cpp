#include "qor/xml/xml_value.h"

#include "qor/base/base_type_convert.h"
#include "qor/base/exception.h"
#include "qor/util/base64.h"

namespace qor::xml {

void formatWide(wchar_t value, String& out) {
    out.append("\\u", 2);
    int2hexstr(static_cast<unsigned>(value), 2, out);
}

bool parseWide(istr text, wchar_t& target) {
    target = 0;
    if (text.size() != 6 || !text.beginWith("\\u")) return false;
    target = static_cast<wchar_t>(hexstr2int(text.removeLeft(2)) & 0xFFFF);
    return true;
}

void formatValue(iwstr value, String& out) {
    Bytes utf8Text;
    wstringToUtf8(value, utf8Text);
    formatValue(utf8Text, out);
}

void formatValue(const Bytes& value, String& out) {
    String encoded;
    Base64::encode(value, encoded, false);
    out += encoded;
}

void formatValue(const Time& value, String& out) {
    out += value.toFullDateTime();
}

bool parseValue(istr text, std::wstring& target) {
    utf8ToWstring(Bytes(base64(text)), target);
    return true;
}

bool parseValue(istr text, Bytes& target) {
    Base64::decode(text, target);
    return true;
}

bool parseValue(istr text, Time& target) {
    try {
        target = Time::fromString(text);
        return true;
    } catch (const InvalidDataException&) {
        return false;
    }
}

}  // namespace qor::xml
