#include <charconv>
#include <system_error>
#include <vector>

#include "inspect/writers.h"
#include "qor/base/base_type_number.h"
#include "qor/nbr/stream.h"
#include "qor/util/wire_value.h"

namespace tools {

namespace {

// Writes the text of a JSON number as a long long if possible, else as a double; other text as
// text.
void writeNumber(qor::nbr::OutputStream& out, istr text) {
    long long integer = 0;
    double number = 0;
    const auto [end, error] = std::from_chars(text.begin(), text.end(), integer);
    const bool isNumber = isJsonNumber(text);
    if (isNumber && error == std::errc() && end == text.end()) {
        out << integer;
    } else if (isNumber && qor::parseNumber(text, number)) {
        out << number;
    } else {
        out << qor::String(text);
    }
}

class NbrWriter final : public Sink {
public:
    explicit NbrWriter(Output& out) : out_(out) {}

    void begin(const Label& label, Shape, bool) override {
        item(label);
        out_.raw(kOpen);
        depth_.push_back(inPair_);
        inPair_ = false;
    }
    void leaf(const Label& label, const Scalar& value) override {
        item(label);
        scalar(value);
        closePair();
    }
    void end() override {
        out_.raw(kClose);
        inPair_ = depth_.back();
        depth_.pop_back();
        closePair();
    }
    void elided(const Label&, Shape) override {}
    void finish() override {}

private:
    static constexpr std::string_view kOpen{"\xFF\x01("};
    static constexpr std::string_view kClose{"\xFF\x01)"};
    static constexpr unsigned kNoTag = 255;

    void tag(unsigned number) {
        const char byte = static_cast<char>(number);
        out_.raw(std::string_view(&byte, 1));
    }
    // Begins an item: with its tag, as an element of a list, or as an element of a map.
    void item(const Label& label) {
        if (depth_.empty()) return;
        unsigned number = kNoTag;
        const auto [end, error] = std::from_chars(label.key.begin(), label.key.end(), number);
        const bool isTag = label.isTag && error == std::errc() && end == label.key.end();
        tag(isTag ? number : 1);
        if (isTag || label.key.is_null()) return;
        out_.raw(kOpen);
        tag(1);
        const std::string key = keyOf(label);
        scalar({Kind::Text, istr(key)});
        tag(2);
        inPair_ = true;
    }
    void closePair() {
        if (!inPair_) return;
        out_.raw(kClose);
        inPair_ = false;
    }
    void scalar(const Scalar& value) {
        qor::nbr::OutputStream out;
        switch (value.kind) {
            case Kind::Null:
                out_.raw(std::string_view("\0", 1));
                return;
            case Kind::Boolean:
                out << (value.text == "true");
                break;
            case Kind::Number:
                writeNumber(out, value.text);
                break;
            case Kind::Text:
                out << qor::String(value.text);
                break;
            case Kind::Bytes:
                out << value.text;
                break;
        }
        out_.raw(std::string_view(istr(out.str())));
    }

    Output& out_;
    std::vector<bool> depth_;  // for each open container, whether it is the value of an open pair
    bool inPair_ = false;
};

}  // namespace

std::unique_ptr<Sink> makeNbrWriter(Output& out) {
    return std::make_unique<NbrWriter>(out);
}

}  // namespace tools
