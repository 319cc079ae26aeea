#ifndef QOR_BASE_BASE_TYPE_CHAR_H
#define QOR_BASE_BASE_TYPE_CHAR_H

#include <cstring>
#include <iosfwd>
#include <string>

#include "qor/api.h"
#include "qor/base/base_type.h"

// Free helpers on characters, terminated text and raw memory. A null pointer given as text reads
// as empty text everywhere. A length of npos means "up to the terminator". Nothing here allocates
// but the operations that return a String or append to one.

namespace qor {

class istr;
class String;

// The pointer, or "<null>" for a null pointer.
inline const char* SafeStr(const char* text) noexcept {
    return text != nullptr ? text : "<null>";
}
inline const unsigned char* SafeStr(const unsigned char* text) noexcept {
    return text != nullptr ? text : reinterpret_cast<const unsigned char*>("<null>");
}

// n itself, or the measured length if n is npos; 0 for null.
inline unsigned long StrLen(const char* text, unsigned long n = npos) noexcept {
    if (text == nullptr) return 0;
    return isNpos(n) ? std::strlen(text) : n;
}
QOR_API unsigned long StrLen(const wchar_t* text, unsigned long n = npos) noexcept;
// The length up to the terminator, at most n.
QOR_API unsigned long StrLenN(const char* text, unsigned long n) noexcept;

// Copies n bytes of `source` as strncpy does and sets target[n] to zero: the target must have room
// for n + 1 bytes. If n is npos or npos - 1, the source is measured. Does nothing if the target is
// null or equal to the source.
QOR_API char* StrCopy(char* target, const char* source, unsigned long n = npos) noexcept;
// Appends the terminated `source` if the result and its terminator fit into `room` bytes; changes
// nothing otherwise.
QOR_API char* StrSafeCat(char* target, const char* source, unsigned long room) noexcept;

// Three-way comparison of at most n characters, up to a terminator. Null and empty text are equal
// to each other and less than any other text. Two views that start at the same address are equal,
// whatever their sizes.
QOR_API int StrCmpW(const char* left, const char* right, unsigned long n = npos,
                    bool noCase = false) noexcept;
QOR_API int StrCmpW(istr left, istr right, unsigned long n = npos, bool noCase = false) noexcept;
// The same; neither pointer may be null.
QOR_API int StrCmpUnsafe(const char* left, const char* right, unsigned long n = npos,
                         bool noCase = false) noexcept;

// Change the text in place, up to its terminator and at most n bytes.
QOR_API char* StrToUpper(char* text, unsigned long n = npos) noexcept;
QOR_API char* StrToLower(char* text, unsigned long n = npos) noexcept;
// StrIsAllDigits is false for null and for empty text.
QOR_API bool StrIsAllDigits(const char* text) noexcept;
QOR_API bool StrBeginWith(const char* text, istr start) noexcept;
QOR_API void StrTrimRight(std::string& text);
QOR_API void StrTrimRight(std::wstring& text);
// Removes one c from each end, if both ends have it and the size is at least 2.
QOR_API void trimLeftRight(std::string& text, char c);
QOR_API void trimLeftRight(std::wstring& text, wchar_t c);

QOR_API void* MemSet(void* target, int value, unsigned long n) noexcept;
// The areas must not overlap.
QOR_API void* MemCopy(void* target, const void* source, unsigned long n) noexcept;
// As MemCopy, and sets target[n] to zero: the target must have room for n + 1 bytes.
QOR_API void* MemCopyZ(void* target, const void* source, unsigned long n) noexcept;

// memcmp that takes null: null is less than any memory, and equal to itself.
inline int MemCmp(const void* left, const void* right, unsigned long n) noexcept {
    if (left == right || n == 0) return 0;
    if (left == nullptr) return -1;
    if (right == nullptr) return 1;
    return std::memcmp(left, right, n);
}

// True if c is in the terminated text `set`. The terminator counts as a member, so 0 is in every
// set.
QOR_API bool CharIn(char c, const char* set) noexcept;

// The character classes of the C library in its locale. A char is taken as unsigned.
QOR_API bool CharIsSpace(char c) noexcept;
QOR_API bool CharIsSpace(wchar_t c) noexcept;
QOR_API bool CharIsPrint(char c) noexcept;
QOR_API bool CharIsPrint(wchar_t c) noexcept;
QOR_API bool CharIsCntrl(char c) noexcept;
QOR_API bool CharIsUpper(char c) noexcept;
QOR_API bool CharIsLower(char c) noexcept;
QOR_API bool CharIsAlpha(char c) noexcept;
QOR_API bool CharIsDigit(char c) noexcept;
QOR_API bool CharIsPunct(char c) noexcept;
QOR_API bool CharIsXdigit(char c) noexcept;
QOR_API bool CharIsAlnum(char c) noexcept;
QOR_API bool CharIsGraph(char c) noexcept;
QOR_API char CharToLower(char c) noexcept;
QOR_API char CharToUpper(char c) noexcept;

// text[i], for i up to and including `size`. Out of range, and for null text, the reading forms
// give a static zero byte; the writing forms raise OutOfRangeException.
QOR_API const char& CharAt(const char* text, unsigned long size, unsigned long i) noexcept;
QOR_API const unsigned char& CharAt(const unsigned char* text, unsigned long size,
                                    unsigned long i) noexcept;
QOR_API char& CharAt(char* text, unsigned long size, unsigned long i);
QOR_API unsigned char& CharAt(unsigned char* text, unsigned long size, unsigned long i);

// Hexadecimal digits are written in upper case and read in either case.

// The digit of the low four bits.
QOR_API char HexToChar(unsigned char value) noexcept;
QOR_API char int2hexchar(int value) noexcept;
// The value of a digit; 255 and -1 for anything else.
QOR_API unsigned char HexFromChar(char digit) noexcept;
QOR_API int hexchar2int(char digit) noexcept;
QOR_API void byte2hexstr(unsigned char value, String& out);
QOR_API String byte2hexstr(unsigned char value);
// 255 if either digit is bad.
QOR_API unsigned char hexstr2byte(char high, char low) noexcept;
// From the first two characters; the view must have them. 255 for a null view.
QOR_API unsigned char hexstr2byte(istr text) noexcept;
// Two digits for each byte; the first form appends.
QOR_API void bytes2hexstr(istr bytes, String& out);
QOR_API String bytes2hexstr(istr bytes);
// The low `width` bytes of the value, most significant first, two digits each; the first form
// appends. If `width` is greater than 8, the leading bytes are zero.
QOR_API void int2hexstr(unsigned long long value, unsigned long width, String& out);
QOR_API String int2hexstr(unsigned long long value, unsigned long width);
// The number that the digits, or the bytes, form, most significant first. Only the low 64 bits are
// kept. A character that is not a digit makes the result all ones.
QOR_API unsigned long long hexstr2int(istr text) noexcept;
QOR_API unsigned long long bytes2int(istr bytes) noexcept;

QOR_API void Print(std::ostream& os, const char* text);
// The character itself if it is printable, the name of a control character ("<CR>", "^A"), or a
// backslash and the octal value.
QOR_API void Print(std::ostream& os, char c);

// The variable's value; empty for a null name or an unset variable.
QOR_API String getenv(const char* name);

}  // namespace qor

#endif  // QOR_BASE_BASE_TYPE_CHAR_H
