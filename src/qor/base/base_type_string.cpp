#include "qor/base/base_type_string.h"

#include "platform/first_use.h"
#include "qor/base/base_type_convert.h"

namespace qor {

String::String(const std::wstring& text, long codepage) {
    wstringToAnsi(text, *this, codepage);
}

String::String(iwstr text, long codepage) {
    wstringToAnsi(text, *this, codepage);
}

String::String(const wchar_t* text, long codepage) : String(iwstr(text), codepage) {}

String::operator std::wstring() const {
    return toWstring();
}

String& String::replace(const std::string& from, const std::string& to) {
    size_type at = from.empty() ? npos : find(from);
    if (at == npos) return *this;
    std::string replaced;
    size_type done = 0;
    for (; at != npos; at = find(from, done)) {
        replaced.append(*this, done, at - done).append(to);
        done = at + from.size();
    }
    replaced.append(*this, done);
    swap(replaced);
    return *this;
}

String& String::ansiFromUtf8(istr text, long codepage) {
    utf8ToAnsi(text, *this, codepage);
    return *this;
}

String& String::ansiFromWstring(iwstr text, long codepage) {
    wstringToAnsi(text, *this, codepage);
    return *this;
}

void String::ansiToWstring(std::wstring& out, long codepage) const {
    qor::ansiToWstring(*this, out, codepage);
}

void String::ansiToUtf8(Bytes& out, long codepage) const {
    qor::ansiToUtf8(*this, out, codepage);
}

String String::fromUtf8(istr text, long codepage) {
    return toAnsi(qor::utf8(text), codepage);
}

String String::fromWstring(iwstr text, long codepage) {
    return toAnsi(wstr(text), codepage);
}

String String::toUtf8(long codepage) const {
    return String(istr(qor::toUtf8(ansi(*this), codepage)));
}

std::wstring String::toWstring(long codepage) const {
    return qor::toWstring(ansi(*this), codepage);
}

const String& String::null() {
    static const String empty;
    return empty;
}

namespace {
const platform::MadeAtLoad madeAtLoad([] { String::null(); });
}  // namespace

}  // namespace qor
