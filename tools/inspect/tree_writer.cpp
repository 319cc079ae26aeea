#include "inspect/writer_base.h"
#include "qor/base/base_type_char.h"

namespace tools {

namespace {

class TreeWriter final : public TextWriter {
public:
    using TextWriter::TextWriter;

    void begin(const Label& label, Shape, bool) override {
        item(label);
        open();
        ++level_;
        first_ = true;
    }
    void leaf(const Label& label, const Scalar& value) override {
        item(label);
        if (value.kind == Kind::Bytes) {
            out_.put(Role::Number, hexOf(value.text));
        } else if (value.kind != Kind::Text) {
            put(roleOf(value.kind), value.kind == Kind::Null ? istr("null") : value.text);
        } else if (!value.text.empty()) {
            mark("'");
            put(Role::Text, value.text);
            mark("'");
        }
    }
    void end() override {
        --level_;
        line(level_);
        mark("}");
        first_ = false;
    }
    void elided(const Label& label, Shape) override {
        item(label);
        if (!compact_) out_.put(Role::Type, kType);
        mark("{");
        out_.put(Role::Note, "...");
        mark("}");
    }
    void finish() override {
        out_.raw("\n");
        first_ = true;
    }

private:
    static constexpr std::string_view kType = "@qor::nbr::ComplexValue";

    void item(const Label& label) {
        if (level_ == 0) return;
        if (compact_) {
            if (!first_) out_.raw(" ");
        } else {
            line(level_);
        }
        first_ = false;
        if (label.key.is_null() && label.type.empty()) return;
        mark("[");
        out_.put(Role::Key, keyOf(label));
        if (!label.type.empty()) {
            mark(":");
            put(Role::Type, label.type);
        }
        mark("] ");
    }
    void open() {
        if (!compact_) out_.put(Role::Type, kType);
        mark("{");
    }

    std::size_t level_ = 0;
    bool first_ = true;
};

}  // namespace

std::string hexOf(istr bytes) {
    std::string text;
    text.reserve(3 * bytes.size());
    for (unsigned long i = 0; i < bytes.size(); ++i) {
        const auto byte = static_cast<unsigned char>(bytes[i]);
        if (i != 0) text += ' ';
        text += qor::HexToChar(static_cast<unsigned char>(byte >> 4));
        text += qor::HexToChar(static_cast<unsigned char>(byte & 0x0F));
    }
    return text;
}

std::unique_ptr<Sink> makeTreeWriter(Output& out, bool compact) {
    return std::make_unique<TreeWriter>(out, compact);
}

}  // namespace tools
