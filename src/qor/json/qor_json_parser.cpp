#include "qor/json/qor_json_parser.h"

#include <array>
#include <new>
#include <string>
#include <vector>

#include "json/escape.h"
#include "json/node_buffer.h"
#include "json/structure_index.h"
#include "mt/shared_count.h"
#include "qor/json/json_view.h"

namespace qor::json {

namespace {

constexpr const char* kParse = "qor::json::JsonParser::parse";
constexpr const char* kParseObject = "qor::json::JsonParser::parseObject";
constexpr const char* kParseArray = "qor::json::JsonParser::parseArray";
constexpr const char* kGetName = "qor::json::JsonParser::getName";
constexpr const char* kGetValue = "qor::json::JsonParser::getValue";

// The meaning of the byte at a position.
enum class Sign : unsigned char {
    Token,
    End,
    Quote,
    Colon,
    Comma,
    OpenArray,
    CloseArray,
    OpenObject,
    CloseObject
};

constexpr auto kSigns = [] {
    std::array<Sign, 256> signs{};
    signs['"'] = Sign::Quote;
    signs[':'] = Sign::Colon;
    signs[','] = Sign::Comma;
    signs['['] = Sign::OpenArray;
    signs[']'] = Sign::CloseArray;
    signs['{'] = Sign::OpenObject;
    signs['}'] = Sign::CloseObject;
    return signs;
}();

// The form in which a tree has strings with escapes: as read, or unescaped.
enum class Strings { AsRead, Unescaped };

// Creates the nodes of a tree from the structure of its text.
class Reader : noncopyable {
public:
    Reader(istr text, Strings strings)
        : strings_(strings),
          text_(text.data()),
          size_(static_cast<ulong32>(text.size())),
          nodes_(size_),
          draft_(draftFor(text, strings)),
          index_(structureForms().front(), text_, size_, draft_.text()) {}

    FlatTree* read() {
        const Sign bracket = signAt(position());
        if (bracket != Sign::OpenArray && bracket != Sign::OpenObject)
            fail(kParse, "not object or array", position());
        open(bracket, index_.current());
        for (;;) {
            Positions at = index_.current();
            // Deliberate (compatibility): the end of the input directly after a bracket or a comma
            // closes the open container.
            if (lastEnd_ + 1 != size_) {
                if (readItem(at) || !passEnd(at)) continue;
                at = index_.current();
            }
            for (;;) {
                if (open_ == 0) return finish();
                close();
                if (!passEnd(at)) break;
                at = index_.current();
            }
        }
    }

private:
    using Positions = const ulong32*;

    // A text of this size or more is copied while it is read, since it may not stay in the caches.
    static constexpr ulong32 kLarge = 32 * 1024;
    // The draft reserves 1 / kMorePart of the text's size for unescaped strings after the text.
    static constexpr ulong32 kMorePart = 16;

    static FlatTree::Draft draftFor(istr text, Strings strings) {
        if (text.size() < kLarge) return {};
        return {text.size(), strings == Strings::Unescaped ? text.size() / kMorePart : 0};
    }

    ulong32 position() const noexcept { return *index_.current(); }
    Sign signAt(ulong32 position) const noexcept {
        if (position == size_) [[unlikely]]
            return Sign::End;
        return kSigns[static_cast<unsigned char>(text_[position])];
    }

    // Kept out of the fast path. The message ends with the rest of the input.
    [[noreturn, gnu::cold, gnu::noinline]] void fail(const char* func, const char* what,
                                                     ulong32 position) const {
        std::string message(what);
        message.append(" : ").append(text_ + position, text_ + size_);
        QOR_THROW(qor::json::DecodeException, func, message);
    }

    void add(const Node& node, ulong32 position) { nodes_.add(node, position); }

    void open(Sign bracket, Positions at) {
        inObject_ = bracket == Sign::OpenObject;
        // While a container is open, the size of its node is the index of the enclosing one.
        const ulong32 around = open_;
        open_ = nodes_.size();
        add({inObject_ ? Node::kObject : Node::kArray, around}, *at);
        flat_ = true;
        lastEnd_ = *at;
        index_.moveTo(at + 1);
    }
    void finishOpen() noexcept {
        Node& closed = nodes_[open_];
        closed.size = nodes_.size() - open_;
        if (flat_) closed.begin += Node::kFlat;
        flat_ = false;
    }
    void close() noexcept {
        const ulong32 around = nodes_[open_].size;
        finishOpen();
        if (nodes_[open_].size > 1) nodes_[around].begin |= Node::kDeep;
        open_ = around;
        inObject_ = nodes_[open_].isObject();
    }

    // Reads the next value of an array, or the next key and value of an object, if there is one.
    // Returns true if the value is a container, of which only the opening bracket is read. Uses at
    // most kAhead positions, except for a token with blanks inside.
    bool readItem(Positions& at) { return inObject_ && !readKey(at) ? false : readValue(at); }

    // Returns false if there is no name, or if it is empty: "":1 then fails at the 1.
    bool readKey(Positions& at) {
        Node key;
        const bool quoted = signAt(*at) == Sign::Quote;
        if (quoted) {
            if (at[1] == size_) fail(kGetName, "no name", size_);
            key = {at[0] + 1, at[1] - at[0] - 1};
            at += 2;
        } else {
            key = readToken(at);
        }
        const Sign next = signAt(*at);
        if (next == Sign::Colon) {
            ++at;
            return addKey(key, quoted);
        }
        // A name without a value is dropped. So the end of an object, also after a comma, is read
        // as an empty name.
        if (next != Sign::CloseObject) fail(kGetName, "no name", *at);
        return false;
    }

