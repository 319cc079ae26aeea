#ifndef QOR_BASE_BASE_TYPE_CONVERT_H
#define QOR_BASE_BASE_TYPE_CONVERT_H

#include <string>

#include "qor/base/base_type_auto.h"
#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_string.h"

// Conversions between the three encodings that the library knows by name: "ansi" (a code page given
// by its number, 65001 being UTF-8 and -1 the configured one), UTF-8, and wide.
//
// No conversion reports a failure. An unknown code page gives empty text, as does one whose table
// cannot be read since no descriptor is left. Malformed input becomes U+FFFD; in UTF-8, one for
// each maximal subpart, as the Unicode standard recommends. A character that the target page lacks
// becomes "?". Text ends at its first zero. If both sides have the same encoding, the text is
// copied unchanged, zeros included, and not validated.
//
// The output argument may own the memory that the source views. If memory runs out, std::bad_alloc
// is raised and the output is unchanged. Any number of threads may convert at the same time.

namespace qor {

// Terminated copies, owned by the AutoPtr. Never null: a null pointer gives empty text.
QOR_API AutoPtr<char> to_str(const char* text);
QOR_API AutoPtr<char> to_str(const wchar_t* text, long codepage = -1);
QOR_API AutoPtr<wchar_t> to_wstr(const char* text, long codepage = -1);
QOR_API AutoPtr<wchar_t> to_wstr(const wchar_t* text);
QOR_API AutoPtr<char> to_utf8str(const wchar_t* text);

// A copy of the bytes; nothing is converted.
QOR_API String to_ansi(const istr& text);
QOR_API String to_ansi(const iwstr& text, long codepage = -1);

QOR_API void utf8ToAnsi(const istr& text, String& out, long codepage = -1);
QOR_API void utf8ToWstring(const istr& text, std::wstring& out);
QOR_API void ansiToWstring(const istr& text, std::wstring& out, long codepage = -1);
QOR_API void wstringToAnsi(const iwstr& text, String& out, long codepage = -1);
// The text is copied unchanged only if the two numbers are equal: -1 and the number of the
// configured page are different, and the text is converted.
QOR_API void ansiToAnsi(const istr& text, long from, String& out, long to);
QOR_API void ansiToUtf8(const istr& text, Bytes& out, long codepage = -1);
QOR_API void wstringToUtf8(const iwstr& text, Bytes& out);

// The same conversions, chosen by the type of the view.
QOR_API String toAnsi(wstr text, long codepage = -1);
QOR_API String toAnsi(ansi text);
QOR_API String toAnsi(utf8 text, long codepage = -1);
QOR_API std::wstring toWstring(wstr text);
QOR_API std::wstring toWstring(ansi text, long codepage = -1);
QOR_API std::wstring toWstring(utf8 text);
QOR_API Bytes toUtf8(wstr text);
QOR_API Bytes toUtf8(ansi text, long codepage = -1);
QOR_API Bytes toUtf8(utf8 text);

}  // namespace qor

#endif  // QOR_BASE_BASE_TYPE_CONVERT_H
