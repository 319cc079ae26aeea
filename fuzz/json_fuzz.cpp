// The JSON parser: for any bytes, it agrees with a simple parser. Text that is written in either
// layout reads back unchanged, except for some keys. Values are removed from the tree, changed,
// moved and kept, in an order that the input decides; then the tree agrees with a simple tree after
// the same steps. Views of a document show the simple tree.

#include <algorithm>
#include <iterator>
#include <map>
#include <memory>
#include <optional>
#include <stdexcept>
#include <vector>

#include "qor/json/json_unit.h"
#include "qor/json/json_view.h"
#include "qor/json/qor_json_parser.h"
#include "repeated.h"
#include "require.h"

namespace {

using namespace qor;
using namespace qor::json;

// The simple tree. A null is a slot without a value.
struct Value;
using Slot = std::shared_ptr<Value>;
struct Value {
    enum Kind { Boolean, Number, String, Array, Object };
    Kind kind;
    std::string text;  // unescaped
    std::vector<Slot> elements;
    std::map<std::string, Slot> pairs;
    int changes = 0;  // counts changes of the text and of its address
};

Slot makeValue(Value::Kind kind, const std::string& text = std::string()) {
    return std::make_shared<Value>(Value{kind, text, {}, {}});
}

std::string escape(const std::string& text) {
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

// The tree as text in compact form.
std::string written(const Slot& value) {
    if (value == nullptr) return "null";
    if (value->kind == Value::String) return escape(value->text);
    if (value->kind != Value::Array && value->kind != Value::Object) return value->text;
    std::string out;
    for (const Slot& element : value->elements)
        out += (out.empty() ? " " : ", ") + written(element);
    for (const auto& [key, child] : value->pairs)
        out += (out.empty() ? " \"" : ", \"") + key + "\":" + written(child);
    return value->kind == Value::Array ? "[" + out + " ]" : "{" + out + " }";
}

// The simple parser: it recurses, and reads byte by byte.
class Plain {
public:
    explicit Plain(const std::string& text) : text_(text) {}

    Slot parse() {
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
    Slot value() {
        skipBlank();
        if (peek() == '{') return object();
        if (peek() == '[') return array();
        if (peek() == '"') return makeValue(Value::String, *unescape(string()));
        const std::string taken = token();
        if (peek() != ',' && peek() != '}' && peek() != ']') fail("no value end");
        if (taken.empty() || taken == "null") return nullptr;
        return makeValue(taken == "true" || taken == "false" ? Value::Boolean : Value::Number,
                         taken);
    }
    Slot object() {
        ++at_;
        const Slot made = makeValue(Value::Object);
        while (!atEnd()) {
            const std::string key = unescape(name()).value_or(std::string());
            if (!key.empty()) {
                // The value must be read before the key is inserted.
                Slot read = value();
                made->pairs[key] = std::move(read);
            }
            skipBlank();
            if (peek() != '}' && peek() != ',') fail("pair value no end");
            if (text_[at_++] == '}') break;
        }
        return made;
    }
    Slot array() {
        ++at_;
        const Slot made = makeValue(Value::Array);
        while (!atEnd()) {
            if (Slot read = value()) made->elements.push_back(std::move(read));
            skipBlank();
            if (peek() != ']' && peek() != ',') fail("array value no end");
            if (text_[at_++] == ']') break;
        }
        return made;
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

void requireSeen(JsonView view, const Slot& plain);

void requireMembersSeen(JsonView view, const std::map<std::string, Slot>& pairs) {
    const JsonMembers members = view.members();
    require(members.size() == pairs.size());
    auto pair = pairs.begin();
    for (const auto& [key, member] : members) {
        require(std::string(key) == pair->first);
        requireSeen(member, pair->second);
        // The view searches in linear time.
        const bool isSearched = pairs.size() < 1000;
        require(!isSearched || view[key].kind() == member.kind());
        require(members.child(key).kind() == member.kind());
        ++pair;
    }
    require(view[""].isNull() && members.child("").isNull());
}

void requireSeen(JsonView view, const Slot& plain) {
    if (plain == nullptr) return require(view.isNull());
    if (plain->kind == Value::Object) {
        require(view.isObject());
        return requireMembersSeen(view, plain->pairs);
    }
    if (plain->kind == Value::Array) {
        require(view.isArray() && view.size() == plain->elements.size());
        auto element = plain->elements.begin();
        for (const JsonView seen : view.elements())
            requireSeen(seen, *element++);
        return require(view.at(plain->elements.size()).isNull());
    }
    if (plain->kind == Value::Boolean) {
        bool flag = plain->text != "true";
        view >> flag;
        return require(view.isBoolean() && flag == (plain->text == "true"));
    }
    require(plain->kind == Value::String ? view.isString() : view.isNumber());
    require(std::string(view.text()) == plain->text);
}

// Applies the same steps to a parsed tree and to a simple one. The bytes of the input select the
// steps; the last byte is used first, since these bytes may follow the text.
class Changes {
public:
    Changes(const std::string& choices, Handle<JsonValue> tree, Slot plain)
        : choices_(choices), root_(std::move(tree)), plainRoot_(std::move(plain)) {}

    void run() {
        for (int i = 0; i < 48; ++i)
            step();
        requireSame(root_, plainRoot_);
        toRoot(JsonUnit(), nullptr);
        for (const Kept& kept : kept_)
            requireSame(JsonUnit(kept.value), kept.plain);
        for (const View& view : views_)
            require(view.changes != view.plain->changes ||
                    std::string(view.text) == view.plain->text);
    }

private:
    struct Kept {
        Handle<JsonValue> value;
        Slot plain;
    };
    // A view of a text. It is valid until the text changes, also if only the handle of the value is
    // left.
    struct View {
        istr text;
        Handle<JsonValue> value;
        Slot plain;
        int changes;
    };

    static void requireSame(const JsonUnit& unit, const Slot& plain) {
        require(std::string(unit.encode(false, false, 0)) == written(plain));
    }
    unsigned choose(std::size_t n) {
        const std::size_t i = next_++ % choices_.size();
        const auto byte = static_cast<unsigned char>(choices_[choices_.size() - 1 - i]);
        // The bytes are used again, with other choices.
        const std::size_t choice = byte + next_ / choices_.size() * 5;
        // A byte is too small a number for a large container.
        return static_cast<unsigned>(n <= 256 ? choice % n : (choice * 256 + choose(256)) * 7 % n);
    }
    bool is(Value::Kind kind) const { return *plain_ != nullptr && (*plain_)->kind == kind; }
    void toRoot(const JsonUnit& unit, const Slot& plain) {
        root_ = unit;
        plainRoot_ = plain;
        unit_ = &root_;
        plain_ = &plainRoot_;
    }

    void step() {
        switch (choose(12)) {
            case 0:
                unit_ = &root_;
                plain_ = &plainRoot_;
                return;
            case 1:
                return requireSame(root_, plainRoot_);
            case 2:
                return requireSame(*unit_, *plain_);
            case 3:
                return keep();
            case 4:
                return look();
            case 5:
                return change();
            case 6:
                return append();
            case 7:
                return swap();
            case 8:
                // Continues with only a part of the tree.
                if (choose(4) == 0) toRoot(JsonUnit(*unit_), Slot(*plain_));
                return;
            default:
                return enter();
        }
    }
    void enter() {
        if (is(Value::Array) && !(*plain_)->elements.empty()) {
            const unsigned i = choose((*plain_)->elements.size());
            unit_ = &unit_->arrayValue().at(i);
            plain_ = &(*plain_)->elements[i];
        } else if (is(Value::Object) && !(*plain_)->pairs.empty()) {
            auto& pairs = (*plain_)->pairs;
            const auto i = static_cast<std::ptrdiff_t>(choose(pairs.size()));
            const auto pair = std::next(pairs.begin(), i);
            JsonObject& object = unit_->objectValue();
            if (choose(2) == 0) {
                unit_ = &std::next(object.begin(), i)->second;
            } else {
                unit_ = &object.get(pair->first);
            }
            plain_ = &pair->second;
        }
    }
    void keep() { kept_.push_back({unit_->value(), *plain_}); }
    void look() {
        const JsonUnit& unit = *unit_;
        istr text;
        bool flag = false;
        unit >> text >> flag;
        require(text.is_null() != is(Value::String));
        require(flag == (is(Value::Boolean) && (*plain_)->text == "true"));
        if (text.is_null()) return;
        require(std::string(text) == (*plain_)->text);
        views_.push_back({text, unit.value(), *plain_, (*plain_)->changes});
        if (choose(4) != 0) return;
        require(std::string(unit.stringValue()->getValue()) == (*plain_)->text);
        ++(*plain_)->changes;
    }
    // The value of a slot. If it is of another kind, it is replaced by a new value.
    Value& plainValue(Value::Kind kind, const std::string& text = std::string()) {
        if (!is(kind)) *plain_ = makeValue(kind, text);
        return **plain_;
    }
    void change() {
        const std::string text = std::string(choose(6), static_cast<char>(choose(256)));
        switch (choose(6)) {
            case 0:
                *unit_ << istr(text);
                setPlain(Value::String, text);
                return;
            case 1:
                if (text.empty()) {
                    // 1 to 9 digits, since short numbers are stored in the unit itself.
                    const long number = 314159265L >> choose(28);
                    *unit_ << number;
                    setPlain(Value::Number, std::to_string(number));
                } else {
                    unit_->numberValue().setValue(text);
                    setPlain(Value::Number, text);
                }
                return;
            case 2:
                *unit_ << !text.empty();
                setPlain(Value::Boolean, text.empty() ? "false" : "true");
                return;
            case 3:
                unit_->setNull();
                plain_->reset();
                return;
            case 4:
                unit_->arrayValue();
                plainValue(Value::Array);
                return;
            default:
                unit_->objectValue();
                plainValue(Value::Object);
        }
    }
    void setPlain(Value::Kind kind, const std::string& text) {
        Value& value = plainValue(kind);
        value.text = text;
        ++value.changes;
    }
    void append() {
        if (is(Value::Object)) {
            const std::string key(1 + choose(10), static_cast<char>('a' + choose(26)));
            (*unit_)[key];
            (*plain_)->pairs[key];
        } else if (is(Value::Array)) {
            // The text may grow very large if a value is in the tree more than once.
            if (++added_ > 6 || (*plain_)->elements.empty()) {
                unit_->newChild();
                (*plain_)->elements.emplace_back();
            } else {
                const unsigned i = choose((*plain_)->elements.size());
                unit_->arrayValue().add(unit_->arrayValue().at(i));
                (*plain_)->elements.push_back(Slot((*plain_)->elements[i]));
            }
        }
    }
    void swap() {
        if (!is(Value::Array) || (*plain_)->elements.empty()) return;
        const unsigned i = choose((*plain_)->elements.size());
        const unsigned j = choose((*plain_)->elements.size());
        std::swap(unit_->arrayValue().at(i), unit_->arrayValue().at(j));
        std::swap((*plain_)->elements[i], (*plain_)->elements[j]);
    }

    const std::string& choices_;
    std::size_t next_ = 0;
    JsonUnit root_;
    Slot plainRoot_;
    JsonUnit* unit_ = &root_;
    Slot* plain_ = &plainRoot_;
    std::vector<Kept> kept_;
    std::vector<View> views_;
    int added_ = 0;
};

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string text = fuzz::repeated(data, size);
    Handle<JsonValue> tree;
    const std::string outcome = outcomeOf([&] {
        tree = JsonParser::from(text);
        return std::string(tree->encode(false, false, 0));
    });
    JsonDocument document;
    const std::string seen = outcomeOf([&] {
        document = JsonDocument::from(text);
        return std::string(document.root().encode(false, false, 0));
    });
    require(seen == outcome);
    // The simple parser recurses, so that the depth is limited.
    const auto opens = [](char c) { return c == '[' || c == '{'; };
    if (std::count_if(text.begin(), text.end(), opens) < 5000) {
        Slot plain;
        const std::string expected = outcomeOf([&] {
            plain = Plain(text).parse();
            return written(plain);
        });
        // The message of an exception ends at its first zero byte.
        require(tree ? outcome == expected : outcome == expected.c_str());
        if (tree) requireSeen(document.root(), plain);
        if (tree) Changes(text, JsonParser::from(text), std::move(plain)).run();
    }

    const Optional<String> value = JsonString::unescape(text);
    require(!value.isSet() || JsonString::unescape(JsonString::escape(value)) == value);
    if (!tree) return 0;
    // Keys are written unchanged: a key with a quote or a backslash, which was escaped in the
    // input, does not read back.
    const bool comesBack = text.find('\\') == std::string::npos;
    for (const bool pretty : {false, true}) {
        if (pretty && text.size() >= 10000) continue;
        const String shown = tree->encode(pretty, false, 0);
        const std::string again = outcomeOf(
            [&] { return std::string(JsonParser::from(shown)->encode(pretty, false, 0)); });
        require(!comesBack || again == shown);
    }
    return 0;
}
