#include <algorithm>
#include <ostream>
#include <vector>

#include "json/escape.h"
#include "qor/base/interface.h"
#include "qor/json/json_unit.h"
#include "qor/util/simple_value.h"

namespace qor::json {

// Collects small pieces, and takes back what it appended unless it is finished.
class JsonFormatter::Output : noncopyable {
public:
    explicit Output(String& out) noexcept : out_(out), sizeBefore_(out.size()) {}
    ~Output() {
        if (!finished_) out_.resize(sizeBefore_);
    }
    void finish() {
        flush();
        finished_ = true;
    }

    void put(char c) {
        if (at_ == sizeof buffer_) [[unlikely]]
            flush();
        buffer_[at_++] = c;
    }
    void put(istr text) {
        if (text.size() > sizeof buffer_ - at_) [[unlikely]] {
            flush();
            if (text.size() > sizeof buffer_) {
                out_ += text;
                return;
            }
        }
        simple_value::copy(buffer_ + at_, text.data(), text.size());
        at_ += text.size();
    }
    void putBlanks(unsigned long long n) {
        static constexpr char kBlanks[] = "                                ";
        for (; n != 0;) {
            const auto part = std::min<unsigned long long>(n, sizeof kBlanks - 1);
            put(istr(kBlanks, part));
            n -= part;
        }
    }
    void putEscaped(istr text) {
        put('"');
        for (const char* at = text.begin();;) {
            const char* const next = findEscaped(at, text.end());
            put(istr(at, next));
            if (next == text.end()) break;
            put('\\');
            put(escapeLetter(*next));
            at = next + 1;
        }
        put('"');
    }

private:
    void flush() {
        out_.append(buffer_, at_);
        at_ = 0;
    }

    String& out_;
    std::size_t sizeBefore_;
    bool finished_ = false;
    std::size_t at_ = 0;
    char buffer_[4096];
};

// The arrays and objects that are being written, innermost last.
class JsonFormatter::Run : noncopyable {
public:
    Run(const JsonFormatter& how, Output& out) : how_(how), out_(out) {}

    void format() {
        write(how_.value_);
        while (!open_.empty()) {
            const JsonValue* value = nullptr;
            if (next(value)) {
                write(value);
            } else {
                close();
            }
        }
    }

private:
    using Pairs = JsonObject::value_type* const*;

    struct Open {
        const JsonUnit* unit;  // the next one of an array,
        Pairs pair;            // or of an object
        std::size_t left;
        bool object;
        bool empty;
    };

    long long level() const noexcept { return how_.level_ + static_cast<long long>(open_.size()); }

    // Writes a value as a whole, or the bracket of an array or an object.
    void write(const JsonValue* value) {
        using Kind = JsonValue::Kind;
        if (value == nullptr) return out_.put(istr("null", 4));
        switch (value->kind_) {
            case Kind::Boolean:
                return out_.put(static_cast<const JsonBoolean*>(value)->getValue()
                                    ? istr("true", 4)
                                    : istr("false", 5));
            case Kind::Number:
                return out_.put(static_cast<const JsonNumber*>(value)->text());
            case Kind::String:
                return out_.putEscaped(static_cast<const JsonString*>(value)->text());
            case Kind::Array: {
                const auto* const array = static_cast<const JsonArray*>(value);
                open_.push_back({array->begin(), nullptr, array->size(), false, true});
                return out_.put('[');
            }
            case Kind::Object: {
                const auto* const object = static_cast<const JsonObject*>(value);
                const Pairs pairs = object->inOrder();
                open_.push_back({nullptr, pairs, object->size_, true, true});
                return out_.put('{');
            }
            case Kind::Other:
                return out_.put(value->toString());
        }
    }

    // Moves to the next value of the innermost array or object, and writes what stands in front
    // of it. False at the end.
    bool next(const JsonValue*& value) {
        Open& open = open_.back();
        if (!open.object) {
            if (open.left == 0) return false;
            --open.left;
            value = (open.unit++)->value_.get();
            begin(open);
            return true;
        }
        while (open.left != 0) {
            --open.left;
            const JsonObject::value_type& pair = **open.pair++;
            value = pair.second.value_.get();
            if (value == nullptr && how_.skipNull_) continue;
            begin(open);
            out_.put('"');
            out_.put(istr(pair.first));
            if (how_.pretty_) {
                out_.put(istr("\" : ", 4));
            } else {
                out_.put(istr("\":", 2));
            }
            return true;
        }
        return false;
    }
    void begin(Open& open) {
        if (!open.empty) out_.put(',');
        open.empty = false;
        indent(out_, how_.pretty_, level());
    }
    void close() {
        const char bracket = open_.back().object ? '}' : ']';
        open_.pop_back();
        indent(out_, how_.pretty_, level());
        out_.put(bracket);
    }

    const JsonFormatter& how_;
    Output& out_;
    std::vector<Open> open_;
};

void JsonFormatter::indent(Output& out, bool pretty, long long level) {
    // The blank is meant: the compact form is not free of them.
    if (!pretty) return out.put(' ');
    out.put('\n');
    if (level > 0) out.putBlanks(4ULL * static_cast<unsigned long long>(level));
}

void JsonFormatter::format(String& out) const {
    Output output(out);
    Run(*this, output).format();
    output.finish();
}

String JsonFormatter::toString() const {
    String out;
    format(out);
    return out;
}

}  // namespace qor::json
