#include "qor/pml/pml_writer.h"
#include "inspect/writer_base.h"
#include "qor/util/base64.h"

namespace tools {

namespace {

class PmlWriter final : public TextWriter {
public:
    using TextWriter::TextWriter;

    void begin(const Label& label, Shape, bool isChain) override {
        head(label, label.type);
        mark("(");
        // A chain is on one line.
        const bool lines = !compact_ && !isChain && (open_.empty() || open_.back());
        open_.push_back(lines);
    }
    void leaf(const Label& label, const Scalar& value) override {
        const bool isData = value.kind == Kind::Bytes;
        head(label, isData && label.type.empty() ? istr("base64", 6) : label.type);
        mark("(");
        qor::String text;
        if (isData) {
            qor::Base64::encode(value.text, text, false);
        } else if (!value.encoded.is_null()) {
            text = value.encoded;
        } else if (value.kind == Kind::Boolean) {
            text = value.text == "true" ? "1" : "0";
        } else {
            text = value.text;
            if (value.kind == Kind::Text) qor::pml::escapeString(text);
        }
        put(roleOf(value.kind), text);
        mark(")");
    }
    void end() override {
        const bool lines = open_.back();
        open_.pop_back();
        if (lines) line(open_.size());
        mark(")");
    }
    void elided(const Label& label, Shape) override {
        head(label, label.type);
        mark("(");
        out_.put(Role::Note, "(* ... *)");
        mark(")");
    }
    void finish() override { out_.raw("\n"); }

private:
    void head(const Label& label, istr type) {
        if (!open_.empty() && open_.back()) line(open_.size());
        // A name is not quoted; "^" is written before each quote and caret in it.
        qor::String name(keyOf(label));
        qor::pml::unescapeString(qor::pml::escapeString(name));
        put(Role::Key, name);
        if (type.empty()) return;
        mark(":");
        put(Role::Type, type);
    }

    std::vector<bool> open_;  // whether each container has lines for its children
};

}  // namespace

std::unique_ptr<Sink> makePmlWriter(Output& out, bool compact) {
    return std::make_unique<PmlWriter>(out, compact);
}

}  // namespace tools
