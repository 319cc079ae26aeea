#include <array>
#include <charconv>
#include <memory>
#include <utility>
#include <vector>

#include "inspect/readers.h"
#include "qor/base/base_type_char.h"
#include "qor/nbr/parser.h"

namespace tools {

namespace {

using qor::nbr::ComplexValue;
using qor::nbr::SimpleValue;
using qor::nbr::ValueBase;

// Finds the end of the first value, or the offset of a fault; the parser reports neither.
class Extent {
public:
    explicit Extent(istr content) : content_(content) { measure(); }

    unsigned long end() const noexcept { return at_; }
    bool isCut() const noexcept { return isCut_; }

private:
    bool takeBracket(char bracket) noexcept {
        const istr rest = content_.substr(at_, 3);
        if (rest.size() != 3 || rest[0] != '\xFF' || rest[1] != 1 || rest[2] != bracket) {
            return false;
        }
        at_ += 3;
        return true;
    }
    unsigned byteAt(unsigned long at) const noexcept {
        return static_cast<unsigned char>(content_[at]);
    }
    bool cut() noexcept {
        isCut_ = true;
        at_ = content_.size();
        return false;
    }
    // Skips a simple value. False if the input is cut off, or at a byte that is not a valid size of
    // a size.
    bool takeSimple() noexcept {
        if (at_ >= content_.size()) return cut();
        const unsigned mark = byteAt(at_);
        const unsigned width = mark & 0x0FU;
        // FF at the end may be a bracket that is cut off.
        if (mark == 0xFF && at_ + 3 > content_.size()) return cut();
        if (mark == 0xFF) return ++at_, true;
        if ((mark >> 4) % 15 != 0 || width > 4) return false;
        ++at_;
        if (content_.size() - at_ < width) return cut();
        unsigned long size = 0;
        for (unsigned i = 0; i < width; ++i)
            size |= static_cast<unsigned long>(byteAt(at_ + i)) << (8 * i);
        at_ += width;
        if (content_.size() - at_ < size) return cut();
        at_ += size;
        return true;
    }
    void measure() noexcept {
        if (!takeBracket('(')) {
            takeSimple();
            return;
        }
        for (unsigned long depth = 1; depth != 0;) {
            if (at_ >= content_.size()) {
                cut();
                return;
            }
            if (takeBracket(')')) {
                --depth;
                continue;
            }
            ++at_;
            if (takeBracket('(')) {
                ++depth;
            } else if (!takeSimple()) {
                return;
            }
        }
    }

    istr content_;
    unsigned long at_ = 0;
    bool isCut_ = false;
};

Shape shapeOf(const ComplexValue& value) {
    std::array<bool, 256> seen{};
    bool isList = value.data().size() > 1;
    Shape shape = Shape::Map;
    for (const auto& [tag, item] : value) {
        isList = isList && tag == 1;
        if (std::exchange(seen[tag], true)) shape = Shape::Pairs;
    }
    return isList ? Shape::List : shape;
}

// Whether data is marked as text. The value does not keep the mark, so this reads the bytes before
// the data: for only one width of the size, they are a mark with this width and then the size of
// the data. (If the data is cut off, the size is larger than the data, and the first matching width
// is used.)
bool isMarkedText(istr content, istr data, bool isCut) {
    constexpr unsigned kMostWidth = 4;
    if (data.empty()) return false;
    const auto begin = static_cast<unsigned long>(data.data() - content.data());
    for (unsigned width = 1; width <= kMostWidth && width + 1 <= begin; ++width) {
        const auto mark = static_cast<unsigned char>(content[begin - width - 1]);
        if ((mark & 0x0FU) != width || (mark >> 4) % 15 != 0) continue;
        unsigned long size = 0;
        for (unsigned i = 0; i < width; ++i) {
            size |=
                static_cast<unsigned long>(static_cast<unsigned char>(content[begin - width + i]))
                << (8 * i);
        }
        if (size == data.size() || (isCut && size > data.size())) return mark >= 0xF0;
    }
    return false;
}

}  // namespace

std::string readNbr(istr content, Sink& sink) {
    const Extent extent(content);
    std::unique_ptr<ValueBase> root;
    try {
        root.reset(qor::nbr::parser::from(content));
    } catch (const qor::nbr::DecodeException& e) {
        throw BadContent("offset " + std::to_string(extent.end()) + ": " + reasonOf(e.msg()));
    }
    if (root == nullptr) throw BadContent("offset 0: no value in it");
    const auto showSimple = [&](const Label& label, const ValueBase& value) {
        const istr data = static_cast<const SimpleValue&>(value).data();
        const bool isLast = data.end() == content.end();
        const bool isText = isMarkedText(content, data, isLast && extent.isCut());
        sink.leaf(label, {isText ? Kind::Text : Kind::Bytes, data});
    };
    if (root->simple()) {
        showSimple({}, *root);
    } else {
        struct Open {
            const ComplexValue::Item* next;
            const ComplexValue::Item* end;
        };
        std::vector<Open> open;
        const auto enter = [&](const Label& label, const ValueBase& value) {
            const auto& complex = static_cast<const ComplexValue&>(value);
            sink.begin(label, shapeOf(complex), false);
            open.push_back({complex.begin(), complex.end()});
        };
        enter({}, *root);
        while (!open.empty()) {
            Open& level = open.back();
            if (level.next == level.end) {
                sink.end();
                open.pop_back();
                continue;
            }
            const auto& [tag, value] = *level.next++;
            char digits[4];
            const char* const end = std::to_chars(digits, digits + sizeof digits, tag).ptr;
            const Label label{istr(digits, end), {}, Part::Item, true};
            if (value->simple()) {
                showSimple(label, *value);
            } else {
                enter(label, *value);
            }
        }
    }
    sink.finish();
    if (extent.isCut()) return "the message is cut off";
    const unsigned long rest = content.size() - extent.end();
    return rest == 0 ? "" : std::to_string(rest) + " bytes after the message are ignored";
}

std::string bytesOfHex(istr content) {
    std::string digits;
    for (unsigned long i = 0; i < content.size(); ++i) {
        const char c = content[i];
        if (qor::CharIsSpace(c)) continue;
        if (!qor::CharIsXdigit(c)) {
            throw BadContent(placeOf(content, i) + ": no hexadecimal digit");
        }
        digits += c;
    }
    if (digits.size() % 2 != 0) {
        throw BadContent(placeOf(content, content.size()) +
                         ": an odd number of hexadecimal digits");
    }
    return std::string(istr(qor::hexstr2bytes(digits)));
}

std::string reasonOf(std::string_view message) {
    constexpr std::string_view kName = "Exception: ";
    const std::size_t at = message.find(kName);
    return std::string(at == message.npos ? message : message.substr(at + kName.size()));
}

std::string placeOf(istr content, unsigned long position) {
    unsigned long line = 1;
    unsigned long begin = 0;
    for (unsigned long i = 0; i < position && i < content.size(); ++i) {
        if (content[i] != '\n') continue;
        ++line;
        begin = i + 1;
    }
    return "line " + std::to_string(line) + ", column " + std::to_string(position - begin + 1);
}

}  // namespace tools
