// A pml tree that is written in any layout reads back unchanged. Only the classes of scalars, and
// the difference between a missing value, an empty text and an empty list, are not kept by the
// format.

#include <sstream>

#include "choices.h"
#include "pml_tree.h"
#include "qor/base/base_type_char.h"
#include "qor/pml/pml_writer.h"
#include "repeated.h"

namespace {

using namespace qor;
using namespace qor::pml;
using ntv::Unit;

// Returns a token without blanks at its beginning and end, which the parser removes.
std::string tokenOf(Choices& choices, std::string_view alphabet) {
    std::string text = choices.token(alphabet);
    StrTrimRight(text);
    text.erase(0, text.find_first_not_of(" \n"));
    return text;
}

constexpr std::string_view kNames = "abc^\"[]/.01 \n\xC3\xA5\xFF\\";
constexpr std::string_view kTypes = "abc[]/. \xC3\xA5\\";

ntv::ValueBase* typedValue(Choices& choices) {
    const int number = choices.byte() - 128;
    switch (choices.byte() % 9) {
        case 0:
            return new ntv::BooleanValue(number > 0);
        case 1:
            return new ntv::BytesValue(Bytes(choices.bytes(16)));
        case 2:
            return new ntv::CharacterValue(static_cast<char>('a' + choices.byte() % 26));
        case 3:
            return new ntv::FloatValue(number / 7.0);
        case 4:
            return new ntv::IntegerValue(number * 1000000007LL);
        case 5:
            return new ntv::UnsignedValue(static_cast<unsigned long long>(number));
        case 6:
            return new ntv::TimeValue(Time::microSeconds(number * 1000000007LL));
        case 7:
            return new ntv::WcharValue(static_cast<wchar_t>(number * 300));
        default:
            return new ntv::WstringValue(std::wstring(choices.byte() % 4, L'\u5b89'));
    }
}

// The text as which a typed value is read back.
String textOf(const ntv::ValueBase& value) {
    std::ostringstream os;
    value.dump(os);
    String text(os.str());
    return text.trimLeftRight('\'');
}

// Builds two trees: the one that is written, and the one that must be read back.
struct Trees {
    Unit written;
    Unit expected;
};

void build(Choices& choices, Trees& trees) {
    Unit* written = &trees.written;
    Unit* expected = &trees.expected;
    for (Unit* root : {written, expected})
        *root << "";
    while (!choices.atEnd()) {
        const unsigned action = choices.byte() % 8;
        if (action < 2 && written->parent() != nullptr) {
            written = written->parent();
            expected = expected->parent();
            continue;
        }
        auto child = std::make_unique<Unit>(istr(tokenOf(choices, kNames)));
        auto read = std::make_unique<Unit>(child->name());
        child->type(tokenOf(choices, kTypes));
        read->type(child->type());
        *read << "";
        if (action == 2) {
            child->value(typedValue(choices));
            *read << textOf(*child->value());
        } else if (action < 5) {
            *child << choices.bytes(16);
            *read << child->getStringValue();
        } else if (action == 5) {
            child->initValueAsList();
        }
        // A unit with children has no other value.
        for (Unit* parent : {written, expected}) {
            if (parent->simple()) parent->initValueAsList();
        }
        Unit* const open = child.get();
        Unit* const openRead = read.get();
        try {
            written->addChild(std::move(child));
        } catch (const ntv::DuplicatedUnitException&) {
            continue;
        }
        expected->addChild(std::move(read));
        if (action >= 5) {
            written = open;
            expected = openRead;
        }
    }
}

// An empty list reads back as an empty text.
void normalize(Unit& root) {
    std::vector<Unit*> open{&root};
    while (!open.empty()) {
        Unit* const unit = open.back();
        open.pop_back();
        if (unit->listValue() != nullptr && unit->numofChildren() == 0) unit->setValue("");
        for (unsigned long i = 0; i < unit->numofChildren(); ++i)
            open.push_back(unit->childAt(i));
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string input = fuzz::repeated(data, size);
    Choices choices((istr(input)));
    Trees trees;
    trees.written.name(tokenOf(choices, kNames));
    trees.expected.name(trees.written.name());
    build(choices, trees);
    normalize(trees.expected);
    // Indentation makes the text of a very deep tree too large.
    const int last = input.size() < 10000 ? ShowMode::FORMATTED : ShowMode::COMPACT;
    for (int mode = ShowMode::COMPACT; mode <= last; ++mode) {
        for (const int pattern : {7, 15}) {
            const String text = trees.written.str(mode, pattern);
            std::ostringstream os;
            require(ntvToPml(trees.written, os, mode, pattern) && os.str() == text);
            Unit read;
            std::istringstream source(text);
            require(ntvFromPml(read, source));
            require(fuzz::isSame(read, trees.expected) && fuzz::isSound(read));
        }
    }
    return 0;
}
