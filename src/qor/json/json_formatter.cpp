#include "qor/json/json_formatter.h"

#include <algorithm>
#include <cstring>
#include <ostream>

#include "json/escape.h"
#include "json/tree_maker.h"
#include "qor/base/interface.h"
#include "qor/json/json_unit.h"
#include "qor/util/wire_value.h"

namespace qor::json {

// Collects small pieces. Unless finish() is called, the destructor removes the output.
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
    void reserve(std::size_t size) { out_.reserve(sizeBefore_ + size); }

    // Room for n bytes, at most kMostRoom. Call end() with the end of the written bytes.
    char* room(std::size_t n) {
        if (sizeof buffer_ - at_ < n) [[unlikely]]
            flush();
        return buffer_ + at_;
    }
    void end(const char* at) noexcept { at_ = static_cast<std::size_t>(at - buffer_); }
    static constexpr std::size_t kMostRoom = 4096;

    void put(char c) {
        char* const at = room(1);
        *at = c;
        end(at + 1);
    }
    void put(istr text) {
        if (text.size() > kMostRoom) return putLong(text);
        end(wire::copy(room(text.size()), text.data(), text.size()));
    }
    void putBlanks(unsigned long long n) {
        static constexpr char kBlanks[] = "                                ";
        for (; n != 0;) {
            const auto part = std::min<unsigned long long>(n, sizeof kBlanks - 1);
            put(istr(kBlanks, part));
            n -= part;
        }
    }
    // Writes the text escaped and in quotes.
    void putEscaped(istr text) {
        put('"');
        const char* at = text.begin();
        while (at != text.end()) {
            const auto part = std::min<std::ptrdiff_t>(kMostRoom / 2, text.end() - at);
            char* const to = room(2 * static_cast<std::size_t>(part));
            end(appendEscaped(at, at + part, to));
            at += part;
        }
        put('"');
    }

private:
    void flush() {
        out_.append(buffer_, at_);
        at_ = 0;
    }
    void putLong(istr text) {
        flush();
        out_ += text;
    }

    String& out_;
    std::size_t sizeBefore_;
    bool finished_ = false;
    std::size_t at_ = 0;
    char buffer_[kMostRoom];
};

// The arrays and objects that are being written, innermost last. Values that are not created yet
// are written from the parsed text.
class JsonFormatter::Run : noncopyable {
public:
    Run(const JsonFormatter& how, Output& out) : how_(how), out_(out) {}

    void format(const JsonValue* value) {
        if (value == nullptr) return out_.put(kNull);
        write(*value);
        writeOpen();
    }
    void format(FlatTree& tree, ulong32 node) {
        writeNode(tree, node);
        writeOpen();
    }

private:
    // The units of an array, the pairs of an object, or the nodes of either.
    enum class Kind : unsigned char { Units, Pairs, Nodes, KeyedNodes };
    struct Open {
        Kind kind;
        bool empty;
        ulong32 left;  // units, pairs, nodes or keys
        union {
            const JsonUnit* unit;  // the next unit
            const JsonObject* object;
            FlatTree* tree;
        };
        ulong32 node;        // the next node; for an object, the index in nodes_ of its first value
        ulong32 key;         // the next key
        const Shape* shape;  // of an object

        bool isObject() const noexcept { return kind == Kind::Pairs || kind == Kind::KeyedNodes; }
    };

    static constexpr istr kNull = istr("null", 4);

    void writeOpen() {
        while (!open_.empty()) {
            if (!next()) close();
        }
    }
    long long level() const noexcept { return how_.level_ + static_cast<long long>(open_.size()); }

    Open& open(Kind kind, std::size_t left) {
        Open& opened = open_.push_back();
        opened.kind = kind;
        opened.empty = true;
        opened.left = static_cast<ulong32>(left);
        out_.put(opened.isObject() ? '{' : '[');
        return opened;
    }
    void open(FlatTree& tree, ulong32 i) {
        const Node& node = tree.node(i);
        if (!node.isObject()) {
            Open& opened = open(Kind::Nodes, node.size - 1);
            opened.tree = &tree;
            opened.node = i + 1;
            return;
        }
        const auto values = static_cast<ulong32>(nodes_.size());
        const Shape& shape = tree.shapeOf(i, nodes_);
        Open& opened = open(Kind::KeyedNodes, shape.size());
        opened.tree = &tree;
        opened.node = values;
        opened.key = 0;
        opened.shape = &shape;
    }

