#ifndef QOR_SRC_PML_PARSER_BASE_H
#define QOR_SRC_PML_PARSER_BASE_H

#include <algorithm>
#include <array>
#include <exception>
#include <istream>
#include <memory>
#include <new>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

#include "pml/escape.h"
#include "qor/base/base_type_char.h"
#include "qor/base/base_type_convert.h"
#include "qor/pml/ntv_unit.h"
#include "qor/pml/pml_parser.h"

namespace qor::pml {

template <class Char>
bool isBlank(Char c) noexcept {
    // Nearly all characters; no locale makes them blanks.
    if (c > ' ' && c < 127) return false;
    if (c == ' ' || (c >= '\t' && c <= '\r')) return true;
    return CharIsSpace(c);
}

// Characters that are an ordinary part of a token.
template <class Char>
constexpr bool isPlain(Char c) noexcept {
    return c != '(' && c != ')' && c != ':' && c != '\'' && c != '"' && c != '^';
}

constexpr auto kPlain = [] {
    std::array<bool, 256> plain{};
    for (unsigned c = 0; c < plain.size(); ++c)
        plain[c] = isPlain(static_cast<char>(c));
    return plain;
}();

template <class Char>
const Char* endOfPlain(const Char* at, const Char* end) noexcept {
    if constexpr (sizeof(Char) == 1) {
        return std::find_if(at, end, [](Char c) { return !kPlain[static_cast<unsigned char>(c)]; });
    } else {
        return std::find_if(at, end, [](Char c) { return !isPlain(c); });
    }
}

// Sources of characters. One operation returns the next character without consuming it, another one
// consumes it; both report the end.

template <class Char>
class TextSource {
public:
    TextSource(const Char* begin, const Char* end) noexcept : at_(begin), end_(end) {}

    const Char* at() const noexcept { return at_; }
    bool atEnd() const noexcept { return at_ == end_; }
    bool peek(Char& c) const noexcept {
        if (at_ == end_) return false;
        c = *at_;
        return true;
    }
    void skip() noexcept { ++at_; }
    void takePlain(std::basic_string<Char>& token) {
        const Char* const start = std::exchange(at_, endOfPlain(at_, end_));
        token.append(start, at_);
    }

private:
    const Char* at_;
    const Char* end_;
};

template <class Char>
class StreamSource {
public:
    explicit StreamSource(std::basic_istream<Char>& stream) : stream_(stream) {
        const typename std::basic_istream<Char>::sentry sentry(stream, true);
        readable_ = static_cast<bool>(sentry);
    }

    bool atEnd() const { return stream_.eof(); }
    bool peek(Char& c) {
        using Traits = std::char_traits<Char>;
        if (!readable_) return false;
        try {
            const typename Traits::int_type next = stream_.rdbuf()->sgetc();
            if (!Traits::eq_int_type(next, Traits::eof())) {
                c = Traits::to_char_type(next);
                return true;
            }
        } catch (const std::bad_alloc&) {
            throw;
        } catch (const std::exception&) {
            return fail(std::ios_base::badbit);
        }
        return fail(std::ios_base::eofbit);
    }
    // The peeked character is in the stream's buffer.
    void skip() { stream_.rdbuf()->sbumpc(); }
    void takePlain(std::basic_string<Char>& token) {
        Char c;
        while (peek(c) && isPlain(c)) {
            token.push_back(c);
            skip();
        }
    }

private:
    bool fail(std::ios_base::iostate state) {
        readable_ = false;
        stream_.setstate(state);
        return false;
    }

    std::basic_istream<Char>& stream_;
    bool readable_;
};

// Parses one unit. Incomplete units are on a separate stack, and a unit is added to its parent when
// it is complete: so after a failure all units in the tree are complete.
template <class Char, class Source>
class pmlParserBase {
public:
    enum State { PasingName = 0, PasingType = 1, PasingValue = 2 };

    pmlParserBase(ntv::Unit& unit, Source& source) noexcept : unit_(unit), source_(source) {}

    // Starts in the state PasingName or PasingValue. Returns false if there is no memory for a
    // child.
    bool __doParser(State state) {
        ntv::Unit* unit = &unit_;
        if (state == PasingName) {
            state = readName();
            unit->name(text(token_));
            if (state == PasingName) return true;
            if (state == PasingType) readType(*unit);
        }
        do {
            unit = readValue(*unit);
            if (unit == nullptr) unit = nextUnit();
        } while (unit != nullptr);
        return complete_;
    }

private:
    // The delimiter that ended a token.
    enum Flag { None = -1, NameDelimiter = 0, ValueBegin = 1, ValueEnd = 2 };

    // Called after the value of the last unit on the stack, or of the root, was read. Returns the
    // next unit whose value is to be read; null at the end, complete or not.
    ntv::Unit* nextUnit() {
        while (!open_.empty()) {
            ntv::Unit& parent = open_.size() > 1 ? *open_[open_.size() - 2] : unit_;
            if (!addLastTo(parent)) return nullptr;
            const State state = readName();
            if (state != PasingName) return begin(state);
            // A name directly before the end is a child without a value.
            if (!token_.empty()) {
                open_.push_back(newUnit());
                if (!addLastTo(parent)) return nullptr;
            }
        }
        complete_ = true;
        return nullptr;
    }

