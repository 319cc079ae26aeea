#ifndef QOR_BASE_BASE_TYPE_STRING_H
#define QOR_BASE_BASE_TYPE_STRING_H

#include <cstddef>
#include <string>

#include "qor/base/base_type_target.h"
#include "qor/base/base_type_view.h"

namespace qor {

class Bytes;

// The owning narrow string: a std::string that also takes null pointers (as empty text), views
// and wide text. It adds no field and no virtual operation.
//
// Its text is in the configured code page (UTF-8 unless configured otherwise); -1 as a code page
// argument means that one. Wide sources are converted and end at their first zero.
//
// Views of a String are valid only as long as the String and its text.
class QOR_API String : public std::string {
public:
    String() noexcept = default;
    String(const String&) = default;
    String(String&&) noexcept = default;
    String(std::nullptr_t) noexcept {}
    String(const std::string& text) : std::string(text) {}
    String(std::string&& text) noexcept : std::string(std::move(text)) {}
    String(istr text) : std::string(std::string_view(text)) {}
    String(const char* text) : String(istr(text)) {}
    String(const unsigned char* text) : String(istr(text)) {}
    String(const char* first, const char* last) : String(istr(first, last)) {}
    template <std::integral N>
    String(const char* text, N n) : String(istr(text, n)) {}
    template <std::integral N>
    String(const unsigned char* text, N n) : String(istr(text, n)) {}
    String(const std::wstring& text, long codepage = -1);
    String(iwstr text, long codepage = -1);
    String(const wchar_t* text, long codepage = -1);

    String& operator=(const String&) = default;
    String& operator=(String&&) noexcept = default;
    String& operator=(const std::string& text) {
        std::string::operator=(text);
        return *this;
    }
    String& operator=(std::string&& text) noexcept {
        std::string::operator=(std::move(text));
        return *this;
    }
    String& operator=(std::nullptr_t) noexcept { return clear(); }
    String& operator=(istr text) { return set(text); }
    String& operator=(const char* text) { return set(text); }
    String& operator=(const unsigned char* text) { return set(text); }
    String& operator=(const std::wstring& text) { return *this = String(text); }
    String& operator=(iwstr text) { return *this = String(text); }
    String& operator=(const wchar_t* text) { return *this = String(text); }

    using std::string::operator+=;
    String& operator+=(const String& text) {
        return *this += static_cast<const std::string&>(text);
    }
    String& operator+=(const std::string& text) {
        append(text);
        return *this;
    }
    String& operator+=(istr text) { return add(text); }
    String& operator+=(const char* text) { return add(text); }
    String& operator+=(const unsigned char* text) { return add(text); }
    String& operator+=(const std::wstring& text) { return *this += String(text); }
    String& operator+=(iwstr text) { return *this += String(text); }
    String& operator+=(const wchar_t* text) { return *this += String(text); }
    String& operator+=(char c) {
        push_back(c);
        return *this;
    }
    String& operator+=(unsigned char c) { return *this += static_cast<char>(c); }

    // Comparisons are those of istr. The other side may be any type that converts to istr. The
    // overloads for two Strings are needed for classes derived from String, and for sizes that a
    // view does not have.
    friend bool operator==(const String& left, const String& right) noexcept {
        return left.whole() == right.whole();
    }
    friend std::strong_ordering operator<=>(const String& left, const String& right) noexcept {
        return left.whole() <=> right.whole();
    }
    // Without these, std::less<> would compare the addresses that Strings convert to, and not the
    // texts.
    friend bool operator<(const String& left, const String& right) noexcept {
        return left.whole() < right.whole();
    }
    friend bool operator>(const String& left, const String& right) noexcept { return right < left; }
    friend bool operator<=(const String& left, const String& right) noexcept {
        return left.whole() <= right.whole();
    }
    friend bool operator>=(const String& left, const String& right) noexcept {
        return right <= left;
    }
    template <std::convertible_to<istr> Text>
    requires(!std::derived_from<Text, String>) friend bool operator==(const String& left,
                                                                      const Text& right) noexcept {
        return istr(left) == istr(right);
    }
    template <std::convertible_to<istr> Text>
    requires(!std::derived_from<Text, String>) friend std::strong_ordering operator<=>(
        const String& left, const Text& right) noexcept {
        return istr(left) <=> istr(right);
    }

    operator istr() const noexcept { return std::string_view(*this); }
    operator std::wstring() const;
    // The object's address, null when the text is empty: for `if (text)`.
    operator void*() const noexcept { return empty() ? nullptr : const_cast<String*>(this); }
    bool operator!() const noexcept { return empty(); }
    bool isEmpty() const noexcept { return empty(); }

    String& clear() noexcept {
        std::string::clear();
        return *this;
    }
    // Removes one c from each end, if both ends have it and the size is at least 2.
    String& trimLeftRight(char c) {
        qor::trimLeftRight(*this, c);
        return *this;
    }
    using std::string::replace;
    // Replaces every occurrence; inserted text is not searched again. An empty `from` changes
    // nothing.
    String& replace(const std::string& from, const std::string& to);

    // Conversions with this string as the narrow side; see base_type_convert.h.
    String& ansiFromUtf8(istr text, long codepage = -1);
    String& ansiFromWstring(iwstr text, long codepage = -1);
    void ansiToWstring(std::wstring& out, long codepage = -1) const;
    void ansiToUtf8(Bytes& out, long codepage = -1) const;
    static String fromUtf8(istr text, long codepage = -1);
    static String fromWstring(iwstr text, long codepage = -1);
    // The bytes of the result are UTF-8, whatever the configured code page.
    String toUtf8(long codepage = -1) const;
    std::wstring toWstring(long codepage = -1) const;

    // An empty string, created at the first call.
    static const String& null();

private:
    std::string_view whole() const noexcept { return *this; }
    // The conversion gives empty text for a null pointer.
    String& set(istr text) {
        std::string::assign(std::string_view(text));
        return *this;
    }
    String& add(istr text) {
        std::string::append(std::string_view(text));
        return *this;
    }
};

}  // namespace qor

template <>
struct std::hash<qor::String> : std::hash<qor::istr> {};

#endif  // QOR_BASE_BASE_TYPE_STRING_H
