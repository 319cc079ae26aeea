#include <algorithm>
#include <array>
#include <type_traits>

#include "pml/escape.h"
#include "qor/pml/pml_writer.h"

namespace qor::pml {

namespace {

template <class Char>
constexpr bool isSpecial(Char c) noexcept {
    constexpr Char kSpecial[] = {'(', ')', ':', '*', '^', '\'', '"'};
    return std::find(std::begin(kSpecial), std::end(kSpecial), c) != std::end(kSpecial);
}

template <class Char>
bool isEscaped(Char c) noexcept {
    return c == '^' || c == '"';
}

template <class Char>
constexpr bool asksForQuotes(Char c) noexcept {
    return isSpecial(c) || static_cast<std::make_unsigned_t<Char>>(c) >= 128;
}

template <class Text>
bool hasBlankEnd(const Text& text) noexcept {
    return CharIsSpace(text.front()) || CharIsSpace(text.back());
}

constexpr auto kAsksForQuotes = [] {
    std::array<bool, 256> asks{};
    for (unsigned c = 0; c < asks.size(); ++c)
        asks[c] = asksForQuotes(static_cast<char>(c));
    return asks;
}();

template <class Text>
Text& escape(Text& text) {
    using Char = typename Text::value_type;
    if (!needsQuotes(text)) return text;
    Text escaped;
    escaped.reserve(text.size() + 2);
    escaped.push_back('"');
    for (const Char c : text) {
        if (isEscaped(c)) escaped.push_back('^');
        escaped.push_back(c);
    }
    escaped.push_back('"');
    text.swap(escaped);
    return text;
}

}  // namespace

bool needsQuotes(const std::string& text) noexcept {
    if (text.empty()) return false;
    return hasBlankEnd(text) || std::any_of(text.begin(), text.end(), [](char c) {
               return kAsksForQuotes[static_cast<unsigned char>(c)];
           });
}

bool needsQuotes(const std::wstring& text) noexcept {
    if (text.empty()) return false;
    return hasBlankEnd(text) || std::any_of(text.begin(), text.end(), asksForQuotes<wchar_t>);
}

bool isSpeacialChar(char c) noexcept {
    return isSpecial(c);
}

bool isSpeacialChar(wchar_t c) noexcept {
    return isSpecial(c);
}

String& escapeString(String& text) {
    return escape(text);
}

std::wstring& escapeString(std::wstring& text) {
    return escape(text);
}

String& unescapeString(String& text) {
    removeQuotes(text);
    return text;
}

std::wstring& unescapeString(std::wstring& text) {
    removeQuotes(text);
    return text;
}

}  // namespace qor::pml