    // Writes a scalar, or opens an array or an object.
    void write(const JsonValue& value) {
        using Of = JsonKind;
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
                open(Kind::Units, array.size()).unit = array.begin();
                return;
            }
            case Of::Object: {
                const auto& object = static_cast<const JsonObject&>(value);
                Open& opened = open(Kind::Pairs, object.inOrder().size_);
                opened.object = &object;
                opened.key = 0;
                return;
            }
            case Of::Null:
                return out_.put(value.toString());
        }
    }
    void write(const JsonUnit& unit) {
        if (unit.isNull()) return out_.put(kNull);
        if (JsonUnit::isPointer(unit.word_)) return write(*JsonUnit::valueOf(unit.word_));
        if (JsonUnit::isShort(unit.word_)) return out_.put(unit.shortText());
        const LazyUnit at = TreeMaker::lazyAt(unit);
        writeNode(at.tree(), at.node);
    }
    void writeNode(FlatTree& tree, ulong32 i) {
        const Node& node = tree.node(i);
        if (!node.isContainer()) return writeShallow(out_.room(kMostShort), tree, node);
        if (node.isDeep()) return open(tree, i);
        if (node.isObject()) return writeShallowObject(tree, i);
        writeShallowArray(tree, i);
    }
    // For long texts, and for texts with an escape that is written in another way than it was read.
    void writeScalar(const FlatTree& tree, istr text) {
        if (*text != '"') return out_.put(text);
        const istr content = withoutQuotes(text);
        if (tree.isUnescaped() || !isEscaped(content)) return out_.putEscaped(content);
        unescaped_.clear();
        appendUnescaped(unescaped_, content);
        out_.putEscaped(unescaped_);
    }
    // Stores a short scalar and returns its end. Null if its escapes need writeScalar.
    static char* storeShort(char* to, const FlatTree& tree, istr text) noexcept {
        if (text.empty()) return wire::copy(to, kNull.data(), kNull.size());
        if (*text != '"') return FlatTree::copyText(to, text);
        const istr content = withoutQuotes(text);
        *to = '"';
        char* const end = tree.isUnescaped() ? appendEscaped(content.begin(), content.end(), to + 1)
                                             : copyEscaped(content.begin(), content.end(), to + 1);
        if (end != nullptr) *end = '"';
        return end != nullptr ? end + 1 : nullptr;
    }
    void writeShallowArray(FlatTree& tree, ulong32 i) {
        bool empty = true;
        out_.put('[');
        for (ulong32 child = i + 1, end = i + tree.node(i).size; child != end; ++child) {
            writeShallow(beginShort(empty, level() + 1), tree, tree.node(child));
        }
        putEnd(']', level());
    }
    void writeShallowObject(FlatTree& tree, ulong32 i) {
        const Shape& shape = tree.shapeOfShallow(i);
        bool empty = true;
        out_.put('{');
        for (ulong32 key = 0; key < shape.size(); ++key) {
            // Keys and values alternate.
            const ulong32 value = i + 2 + 2 * shape.place(key);
            if (tree.node(value).size == 0 && how_.skipNull_) continue;
            char* const at = beginShort(empty, level() + 1);
            const istr keyText = tree.textOf(tree.node(value - 1));
            writeShallow(storeKey(at, keyText), tree, tree.node(value));
        }
        putEnd('}', level());
    }
    // Writes a scalar or an empty container to memory with room for kMostShort bytes.
    void writeShallow(char* at, const FlatTree& tree, const Node& node) {
        if (node.size <= kShort && !node.isContainer()) {
            if (char* const end = storeShort(at, tree, tree.textOf(node))) return out_.end(end);
        }
        out_.end(at);
        if (!node.isContainer()) return writeScalar(tree, tree.textOf(node));
        out_.put(node.isObject() ? '{' : '[');
        putEnd(node.isObject() ? '}' : ']', level() + 1);
    }

    // Writes the next value of the innermost array or object, with its comma, layout and key.
    // Returns false at the end.
    bool next() {
        Open& open = open_.back();
        switch (open.kind) {
            case Kind::Units:
                if (open.left == 0) return false;
                --open.left;
                begin(open.empty, level());
                write(*open.unit++);
                return true;
            case Kind::Nodes: {
                if (open.left == 0) return false;
                const ulong32 node = open.node;
                const ulong32 span = open.tree->node(node).span();
                open.node += span;
                open.left -= span;
                begin(open.empty, level());
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
            const JsonObject::value_type& pair = *open.object->pairAt(open.key++);
            if (pair.second.isNull() && how_.skipNull_) continue;
            begin(open.empty, level());
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
            const ulong32 node = nodes_[open.node + open.shape->place(key)];
            if (open.tree->node(node).size == 0 && how_.skipNull_) continue;
            char* const at = beginShort(open.empty, level());
            out_.end(storeKey(at, open.tree->textOf(open.tree->node(node - 1))));
            writeNode(*open.tree, node);
            return true;
        }
        return false;
    }

    // Writes the comma and the layout before a value or its key.
    void begin(bool& empty, long long level) { out_.end(beginShort(empty, level)); }
    // The same, but returns the position after it, which has room for kMostShort bytes for a key
    // and as many for its value.
    char* beginShort(bool& empty, long long level) {
        if (how_.pretty_) {
            if (!empty) out_.put(',');
            empty = false;
            indent(out_, true, level);
            return out_.room(2 * kMostShort);
        }
        char* const at = out_.room(2 + 2 * kMostShort);
        std::memcpy(at, ", ", 2);
        if (!std::exchange(empty, false)) return at + 2;
        *at = ' ';
        return at + 1;
    }
    // Writes a key at the position that beginShort returned. Returns the position after it, which
    // has room for kMostShort bytes.
    char* storeKey(char* at, istr key) {
        if (key.size() > kShort) {
            out_.end(at);
            putKey(key);
            return out_.room(kMostShort);
        }
        *at = '"';
        at = FlatTree::copyText(at + 1, key);
        if (!how_.pretty_) return static_cast<char*>(std::memcpy(at, "\":", 2)) + 2;
        return static_cast<char*>(std::memcpy(at, "\" : ", 4)) + 4;
    }
    void putKey(istr key) {
        out_.put('"');
        out_.put(key);
        out_.put(how_.pretty_ ? istr("\" : ", 4) : istr("\":", 2));
    }

    // A text of this size needs at most kMostShort bytes, with all escapes.
    static constexpr ulong32 kShort = 512;
    static constexpr std::size_t kMostShort = 2 * kShort + FlatTree::kPadding;

    void close() {
        const Open& closed = open_.back();
        const char bracket = closed.isObject() ? '}' : ']';
        if (closed.kind == Kind::KeyedNodes) nodes_.resize(closed.node);
        open_.pop_back();
        putEnd(bracket, level());
    }
    void putEnd(char bracket, long long level) {
        indent(out_, how_.pretty_, level);
        out_.put(bracket);
    }

    const JsonFormatter& how_;
    Output& out_;
    InlineVector<Open, 32> open_;
    InlineVector<ulong32, 256> nodes_;  // the nodes of the values of objects in open_
    String unescaped_;
};

void JsonFormatter::indent(Output& out, bool pretty, long long level) {
    // Deliberate (compatibility): the form of one line has blanks, too.
    if (!pretty) return out.put(' ');
    out.put('\n');
    if (level > 0) out.putBlanks(4ULL * static_cast<unsigned long long>(level));
}

template <class Write>
void JsonFormatter::format(String& out, std::size_t expectedSize, Write write) const {
    Output output(out);
    output.reserve(expectedSize);
    Run run(*this, output);
    write(run);
    output.finish();
}

void JsonFormatter::format(String& out) const {
    // The text of a parsed tree is about as long as its source.
    const bool isRoot =
        value_ != nullptr && value_->block() != nullptr && value_->block()->isTree();
    const std::size_t size = isRoot ? value_->block()->tree->textSize : 0;
    format(out, size, [&](Run& run) { run.format(value_); });
}

String JsonFormatter::toString() const {
    String out;
    format(out);
    return out;
}

String JsonFormatter::toString(FlatTree& tree, ulong32 node) const {
    String out;
    format(out, node == 0 ? tree.textSize : 0, [&](Run& run) { run.format(tree, node); });
    return out;
}

}  // namespace qor::json
