// The JSON parser takes any bytes, and makes of them what a plain reading of the format makes. What
// is written in either layout is read again, and gives the same but for some keys.

#include <map>
#include <optional>
#include <stdexcept>

#include "qor/json/json_unit.h"
#include "qor/json/qor_json_parser.h"

namespace {

using namespace qor;
using namespace qor::json;

void require(bool holds) {
    if (!holds) __builtin_trap();
}

// The format in the plainest form: by recursion, a byte at a time, straight to the compact text.
class Plain {
public:
    explicit Plain(const std::string& text) : text_(text) {}

    std::string parse() {
        skipBlank();
        if (peek() != '{' && peek() != '[') fail("not object or array");
        return peek() == '{' ? object() : array();
    }

private:
    [[noreturn]] void fail(const char* what) const {
        throw std::runtime_error(std::string(what) + " : " + text_.substr(at_));
    }
    bool atEnd() const { return at_ == text_.size(); }
    char peek() const { return atEnd() ? '\0' : text_[at_]; }
    void skipBlank() {
        while (!atEnd() && CharIsSpace(text_[at_]))
            ++at_;
    }
    std::string token() {
        skipBlank();
        std::string taken;
        while (!atEnd() && std::string_view("{}[]:,\"").find(text_[at_]) == std::string::npos)
            taken += text_[at_++];
        while (!taken.empty() && CharIsSpace(taken.back()))
            taken.pop_back();
        return taken;
    }
    std::string string() {
        std::string taken(1, text_[at_++]);
        while (!atEnd()) {
            const char c = text_[at_++];
            taken += c;
            if (c == '"') break;
            if (c == '\\' && !atEnd()) taken += text_[at_++];
        }
        return taken;
    }
    static std::optional<std::string> unescape(std::string text) {
        if (text == "null") return std::nullopt;
        if (text.size() < 2) return text;
        if (text.front() == '"' && text.back() == '"') text = text.substr(1, text.size() - 2);
        String out;
        for (std::size_t i = 0; i < text.size(); ++i) {
            if (text[i] != '\\') {
                out += text[i];
                continue;
            }
            if (++i == text.size()) break;
            static const std::map<char, char> kBytes = {{'\\', '\\'}, {'"', '"'},  {'/', '/'},
                                                        {'b', '\b'},  {'f', '\f'}, {'n', '\n'},
                                                        {'r', '\r'},  {'t', '\t'}};
            if (kBytes.contains(text[i])) {
                out += kBytes.at(text[i]);
            } else if (text[i] == 'u') {
                const std::string digits = text.substr(i + 1, 4);
                const wchar_t wide[] = {static_cast<wchar_t>(hexstr2int(digits) & 0xFFFF), 0};
                out += wide;
                i += digits.size();
            }
        }
        return out;
    }
    static std::string escape(const std::string& text) {
        std::string out = "\"";
        for (const char c : text) {
            static const std::map<char, const char*> kEscapes = {
                {'"', "\\\""}, {'\\', "\\\\"}, {'/', "\\/"},  {'\b', "\\b"},
                {'\f', "\\f"}, {'\n', "\\n"},  {'\r', "\\r"}, {'\t', "\\t"}};
            if (kEscapes.contains(c)) {
                out += kEscapes.at(c);
            } else {
                out += c;
            }
        }
        return out + "\"";
    }
    std::string name() {
        skipBlank();
        std::string taken;
        if (peek() == '"') {
            taken = string();
            skipBlank();
        } else {
            taken = token();
        }
        if (peek() == '}') return std::string();
        if (peek() != ':') fail("no name");
        ++at_;
        return taken;
    }
    std::string value() {
        skipBlank();
        if (peek() == '{') return object();
        if (peek() == '[') return array();
        if (peek() == '"') return escape(*unescape(string()));
        const std::string taken = token();
        if (peek() != ',' && peek() != '}' && peek() != ']') fail("no value end");
        return taken.empty() ? "null" : taken;
    }
    std::string object() {
        ++at_;
        std::map<std::string, std::string> pairs;
        while (!atEnd()) {
            const std::string key = unescape(name()).value_or(std::string());
            if (!key.empty()) {
                // In this order: the value is read first.
                std::string read = value();
                pairs[key] = std::move(read);
            }
            skipBlank();
            if (peek() != '}' && peek() != ',') fail("pair value no end");
            if (text_[at_++] == '}') break;
        }
        std::string out = "{";
        for (const auto& [key, read] : pairs)
            out += (out.size() > 1 ? ", \"" : " \"") + key + "\":" + read;
        return out + " }";
    }
    std::string array() {
        ++at_;
        std::string out = "[";
        while (!atEnd()) {
            const std::string read = value();
            if (read != "null") out += (out.size() > 1 ? ", " : " ") + read;
            skipBlank();
            if (peek() != ']' && peek() != ',') fail("array value no end");
            if (text_[at_++] == ']') break;
        }
        return out + " ]";
    }

    const std::string& text_;
    std::size_t at_ = 0;
};

template <class Call>
std::string outcomeOf(Call call) {
    try {
        return call();
    } catch (const DecodeException& e) {
        return std::string(e.msg()).substr(std::string_view("qor::json::DecodeException: ").size());
    } catch (const std::runtime_error& e) {
        return e.what();
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string text(data, data + size);
    Handle<JsonValue> tree;
    const std::string written = outcomeOf([&] {
        tree = JsonParser::from(istr(data, size));
        return std::string(tree->encode(false, false, 0));
    });
    // The plain form recurses.
    if (size < 10000) {
        const std::string expected = outcomeOf([&] { return Plain(text).parse(); });
        // A message ends at its first zero.
        require(tree ? written == expected : written == expected.c_str());
    }

    const Optional<String> value = JsonString::unescape(text);
    require(!value.isSet() || JsonString::unescape(JsonString::escape(value)) == value);
    if (!tree) return 0;
    // Keys are written as they stand: one with a quote or a backslash in it, which takes a
    // backslash to be read, does not come back.
    const bool comesBack = text.find('\\') == std::string::npos;
    for (const bool pretty : {false, true}) {
        if (pretty && size >= 10000) continue;
        const String shown = tree->encode(pretty, false, 0);
        const std::string again = outcomeOf(
            [&] { return std::string(JsonParser::from(shown)->encode(pretty, false, 0)); });
        require(!comesBack || again == shown);
    }
    // A value that outlives its tree.
    if (const JsonUnit unit(tree); const JsonArray* const array = unit.arrayValue()) {
        const JsonUnit kept = array->size() != 0 ? array->at(0) : JsonUnit();
        tree.reset();
        require(!kept.encode().empty());
    }
    return 0;
}
