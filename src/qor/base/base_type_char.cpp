#include "qor/base/base_type_char.h"

#include <algorithm>
#include <cctype>
#include <cstdlib>
#include <cwchar>
#include <cwctype>
#include <new>
#include <ostream>

#include "base/size.h"
#include "base/size_difference.h"
#include "nuv_os_adapter.h"
#include "qor/base/base_type_string.h"
#include "qor/base/exception.h"

namespace qor {

namespace {

constexpr char kDigits[] = "0123456789ABCDEF";

// The names of the control characters below 32.
constexpr const char* kControlNames[32] = {
    "<NUL>", "^A",   "^B",   "^C", "^D", "^E",    "^F",  "^G", "<BS>", "<HT>", "<LF>",
    "<VT>",  "<FF>", "<CR>", "^N", "^O", "^P",    "^Q",  "^R", "^S",   "^T",   "^U",
    "^V",    "^W",   "^X",   "^Y", "^Z", "<ESC>", "^\\", "^]", "^^",   "^_"};

int asUnsigned(char c) noexcept {
    return static_cast<unsigned char>(c);
}

// The result when at least one side has no text.
int compareEmpty(bool leftHasText, bool rightHasText) noexcept {
    return static_cast<int>(leftHasText) - static_cast<int>(rightHasText);
}

int compareNoCase(const char* left, const char* right, unsigned long n) noexcept {
    unsigned long i = 0;
    for (; i < n && left[i] != '\0' && right[i] != '\0'; ++i) {
        const int difference = asUnsigned(CharToUpper(left[i])) - asUnsigned(CharToUpper(right[i]));
        if (difference != 0) return difference;
    }
    return i < n ? asUnsigned(left[i]) - asUnsigned(right[i]) : 0;
}

template <class Text>
void trimRight(Text& text) {
    while (!text.empty() && CharIsSpace(text.back()))
        text.pop_back();
}

template <class Text, class Char>
void trimOneLayer(Text& text, Char c) {
    if (text.size() < 2 || text.front() != c || text.back() != c) return;
    text.pop_back();
    text.erase(text.begin());
}

template <class Char>
const Char& readAt(const Char* text, unsigned long size, unsigned long i) noexcept {
    static constexpr Char zero = 0;
    return text == nullptr || i > size ? zero : text[i];
}

template <class Char>
Char& writeAt(Char* text, unsigned long size, unsigned long i) {
    if (text == nullptr || i > size) QOR_THROW(OutOfRangeException, "qor::CharAt");
    return text[i];
}

template <class Transform>
char* transformText(char* text, unsigned long n, Transform transform) noexcept {
    if (text == nullptr) return nullptr;
    for (unsigned long i = 0; (isNpos(n) || i < n) && text[i] != '\0'; ++i) {
        text[i] = transform(text[i]);
    }
    return text;
}

}  // namespace

unsigned long StrLen(const wchar_t* text, unsigned long n) noexcept {
    if (text == nullptr) return 0;
    return isNpos(n) ? std::wcslen(text) : n;
}

unsigned long StrLenN(const char* text, unsigned long n) noexcept {
    return text != nullptr ? strnlen(text, n) : 0;
}

char* StrCopy(char* target, const char* source, unsigned long n) noexcept {
    if (target == nullptr || target == source) return target;
    if (source == nullptr) {
        n = 0;
    } else if (isNpos(n) || n == npos - 1 || n == npos32 - 1) {
        n = std::strlen(source);
    }
    target[n] = '\0';
    nuv_strncpy_s(target, n, source, n);
    return target;
}

char* StrSafeCat(char* target, const char* source, unsigned long room) noexcept {
    if (target != nullptr && source != nullptr && room != 0) nuv_strcat_s(target, room, source);
    return target;
}

int StrCmpW(const char* left, const char* right, unsigned long n, bool noCase) noexcept {
    if (left == right || n == 0) return 0;
    const bool leftHasText = left != nullptr && *left != '\0';
    const bool rightHasText = right != nullptr && *right != '\0';
    if (leftHasText && rightHasText) return StrCmpUnsafe(left, right, n, noCase);
    return compareEmpty(leftHasText, rightHasText);
}

int StrCmpW(istr left, istr right, unsigned long n, bool noCase) noexcept {
    if (left.data() == right.data() || n == 0) return 0;
    if (left.empty() || right.empty()) return compareEmpty(!left.empty(), !right.empty());
    const unsigned long leftSize = std::min(left.size(), n);
    const unsigned long rightSize = std::min(right.size(), n);
    const int order =
        StrCmpUnsafe(left.data(), right.data(), std::min(leftSize, rightSize), noCase);
    return order != 0 ? order : sizeDifference(leftSize, rightSize);
}

int StrCmpUnsafe(const char* left, const char* right, unsigned long n, bool noCase) noexcept {
    if (noCase) return compareNoCase(left, right, isNpos(n) ? npos : n);
    return isNpos(n) ? std::strcmp(left, right) : std::strncmp(left, right, n);
}

char* StrToUpper(char* text, unsigned long n) noexcept {
    return transformText(text, n, CharToUpper);
}

char* StrToLower(char* text, unsigned long n) noexcept {
    return transformText(text, n, CharToLower);
}

bool StrIsAllDigits(const char* text) noexcept {
    if (text == nullptr || *text == '\0') return false;
    return std::all_of(text, text + std::strlen(text), CharIsDigit);
}

bool StrBeginWith(const char* text, istr start) noexcept {
    return StrCmpW(text, start.data(), start.size()) == 0;
}

void StrTrimRight(std::string& text) {
    trimRight(text);
}

void StrTrimRight(std::wstring& text) {
    trimRight(text);
}

void trimLeftRight(std::string& text, char c) {
    trimOneLayer(text, c);
}

void trimLeftRight(std::wstring& text, wchar_t c) {
    trimOneLayer(text, c);
}

void* MemSet(void* target, int value, unsigned long n) noexcept {
    if (n != 0) nuv_memset_s(target, n, value, n);
    return target;
}

void* MemCopy(void* target, const void* source, unsigned long n) noexcept {
    if (target != source && n != 0) nuv_memcpy_s(target, n, source, n);
    return target;
}

void* MemCopyZ(void* target, const void* source, unsigned long n) noexcept {
    if (target == nullptr || target == source) return target;
    if (source == nullptr) n = 0;
    static_cast<char*>(target)[n] = '\0';
    return MemCopy(target, source, n);
}

bool CharIn(char c, const char* set) noexcept {
    return c == '\0' || (set != nullptr && std::strchr(set, c) != nullptr);
}

bool CharIsSpace(char c) noexcept {
    return std::isspace(asUnsigned(c)) != 0;
}
bool CharIsSpace(wchar_t c) noexcept {
    return std::iswspace(static_cast<std::wint_t>(c)) != 0;
}
bool CharIsPrint(char c) noexcept {
    return std::isprint(asUnsigned(c)) != 0;
}
bool CharIsPrint(wchar_t c) noexcept {
    return std::iswprint(static_cast<std::wint_t>(c)) != 0;
}
bool CharIsCntrl(char c) noexcept {
    return std::iscntrl(asUnsigned(c)) != 0;
}
bool CharIsUpper(char c) noexcept {
    return std::isupper(asUnsigned(c)) != 0;
}
bool CharIsLower(char c) noexcept {
    return std::islower(asUnsigned(c)) != 0;
}
bool CharIsAlpha(char c) noexcept {
    return std::isalpha(asUnsigned(c)) != 0;
}
bool CharIsDigit(char c) noexcept {
    return std::isdigit(asUnsigned(c)) != 0;
}
bool CharIsPunct(char c) noexcept {
    return std::ispunct(asUnsigned(c)) != 0;
}
bool CharIsXdigit(char c) noexcept {
    return std::isxdigit(asUnsigned(c)) != 0;
}
bool CharIsAlnum(char c) noexcept {
    return std::isalnum(asUnsigned(c)) != 0;
}
bool CharIsGraph(char c) noexcept {
    return std::isgraph(asUnsigned(c)) != 0;
}
char CharToLower(char c) noexcept {
    return static_cast<char>(std::tolower(asUnsigned(c)));
}
char CharToUpper(char c) noexcept {
    return static_cast<char>(std::toupper(asUnsigned(c)));
}

const char& CharAt(const char* text, unsigned long size, unsigned long i) noexcept {
    return readAt(text, size, i);
}
const unsigned char& CharAt(const unsigned char* text, unsigned long size,
                            unsigned long i) noexcept {
    return readAt(text, size, i);
}
char& CharAt(char* text, unsigned long size, unsigned long i) {
    return writeAt(text, size, i);
}
unsigned char& CharAt(unsigned char* text, unsigned long size, unsigned long i) {
    return writeAt(text, size, i);
}

char HexToChar(unsigned char value) noexcept {
    return kDigits[value & 15];
}

char int2hexchar(int value) noexcept {
    return kDigits[value & 15];
}

unsigned char HexFromChar(char digit) noexcept {
    return static_cast<unsigned char>(hexchar2int(digit));
}

int hexchar2int(char digit) noexcept {
    if (digit >= '0' && digit <= '9') return digit - '0';
    if (digit >= 'A' && digit <= 'F') return digit - 'A' + 10;
    if (digit >= 'a' && digit <= 'f') return digit - 'a' + 10;
    return -1;
}

void byte2hexstr(unsigned char value, String& out) {
    const char digits[] = {HexToChar(value >> 4), HexToChar(value)};
    out.append(digits, 2);
}

String byte2hexstr(unsigned char value) {
    String out;
    byte2hexstr(value, out);
    return out;
}

unsigned char hexstr2byte(char high, char low) noexcept {
    const int highValue = hexchar2int(high);
    const int lowValue = hexchar2int(low);
    if (highValue < 0 || lowValue < 0) return 255;
    return static_cast<unsigned char>(highValue << 4 | lowValue);
}

unsigned char hexstr2byte(istr text) noexcept {
    return text.is_null() ? 255 : hexstr2byte(text[0], text[1]);
}

void bytes2hexstr(istr bytes, String& out) {
    out += bytes2hexstr(bytes);
}

String bytes2hexstr(istr bytes) {
    String digits;
    if (bytes.empty()) return digits;
    digits.resize(checkedSize(2ULL * bytes.size()));
    char* out = digits.data();
    for (const char byte : bytes) {
        *out++ = kDigits[asUnsigned(byte) >> 4];
        *out++ = kDigits[asUnsigned(byte) & 15];
    }
    return digits;
}

void int2hexstr(unsigned long long value, unsigned long width, String& out) {
    if (width > npos32) throw std::bad_alloc();
    out.append(checkedSize(2ULL * width), '0');
    for (unsigned long i = 1; i <= 2 * width && value != 0; ++i, value >>= 4)
        out[out.size() - i] = kDigits[value & 15];
}

String int2hexstr(unsigned long long value, unsigned long width) {
    String digits;
    int2hexstr(value, width, digits);
    return digits;
}

unsigned long long hexstr2int(istr text) noexcept {
    unsigned long long value = 0;
    for (istr rest = text; !rest.empty(); ++rest) {
        const int digit = hexchar2int(*rest);
        if (digit < 0) return ~0ULL;
        value = value << 4 | static_cast<unsigned>(digit);
    }
    return value;
}

unsigned long long bytes2int(istr bytes) noexcept {
    unsigned long long value = 0;
    for (istr rest = bytes; !rest.empty(); ++rest) {
        value = value << 8 | static_cast<unsigned char>(*rest);
    }
    return value;
}

void Print(std::ostream& os, const char* text) {
    os << SafeStr(text);
}

void Print(std::ostream& os, char c) {
    if (CharIsPrint(c)) {
        os << c;
    } else if (asUnsigned(c) < 32) {
        os << kControlNames[asUnsigned(c)];
    } else {
        os << '\\' << std::oct << asUnsigned(c) << std::dec;
    }
}

String getenv(const char* name) {
    return name != nullptr ? String(std::getenv(name)) : String();
}

}  // namespace qor
