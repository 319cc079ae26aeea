#include "qor/json/qor_json_parser.h"

#include <array>
#include <string>

#include "json/escape.h"
#include "json/scan.h"
#include "json/tree_builder.h"

namespace qor::json {

namespace {

constexpr auto kAsciiBlanks = [] {
    std::array<bool, 128> blanks{};
    for (const char c : {' ', '\t', '\n', '\v', '\f', '\r'})
        blanks[static_cast<unsigned char>(c)] = true;
    return blanks;
}();

constexpr auto kTokenEnds = [] {
    std::array<bool, 256> ends{};
    for (const char c : {'{', '}', '[', ']', ':', ',', '"'})
        ends[static_cast<unsigned char>(c)] = true;
    return ends;
}();

// Above ASCII the locale decides.
bool isBlank(char c) noexcept {
    const auto byte = static_cast<unsigned char>(c);
    return byte < kAsciiBlanks.size() ? kAsciiBlanks[byte] : CharIsSpace(c);
}

bool endsToken(char c) noexcept {
    return kTokenEnds[static_cast<unsigned char>(c)];
}

// Out of the way of what is read.
[[noreturn, gnu::cold, gnu::noinline]] void fail(const char* func, const char* what, istr rest) {
    std::string message(what);
    message.append(" : ").append(std::string_view(rest));
    QOR_THROW(qor::json::DecodeException, func, message);
}

void addToken(TreeBuilder& tree, istr token) {
    // Looked at first, since it spares most tokens the rest.
    const bool numeric = !token.empty() && *token <= '9';
    if (!numeric && (token.empty() || token == "null")) return tree.addNull();
    if (!numeric && (token == "true" || token == "false")) return tree.addBoolean(*token == 't');
    // Anything is a number.
    tree.addNumber(token);
}

}  // namespace

Handle<JsonValue> JsonParser::from(istr text) {
    return JsonParser(text).parse();
}

inline char JsonParser::skipBlank() noexcept {
    const char* at = rest_.begin();
    const char* const end = rest_.end();
    while (at != end && isBlank(*at))
        at = scan::skipSpaces(at + 1, end);
    moveTo(at);
    return at != end ? *at : '\0';
}

// Blanks inside a token are a part of it, and only those behind it are not.
inline JsonParser::Span JsonParser::getToken() noexcept {
    skipBlank();
    const char* const begin = rest_.begin();
    const char* const end = rest_.end();
    const char* at = scan::skipDigits(begin, end);
    while (at != end && !endsToken(*at))
        ++at;
    moveTo(at);
    while (at != begin && isBlank(at[-1]))
        --at;
    return {istr(begin, at), true};
}

inline JsonParser::Span JsonParser::getString() noexcept {
    const char* const begin = rest_.begin();
    const char* const end = rest_.end();
    bool escaped = false;
    const char* at = scan::findQuoteOrBackslash(begin + 1, end);
    while (at != end && *at == '\\') {
        escaped = true;
        // The byte behind it is not looked at.
        at = scan::findQuoteOrBackslash(end - at > 2 ? at + 2 : end, end);
    }
    if (at != end) ++at;
    moveTo(at);
    return {istr(begin, at), escaped};
}

JsonParser::Span JsonParser::getName() {
    Span name;
    char behind = '\0';
    if (skipBlank() == '"') {
        name = getString();
        behind = skipBlank();
    } else {
        name = getToken();
        behind = current();
    }
    if (behind == ':') {
        ++rest_;
        return name;
    }
    // The name is forgotten. So the end of an object, and a comma in front of it, read as a name
    // that is empty.
    if (behind != '}') fail("qor::json::JsonParser::getName", "no name", rest_);
    return {istr(), false};
}

bool JsonParser::getValue(TreeBuilder& tree) {
    switch (skipBlank()) {
        case '{':
            ++rest_;
            tree.open(true);
            return true;
        case '[':
            ++rest_;
            tree.open(false);
            return true;
        case '"': {
            const Span span = getString();
            if (!span.escaped && span.text.size() >= 2) {
                tree.addString(withoutQuotes(span.text));
            } else {
                tree.addString(JsonString::unescape(span.text).value());
            }
            return false;
        }
        default:
            break;
    }
    const istr token = getToken().text;
    const char behind = current();
    if (behind != ',' && behind != '}' && behind != ']') {
        fail("qor::json::JsonParser::getValue", "no value end", rest_);
    }
    addToken(tree, token);
    return false;
}

bool JsonParser::parseObject(TreeBuilder& tree) {
    const Span name = getName();
    // An empty name has no value: "":1 fails at its 1.
    if (name.text.empty()) return false;
    if (!name.escaped && name.text.size() >= 2) {
        const istr key = withoutQuotes(name.text);
        if (key.empty()) return false;
        tree.addKey(key);
    } else {
        String key = JsonString::unescape(name.text).value();
        if (key.empty()) return false;
        tree.addKey(std::move(key));
    }
    return getValue(tree);
}

bool JsonParser::parseArray(TreeBuilder& tree) {
    return getValue(tree);
}

bool JsonParser::passEnd(const TreeBuilder& tree) {
    const char next = skipBlank();
    const bool ended = next == (tree.inObject() ? '}' : ']');
    if (!ended && next != ',') {
        if (tree.inObject()) {
            fail("qor::json::JsonParser::parseObject", "pair value no end", rest_);
        }
        fail("qor::json::JsonParser::parseArray", "array value no end", rest_);
    }
    ++rest_;
    return ended;
}

Handle<JsonValue> JsonParser::parse() {
    const char bracket = skipBlank();
    if (bracket != '{' && bracket != '[') {
        fail("qor::json::JsonParser::parse", "not object or array", rest_);
    }
    TreeBuilder tree(rest_.size());
    tree.open(bracket == '{');
    ++rest_;
    for (;;) {
        // The end of the input, right behind a bracket or a comma, ends what is open.
        if (!rest_.eof()) {
            const bool begun = tree.inObject() ? parseObject(tree) : parseArray(tree);
            if (begun || !passEnd(tree)) continue;
        }
        do {
            if (tree.isRoot()) return tree.finish();
            tree.close();
        } while (passEnd(tree));
    }
}

}  // namespace qor::json
