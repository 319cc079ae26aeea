#include "qor/nbr/parser.h"

#include <algorithm>
#include <memory>
#include <string>

#include "base/upward.h"
#include "nbr/pool.h"
#include "qor/base/base_type_char.h"

namespace qor::nbr {

namespace {

constexpr unsigned char kComplexMark = 0xFF;
constexpr const char* kPeekValue = "qor::nbr::parser::peekValue";
constexpr const char* kParseValue = "qor::nbr::parser::parseValue";

// Logs the reason why there is no value, and returns false.
bool none(const char* func, const char* why) {
    if (upward::debugOn()) upward::writeDebugLog(__FILE__, __LINE__, func, why, "TRACE");
    return false;
}

[[noreturn]] void raiseHighPart(unsigned lengthOfSize) {
    std::string text = "maybe not nbr: invalid high part of lengthOfSize ";
    text += CharToLower(HexToChar(static_cast<unsigned char>(lengthOfSize >> 4)));
    text += CharToLower(HexToChar(static_cast<unsigned char>(lengthOfSize)));
    QOR_THROW(DecodeException, kPeekValue, text);
}

[[noreturn]] void raiseLengthOfSize(unsigned lengthOfSize) {
    std::string text = "maybe not nbr: invalid lengthOfSize ";
    text += std::to_string(lengthOfSize);
    QOR_THROW(DecodeException, kPeekValue, text);
}

// The rest of the input.
class Input {
public:
    explicit Input(istr data) noexcept : at_(data.data()), end_(data.data() + data.size()) {}

    bool eof() const noexcept { return at_ == end_; }
    unsigned long left() const noexcept { return static_cast<unsigned long>(end_ - at_); }
    unsigned char peek() const noexcept { return static_cast<unsigned char>(*at_); }
    unsigned char take() noexcept { return static_cast<unsigned char>(*at_++); }
    istr take(unsigned long n) noexcept {
        const istr taken(at_, std::min(n, left()));
        at_ += taken.size();
        return taken;
    }
    bool takeBegin() noexcept { return takeBracket('('); }
    bool takeEnd() noexcept { return takeBracket(')'); }

private:
    bool takeBracket(char bracket) noexcept {
        if (eof() || peek() != kComplexMark) return false;
        if (left() < 3 || at_[1] != 1 || at_[2] != bracket) return false;
        at_ += 3;
        return true;
    }

    const char* at_;
    const char* end_;
};

// A complex value that is being read, and the enclosing one.
struct Open {
    ComplexValue* value;
    const Open* outer;
};

// An estimate of the tree's memory from the size of the input, so that most trees are one block.
std::size_t poolEstimate(unsigned long size) noexcept {
    constexpr std::size_t kLeast = 512;
    constexpr std::size_t kMost = 60000;
    return std::clamp<std::size_t>(6 * size, kLeast, kMost);
}

// The rare cases of takeSimple.
bool takeAnySimple(Input& input, istr& data, bool& text) {
    data = istr();
    if (input.eof()) return none(kPeekValue, "empty iptr_");
    const unsigned los = input.take();
    if (input.eof()) return none(kPeekValue, "no data after length of size");
    if (los == kComplexMark) return none(kPeekValue, "打印日志时复杂数据被截断..");
    const unsigned high = los & 0xF0U;
    if (high != 0 && high != 0xF0) raiseHighPart(los);
    text = high != 0;
    const unsigned width = los & 0x0FU;
    if (width == 0) return none(kPeekValue, "null data: zero length of size");
    if (width > 4) raiseLengthOfSize(width);
    if (input.left() < width) return none(kPeekValue, "打印日志时数据被截断:长度数据不够..");
    const unsigned long long size = BinaryStream::load(input.take(width).data(), width);
    // An empty value is a view without bytes, which is not null.
    if (size != 0 && input.eof()) return none(kPeekValue, "no data after size");
    data = input.take(static_cast<unsigned long>(size));
    return true;
}

// Reads a simple value. Returns false and logs a debug line if it is null or incomplete.
inline bool takeSimple(Input& input, istr& data, bool& text) {
    // Nearly all values have a size of one byte, and all their data.
    if (input.left() > 2 && (input.peek() | 0xF0) == 0xF1) {
        Input rest = input;
        const unsigned los = rest.take();
        const unsigned size = rest.take();
        if ((los == 0x01 || los == 0xF1) && size <= rest.left()) {
            text = los != 0x01;
            data = rest.take(size);
            input = rest;
            return true;
        }
    }
    return takeAnySimple(input, data, text);
}

SimpleValue* newSimple(Input& input) {
    istr data;
    bool text = false;
    return takeSimple(input, data, text) ? new SimpleValue(data, text) : nullptr;
}

}  // namespace

ValueBase* parser::from(istr data) {
    return parser(data).parseValue();
}

ValueBase* parser::from(istr data, unsigned char tag) {
    return parser(data).seekValue(tag);
}

ValueBase* parser::parseValue() {
    Input input(cursor_.readAllLeft());
    if (input.eof()) {
        none(kParseValue, "eof: empty iptr_");
        return nullptr;
    }
    const std::size_t estimate = poolEstimate(input.left());
    if (!input.takeBegin()) return newSimple(input);
    std::unique_ptr<ComplexValue> root(Pool::newTree(estimate));
    Pool& pool = *root->pool_;
    const Open outermost{root.get(), nullptr};
    const Open* open = &outermost;
    // The input may end anywhere: open values then keep the items read so far.
    while (!input.eof()) {
        // Tested before the tag, so a tag of FF whose value begins with 01 29 is read as the end.
        if (input.takeEnd()) {
            open = open->outer;
            if (open == nullptr) break;
            continue;
        }
        const unsigned char tag = input.take();
        if (input.eof()) {
            none(kParseValue, "eof: empty value");
            break;
        }
        if (input.takeBegin()) {
            ComplexValue* const child = pool.makeComplex();
            open->value->append({tag, child});
            open = pool.make<Open>(child, open);
            continue;
        }
        istr data;
        bool text = false;
        if (takeSimple(input, data, text)) {
            open->value->append({tag, pool.make<SimpleValue>(data, text)});
        }
    }
    return root.release();
}

ValueBase* parser::seekValue(unsigned char tag) {
    Input input(cursor_.readAllLeft());
    if (input.eof()) {
        none(kParseValue, "eof: empty iptr_");
        return nullptr;
    }
    if (!input.takeBegin()) return nullptr;
    while (!input.eof() && !input.takeEnd()) {
        const unsigned char found = input.take();
        if (input.eof()) {
            none(kParseValue, "eof: empty value");
            return nullptr;
        }
        if (found == tag) return newSimple(input);
        istr skipped;
        bool text = false;
        takeSimple(input, skipped, text);
    }
    return nullptr;
}

}  // namespace qor::nbr
