#include <algorithm>
#include <ostream>
#include <vector>

#include "json/escape.h"
#include "json/tree_maker.h"
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

// The arrays and objects that are being written, innermost last. Those that are not made yet are
// written from the text that they were read from.
class JsonFormatter::Run : noncopyable {
public:
    Run(const JsonFormatter& how, Output& out) : how_(how), out_(out) {}

    void format() {
        if (how_.value_ == nullptr) return out_.put(kNull);
        write(*how_.value_);
        while (!open_.empty()) {
            if (!next()) close();
        }
    }

private:
    using Pairs = JsonObject::value_type* const*;

    enum class Kind : unsigned char { Units, Pairs, Nodes, KeyedNodes };
    struct Open {
        Kind kind;
        bool empty = true;
        std::size_t left = 0;  // units, pairs or keys
        // The next one.
        const JsonUnit* unit = nullptr;
        Pairs pair = nullptr;
        FlatTree* tree = nullptr;
        ulong32 node = 0, end = 0;
        ulong32 key = 0;
        const Shape* shape = nullptr;
        std::size_t values = 0;  // in values_

        bool isObject() const noexcept { return kind == Kind::Pairs || kind == Kind::KeyedNodes; }
    };

    static constexpr istr kNull = istr("null", 4);

    long long level() const noexcept { return how_.level_ + static_cast<long long>(open_.size()); }

    void open(const Open& opened) {
        open_.push_back(opened);
        out_.put(opened.isObject() ? '{' : '[');
    }

    // Writes a value as a whole, or the bracket of an array or an object.
    void write(const JsonValue& value) {
        using Of = JsonValue::Kind;
        if (value.isUnmade_) return writeNode(*value.block()->tree, 0);
        switch (value.kind_) {
            case Of::Boolean: {
                const bool isTrue = static_cast<const JsonBoolean&>(value).getValue();
                return out_.put(isTrue ? istr("true", 4) : istr("false", 5));
            }
            case Of::Number:
                return out_.put(static_cast<const JsonNumber&>(value).text());
            case Of::String:
                return out_.putEscaped(static_cast<const JsonString&>(value).text());
            case Of::Array: {
                const auto& array = static_cast<const JsonArray&>(value);
                return open({.kind = Kind::Units, .left = array.size(), .unit = array.begin()});
            }
            case Of::Object: {
                const auto& object = static_cast<const JsonObject&>(value);
                const Pairs pairs = object.inOrder();
                return open({.kind = Kind::Pairs, .left = object.size_, .pair = pairs});
            }
            case Of::Other:
                return out_.put(value.toString());
        }
    }
    void write(const JsonUnit& unit) {
        if (unit.isNull()) return out_.put(kNull);
        if (!JsonUnit::isLazy(unit.word_)) return write(*JsonUnit::valueOf(unit.word_));
        const LazyUnit at = TreeMaker::lazyAt(unit);
        writeNode(at.tree(), at.node);
    }
    void writeNode(FlatTree& tree, ulong32 i) {
        const Node& node = tree.node(i);
        if (node.isContainer() && !node.isObject()) {
            return open({.kind = Kind::Nodes, .tree = &tree, .node = i + 1, .end = i + node.size});
        }
        if (node.isObject()) {
            const std::size_t values = values_.size();
            const Shape& shape = tree.shapeOf(i, values_);
            return open({.kind = Kind::KeyedNodes,
                         .left = shape.size(),
                         .tree = &tree,
                         .shape = &shape,
                         .values = values});
        }
        if (node.size == 0) return out_.put(kNull);
        const istr text = tree.text(node);
        if (text[0] != '"') return out_.put(text);
        const istr content = withoutQuotes(text);
        if (!isEscaped(content)) return out_.putEscaped(content);
        unescaped_.clear();
        appendUnescaped(unescaped_, content);
        out_.putEscaped(unescaped_);
    }

    // Moves to the next value of the innermost array or object and writes it with what comes before
    // it. False at the end.
    bool next() {
        Open& open = open_.back();
        switch (open.kind) {
            case Kind::Units:
                if (open.left == 0) return false;
                --open.left;
                begin(open);
                write(*open.unit++);
                return true;
            case Kind::Nodes: {
                if (open.node == open.end) return false;
                const ulong32 node = open.node;
                open.node += open.tree->node(node).span();
                begin(open);
                writeNode(*open.tree, node);
                return true;
            }
            case Kind::Pairs:
                return nextPair(open);
            case Kind::KeyedNodes:
                return nextKey(open);
        }
        return false;
    }
    bool nextPair(Open& open) {
        while (open.left != 0) {
            --open.left;
            const JsonObject::value_type& pair = **open.pair++;
            if (pair.second.isNull() && how_.skipNull_) continue;
            begin(open);
            putKey(pair.first);
            write(pair.second);
            return true;
        }
        return false;
    }
    bool nextKey(Open& open) {
        while (open.left != 0) {
            --open.left;
            const ulong32 key = open.key++;
            const ulong32 node = values_[open.values + open.shape->place(key)];
            if (open.tree->node(node).size == 0 && how_.skipNull_) continue;
            begin(open);
            putKey(open.shape->key(key));
            writeNode(*open.tree, node);
            return true;
        }
        return false;
    }

    void begin(Open& open) {
        if (!open.empty) out_.put(',');
        open.empty = false;
        indent(out_, how_.pretty_, level());
    }
    void putKey(const String& key) {
        out_.put('"');
        out_.put(istr(key));
        out_.put(how_.pretty_ ? istr("\" : ", 4) : istr("\":", 2));
    }
    void close() {
        const Open& closed = open_.back();
        const char bracket = closed.isObject() ? '}' : ']';
        if (closed.kind == Kind::KeyedNodes) values_.resize(closed.values);
        open_.pop_back();
        indent(out_, how_.pretty_, level());
        out_.put(bracket);
    }

    const JsonFormatter& how_;
    Output& out_;
    std::vector<Open> open_;
    InlineVector<ulong32, 256> values_;  // of the objects in open_
    String unescaped_;
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
