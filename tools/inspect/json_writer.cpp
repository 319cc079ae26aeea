#include <cstdio>

#include "inspect/writer_base.h"
#include "qor/json/json_value.h"
#include "qor/util/base64.h"

namespace tools {

namespace {

class JsonWriter final : public TextWriter {
public:
    using TextWriter::TextWriter;

    void begin(const Label& label, Shape shape, bool) override {
        item(label);
        mark(shape == Shape::Map ? "{" : "[");
        open_.push_back({shape, true});
    }
    void leaf(const Label& label, const Scalar& value) override {
        // The outermost value of a JSON text must be an array or an object.
        const bool isAlone = open_.empty();
        if (isAlone) begin({}, Shape::List, false);
        item(label);
        scalar(value);
        closePair();
        if (isAlone) end();
    }
    void end() override {
        const Open closed = open_.back();
        open_.pop_back();
        if (compact_) {
            out_.raw(" ");
        } else {
            line(open_.size());
        }
        mark(closed.shape == Shape::Map ? "}" : "]");
        closePair();
    }
    void elided(const Label& label, Shape shape) override {
        item(label);
        mark(shape == Shape::Map ? "{ " : "[ ");
        out_.put(Role::Note, "...");
        mark(shape == Shape::Map ? " }" : " ]");
        closePair();
    }
    void finish() override { out_.raw("\n"); }

private:
    struct Open {
        Shape shape;
        bool empty;
    };

    void item(const Label& label) {
        if (open_.empty()) return;
        Open& level = open_.back();
        if (!level.empty) mark(",");
        level.empty = false;
        if (compact_) {
            out_.raw(" ");
        } else {
            line(open_.size());
        }
        if (level.shape == Shape::List) return;
        // If keys are repeated, each key has an object of its own.
        if (level.shape == Shape::Pairs) {
            if (label.key.is_null()) return;
            mark("{ ");
        }
        out_.put(Role::Key, quoted(istr(keyOf(label))));
        mark(compact_ || level.shape == Shape::Pairs ? ":" : " : ");
        if (level.shape == Shape::Pairs) pairs_.push_back(open_.size());
    }
    void closePair() {
        if (pairs_.empty() || pairs_.back() != open_.size()) return;
        pairs_.pop_back();
        mark(" }");
    }
    void scalar(const Scalar& value) {
        switch (value.kind) {
            case Kind::Null:
                out_.put(Role::Note, "null");
                break;
            case Kind::Bytes: {
                qor::String text;
                qor::Base64::encode(value.text, text, false);
                out_.put(Role::Number, '"' + text + '"');
                break;
            }
            case Kind::Boolean:
            case Kind::Number:
                put(Role::Number, value.text);
                break;
            case Kind::Text:
                out_.put(Role::Text, quoted(value.text));
                break;
        }
    }
    // The text as the library writes it, but with all control characters escaped.
    static std::string quoted(istr text) {
        const qor::String plain = qor::json::JsonString::escape(qor::String(text));
        std::string out;
        for (const char c : plain) {
            if (static_cast<unsigned char>(c) >= ' ') {
                out += c;
                continue;
            }
            char code[8];
            std::snprintf(code, sizeof code, "\\u%04x", static_cast<unsigned>(c));
            out += code;
        }
        return out;
    }

    std::vector<Open> open_;
    std::vector<std::size_t> pairs_;  // the depths at which the object of a pair is open
};

}  // namespace

bool isJsonNumber(istr text) {
    const char* at = text.begin();
    const char* const end = text.end();
    const auto digits = [&] {
        const char* const first = at;
        while (at != end && *at >= '0' && *at <= '9')
            ++at;
        return at != first;
    };
    if (at != end && *at == '-') ++at;
    const char* const whole = at;
    if (!digits() || (*whole == '0' && at - whole > 1)) return false;
    if (at != end && *at == '.' && (++at, !digits())) return false;
    if (at != end && (*at == 'e' || *at == 'E')) {
        ++at;
        if (at != end && (*at == '+' || *at == '-')) ++at;
        if (!digits()) return false;
    }
    return at == end;
}

std::unique_ptr<Sink> makeJsonWriter(Output& out, bool compact) {
    return std::make_unique<JsonWriter>(out, compact);
}

}  // namespace tools