    bool addLastTo(ntv::Unit& parent) {
        if (!parent.addChild(open_.back().get())) return false;
        static_cast<void>(open_.back().release());
        open_.pop_back();
        return true;
    }

    std::unique_ptr<ntv::Unit> newUnit() const {
        const auto name = text(token_);
        return std::unique_ptr<ntv::Unit>(
            new (__FILE__, __LINE__, "qor::pml::pmlParserBase::__doParser") ntv::Unit(istr(name)));
    }

    // Creates a unit with the token as its name, in the given state.
    ntv::Unit* begin(State state) {
        open_.push_back(newUnit());
        ntv::Unit* const unit = open_.back().get();
        if (state == PasingType) readType(*unit);
        return unit;
    }

    // Reads a name to token_. Returns the state that follows; PasingName at the end of the list.
    State readName() {
        if (!readToken()) {
            if (!source_.atEnd()) raise("get pml name token");
            token_.clear();
            return PasingName;
        }
        if (flag_ == ValueEnd) {
            // Deliberate (compatibility): after a name the ")" is not consumed, and so also closes
            // the enclosing list.
            if (token_.empty()) source_.skip();
            return PasingName;
        }
        return flag_ == NameDelimiter ? PasingType : PasingValue;
    }

    void readType(ntv::Unit& unit) {
        if (!readToken()) raise("get type token");
        if (flag_ != ValueBegin) {
            if (flag_ == ValueEnd) source_.skip();
            raise("not found value begin tag, token");
        }
        unit.type(text(token_));
    }

    // Reads a scalar and returns null, or begins a list and returns its first child. The end of the
    // source also ends a scalar.
    ntv::Unit* readValue(ntv::Unit& unit) {
        const bool found = readToken();
        if (found && flag_ != ValueEnd) {
            unit.initValueAsList();
            return begin(flag_ == NameDelimiter ? PasingType : PasingValue);
        }
        if (found) source_.skip();
        trimRight();
        removeQuotes(token_);
        unit.setValue(text(token_));
        return nullptr;
    }

    // Reads a token and its delimiter, which is not consumed if it is a ")". Returns false if the
    // source ends first; the token then has the text so far. A quoted part ends with the same kind
    // of quote.
    bool readToken() {
        token_.clear();
        flag_ = None;
        if (!skipBlanks()) return false;
        for (Char c; source_.peek(c);) {
            switch (c) {
                case ':':
                    source_.skip();
                    return endToken(NameDelimiter);
                case ')':
                    return endToken(ValueEnd);
                case '(': {
                    source_.skip();
                    Char next;
                    if (!source_.peek(next)) return false;
                    if (next != '*') return endToken(ValueBegin);
                    source_.skip();
                    if (!skipComment() || !skipBlanks()) return false;
                    break;
                }
                case '\'':
                case '"':
                    source_.skip();
                    if (!readQuoted(c)) return false;
                    break;
                case '^':
                    source_.skip();
                    if (!take(c)) return false;
                    token_.push_back(c);
                    break;
                default:
                    source_.takePlain(token_);
            }
        }
        return false;
    }

    void trimRight() {
        if (!token_.empty() && isBlank(token_.back())) StrTrimRight(token_);
    }

    bool endToken(Flag flag) {
        trimRight();
        flag_ = flag;
        return true;
    }

    // Called after the opening quote. Strings with only blanks between them are joined.
    bool readQuoted(Char open) {
        token_.push_back(open);
        Char closing = open;
        for (Char c; take(c);) {
            if (c != closing) {
                if (c == '^' && !take(c)) return false;
                token_.push_back(c);
                continue;
            }
            token_.push_back(open);
            Char next;
            if (!skipBlanks() || !source_.peek(next) || (next != '\'' && next != '"')) return true;
            token_.pop_back();
            closing = next;
            source_.skip();
        }
        return false;
    }

    // Called after "(*". Comments may be nested.
    bool skipComment() {
        Char previous;
        if (!take(previous)) return false;
        unsigned long depth = 1;
        for (Char c; take(c); previous = c) {
            if (previous == '*' && c == ')') {
                if (--depth == 0) return true;
            } else if (previous == '(' && c == '*') {
                ++depth;
            }
        }
        return false;
    }

    // Returns false at the end of the source.
    bool skipBlanks() {
        Char c;
        while (source_.peek(c)) {
            if (!isBlank(c)) return true;
            source_.skip();
        }
        return false;
    }

    bool take(Char& c) {
        if (!source_.peek(c)) return false;
        source_.skip();
        return true;
    }

    // A token in the configured code page, as in the tree.
    static istr text(const std::string& token) noexcept { return istr(token); }
    static String text(const std::wstring& token) { return toAnsi(wstr(iwstr(token))); }

    [[noreturn]] static void raise(const char* message) {
        QOR_THROW(DecodeException,
                  std::is_same_v<Char, char> ? "qor::pml::pmlParserBase<char>::__doParser"
                                             : "qor::pml::pmlParserBase<wchar_t>::__doParser",
                  message);
    }

    ntv::Unit& unit_;
    Source& source_;
    std::basic_string<Char> token_;
    int flag_ = None;
    bool complete_ = false;
    std::vector<std::unique_ptr<ntv::Unit>> open_;
};

}  // namespace qor::pml

#endif  // QOR_SRC_PML_PARSER_BASE_H
