#include "qor/nbr/parser.h"

#include <algorithm>
#include <memory>
#include <string>

#include "base/upward.h"
#include "nbr/pool.h"
#include "qor/base/base_type_char.h"
#include "qor/base/mlcheck.h"

namespace qor::nbr {

namespace {

constexpr unsigned char kComplexMark = 0xFF;
constexpr unsigned long kBracketSize = 3;

// A complex value that is being read, in the one around it.
struct Open {
    ComplexValue* value;
    const Open* outer;
};

// Says why there is no value.
void trace(const char* func, const char* text) {
    if (upward::debugOn()) upward::writeDebugLog(__FILE__, __LINE__, func, text, "TRACE");
}

constexpr const char* kPeekValue = "qor::nbr::parser::peekValue";
constexpr const char* kParseValue = "qor::nbr::parser::parseValue";

[[noreturn]] void invalidHighPart(unsigned char lengthOfSize) {
    std::string digits = byte2hexstr(lengthOfSize);
    std::transform(digits.begin(), digits.end(), digits.begin(), CharToLower);
    QOR_THROW(DecodeException, kPeekValue,
              "maybe not nbr: invalid high part of lengthOfSize " + digits);
}

[[noreturn]] void invalidLow(unsigned lengthOfSize) {
    QOR_THROW(DecodeException, kPeekValue,
              "maybe not nbr: invalid lengthOfSize " + std::to_string(lengthOfSize));
}

bool isBracket(const StringSlice& cursor, char bracket) noexcept {
    if (cursor.left() < kBracketSize) return false;
    const char* const at = cursor.current();
    return at[0] == '\xFF' && at[1] == '\x01' && at[2] == bracket;
}

// A guess at what the tree of so much input takes, so that most trees are one block.
std::size_t poolEstimate(unsigned long size) noexcept {
    constexpr std::size_t kLeast = 256;
    constexpr std::size_t kMost = 32768;
    return std::clamp<std::size_t>(5 * size, kLeast, kMost);
}

}  // namespace

ValueBase* parser::from(istr data) {
    return parser(data).parseValue();
}

ValueBase* parser::from(istr data, unsigned char tag) {
    return parser(data).seekValue(tag);
}

ValueBase* parser::parseValue() {
    if (cursor_.eof()) {
        trace(kParseValue, "eof: empty iptr_");
        return nullptr;
    }
    if (!startsComplex()) return readSimple(false);
    std::unique_ptr<ComplexValue> root(Pool::newTree(poolEstimate(cursor_.left())));
    cursor_.advance(kBracketSize);
    fill(*root);
    return root.release();
}

void parser::fill(ComplexValue& root) {
    Pool& pool = *root.pool_;
    const Open outermost{&root, nullptr};
    const Open* open = &outermost;
    // The input may end anywhere: what is open then is as complete as it gets.
    while (!cursor_.eof()) {
        // Before any tag is taken: a tag of FF whose value begins with 01 29 reads as the end.
        if (endsComplex()) {
            cursor_.advance(kBracketSize);
            open = open->outer;
            if (open == nullptr) return;
            continue;
        }
        const auto tag = static_cast<unsigned char>(*cursor_.next(1));
        if (cursor_.eof()) {
            trace(kParseValue, "eof: empty value");
            return;
        }
        if (startsComplex()) {
            cursor_.advance(kBracketSize);
            ComplexValue* const child = pool.makeComplex();
            open->value->append({tag, child});
            open = pool.make<Open>(child, open);
            continue;
        }
        istr data;
        bool text = false;
        if (peekValue(data, text)) open->value->append({tag, pool.make<SimpleValue>(data, text)});
    }
}

SimpleValue* parser::seekValue(unsigned char tag) {
    if (cursor_.eof()) {
        trace(kParseValue, "eof: empty iptr_");
        return nullptr;
    }
    if (!startsComplex()) return nullptr;
    cursor_.advance(kBracketSize);
    while (!cursor_.eof() && !endsComplex()) {
        const auto found = static_cast<unsigned char>(*cursor_.next(1));
        if (cursor_.eof()) {
            trace(kParseValue, "eof: empty value");
            return nullptr;
        }
        if (found == tag) return readSimple(false);
        readSimple(true);
    }
    return nullptr;
}

bool parser::startsComplex() const noexcept {
    return isBracket(cursor_, '(');
}

bool parser::endsComplex() const noexcept {
    return isBracket(cursor_, ')');
}

SimpleValue* parser::readSimple(bool skip) {
    istr value;
    bool text = false;
    if (!peekValue(value, text) || skip) return nullptr;
    return checkedNew<SimpleValue>(__FILE__, __LINE__, "qor::nbr::parser::readSimple", value, text);
}

bool parser::peekValue(istr& value, bool& text) {
    const auto none = [](const char* why) {
        trace(kPeekValue, why);
        return false;
    };
    value = istr();
    if (cursor_.eof()) return none("empty iptr_");
    const auto los = static_cast<unsigned char>(*cursor_.next(1));
    if (cursor_.eof()) return none("no data after length of size");
    if (los == kComplexMark) return none("打印日志时复杂数据被截断..");
    const unsigned high = los & 0xF0U;
    if (high != 0 && high != 0xF0) invalidHighPart(los);
    text = high != 0;
    const unsigned width = los & 0x0FU;
    if (width == 0) return none("null data: zero length of size");
    if (width > 4) invalidLow(width);
    if (cursor_.left() < width) return none("打印日志时数据被截断:长度数据不够..");
    const unsigned long long size = BinaryStream::load(cursor_.next(width).data(), width);
    if (size == 0) return true;
    if (cursor_.eof()) return none("no data after size");
    value = cursor_.next(static_cast<unsigned long>(size));
    return true;
}

}  // namespace qor::nbr