    bool readValue(Positions& at) {
        const ulong32 begin = *at;
        const Sign sign = signAt(begin);
        if (sign == Sign::Quote) {
            if (at[1] == size_) failAtEnd(size_);
            addString({begin, at[1] - begin + 1});
            at += 2;
            return false;
        }
        if (sign == Sign::OpenArray || sign == Sign::OpenObject) {
            open(sign, at);
            return true;
        }
        const Node token = readToken(at);
        const Sign next = signAt(*at);
        if (next != Sign::Comma && next != Sign::CloseArray && next != Sign::CloseObject)
            fail(kGetValue, "no value end", *at);
        if (token.size != 0 && !isNull(token)) {
            add(token, begin);
        } else if (inObject_) {
            add({0, 0}, begin);
        }
        return false;
    }

    // Reads a token, which may be empty. Blanks inside it are a part of it, blanks at its end are
    // not.
    Node readToken(Positions& at) noexcept {
        const ulong32 begin = *at;
        if (signAt(begin) != Sign::Token) return {begin, 0};
        ++at;
        while (signAt(*at) == Sign::Token) {
            index_.moveTo(at + 1);
            at = index_.current();
        }
        ulong32 end = *at;
        while (isBlank(text_[end - 1]))
            --end;
        return {begin, end - begin};
    }
    bool isNull(const Node& token) const noexcept {
        return token.size == 4 && std::memcmp(text_ + token.begin, "null", 4) == 0;
    }

    // Returns false for an empty name.
    bool addKey(const Node& key, bool quoted) {
        if (key.size == 0 || (!quoted && isNull(key))) return false;
        if (index_.anyBackslashFrom(key.begin)) {
            const istr name(text_ + key.begin, key.size);
            if (isEscaped(name) && (quoted || name.size() > 1)) return addEscapedKey(name);
        }
        add(key, key.begin);
        return true;
    }
    bool addEscapedKey(istr name) {
        String unescaped;
        appendUnescaped(unescaped, name);
        if (unescaped.empty()) return false;
        const auto begin = static_cast<ulong32>(moreText_.size());
        moreText_ += unescaped;
        addMoved(begin);
        return true;
    }
    void addString(const Node& string) {
        if (strings_ == Strings::Unescaped && index_.anyBackslashFrom(string.begin)) {
            const istr content(text_ + string.begin + 1, string.size - 2);
            if (isEscaped(content)) return addEscapedString(content);
        }
        add(string, string.begin);
    }
    void addEscapedString(istr content) {
        const auto begin = static_cast<ulong32>(moreText_.size());
        moreText_ += '"';
        appendUnescaped(moreText_, content);
        moreText_ += '"';
        addMoved(begin);
    }
    // Adds a node for the text in moreText_ from `begin` on.
    void addMoved(ulong32 begin) {
        if (moreText_.size() > Node::kMaxText) throw std::bad_alloc();
        moved_.push_back(nodes_.size());
        add({begin, static_cast<ulong32>(moreText_.size()) - begin}, position());
    }

    // Skips the comma or bracket after a value. Returns true if it ends the enclosing object or
    // array.
    bool passEnd(Positions at) {
        const Sign sign = signAt(*at);
        const bool ended = sign == (inObject_ ? Sign::CloseObject : Sign::CloseArray);
        if (!ended && sign != Sign::Comma) failAtEnd(*at);
        lastEnd_ = *at;
        index_.moveTo(at + 1);
        return ended;
    }
    [[noreturn]] void failAtEnd(ulong32 position) const {
        if (inObject_) fail(kParseObject, "pair value no end", position);
        fail(kParseArray, "array value no end", position);
    }

    FlatTree* finish() {
        finishOpen();
        const istr text(text_, lastEnd_ + 1);
        // The unescaped strings follow the text.
        if (text.size() + moreText_.size() > Node::kMaxText) throw std::bad_alloc();
        for (const ulong32 i : moved_)
            nodes_[i].begin += static_cast<ulong32>(text.size());
        FlatTree* const tree = nodes_.makeTree(text, moreText_, draft_);
        if (strings_ == Strings::Unescaped) tree->setUnescaped();
        return tree;
    }

    Strings strings_;
    const char* text_;
    ulong32 size_;
    ulong32 lastEnd_ = 0;  // the position of the last bracket or comma
    ulong32 open_ = 0;     // the node of the innermost open container
    bool inObject_ = false;
    bool flat_ = false;  // the open container has no container so far
    NodeBuffer nodes_;
    std::vector<ulong32> moved_;
    String moreText_;
    FlatTree::Draft draft_;
    StructureIndex index_;
};

Handle<JsonValue> read(istr text, Strings strings) {
    if (text.is_null()) text = istr();
    if (text.size() > Node::kMaxText) throw std::bad_alloc();
    JsonValue* const root = Reader(text, strings).read()->root();
    SharedCount::takeFirst(*root);
    return Handle<JsonValue>::adopt(root);
}

}  // namespace

Handle<JsonValue> JsonParser::from(istr text) {
    return JsonParser(text).parse();
}

Handle<JsonValue> JsonParser::parse() {
    return read(rest_, Strings::AsRead);
}

JsonDocument JsonDocument::from(istr text) {
    return JsonDocument(read(text, Strings::Unescaped));
}

}  // namespace qor::json
