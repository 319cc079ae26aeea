#include <string>
#include <utility>
#include <vector>

#include "inspect/writer_base.h"
#include "qor/util/base64.h"
#include "qor/xml/xml_escape.h"

namespace tools {

namespace {

class XmlWriter final : public TextWriter {
public:
    using TextWriter::TextWriter;

    void begin(const Label& label, Shape, bool) override {
        beforeItem();
        open_.push_back(head(label, label.type));
        state_ = State::InTag;
        attributes_ = 0;
        isWrapped_ = false;
    }
    void leaf(const Label& label, const Scalar& value) override {
        if (label.part == Part::Attribute) return attribute(label.key, value.text);
        if (label.part == Part::Content) return content(value.text);
        beforeItem();
        const bool isBytes = value.kind == Kind::Bytes;
        const std::string name = head(label, isBytes ? istr("base64", 6) : label.type);
        qor::String text(value.encoded.is_null() ? value.text : value.encoded);
        if (isBytes) {
            qor::Base64::encode(value.text, text, false);
        } else {
            qor::xml::encode_cdata(text);
        }
        if (text.empty()) {
            mark("/>");
            return;
        }
        mark(">");
        put(roleOf(value.kind), text);
        closing(name);
    }
    void end() override {
        const std::string name = open_.back();
        open_.pop_back();
        const State before = std::exchange(state_, State::Children);
        if (before == State::InTag) {
            mark("/>");
            return;
        }
        if (before == State::Children) line(open_.size());
        closing(name);
    }
    void elided(const Label& label, Shape) override {
        beforeItem();
        const std::string name = head(label, label.type);
        mark(">");
        out_.put(Role::Note, "<!-- ... -->");
        closing(name);
    }
    void finish() override { out_.raw("\n"); }

private:
    // The state of the innermost open element: in its opening tag, after children, after text only.
    enum class State { InTag, Children, Text };

    // Whether a key can be the name of an element. With any other key, the element is named "any"
    // and has the key in the attribute __key__.
    static bool isName(istr key) {
        if (key.empty()) return false;
        for (unsigned long i = 0; i < key.size(); ++i) {
            const char c = key[i];
            const bool isLetter = (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z') || c == '_' ||
                                  static_cast<unsigned char>(c) >= 0x80;
            const bool isOther = (c >= '0' && c <= '9') || c == '-' || c == '.' || c == ':';
            if (!isLetter && !(isOther && i != 0)) return false;
        }
        return true;
    }

    std::string head(const Label& label, istr type) {
        const bool isNamed = isName(label.key);
        const std::string name(isNamed ? label.key : istr("any", 3));
        mark("<");
        out_.put(Role::Key, name);
        if (!isNamed && !label.key.is_null()) written("__key__", label.key);
        if (!type.empty()) written("__type__", type);
        return name;
    }
    void written(istr name, istr value) {
        qor::String text(value);
        qor::xml::encode_attr(text);
        out_.raw(" ");
        put(Role::Type, name);
        mark("=\"");
        put(Role::Text, text);
        mark("\"");
    }
    void attribute(istr name, istr value) {
        if (attributes_++ != 0 && !std::string_view(name).starts_with("__")) {
            line(open_.size());
            isWrapped_ = true;
        }
        written(name, value);
    }
    // If the attributes of a tag are on several lines, the end of the tag is on a line of its own.
    void closeTag() {
        if (state_ != State::InTag) return;
        if (isWrapped_) line(open_.size());
        mark(">");
    }
    void content(istr value) {
        qor::String text(value);
        qor::xml::encode_cdata(text);
        closeTag();
        if (state_ == State::Children) line(open_.size());
        state_ = state_ == State::InTag ? State::Text : state_;
        put(Role::Text, text);
    }
    void beforeItem() {
        if (open_.empty()) return;
        closeTag();
        state_ = State::Children;
        line(open_.size());
    }
    void closing(const std::string& name) {
        mark("</");
        out_.put(Role::Key, name);
        mark(">");
    }

    std::vector<std::string> open_;
    State state_ = State::Children;
    std::size_t attributes_ = 0;
    bool isWrapped_ = false;
};

}  // namespace

std::unique_ptr<Sink> makeXmlWriter(Output& out, bool compact) {
    return std::make_unique<XmlWriter>(out, compact);
}

}  // namespace tools
