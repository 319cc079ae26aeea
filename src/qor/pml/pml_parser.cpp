#include "qor/pml/pml_parser.h"

#include <functional>
#include <memory>
#include <new>

#include "nuv_guard.h"
#include "pml/parser_base.h"

namespace qor::pml {

namespace {

// The two kinds of input.
enum class Content { Document, ValueString };

template <class Char, class Source>
bool parse(ntv::Unit& unit, Source& source, Content content) {
    using Parser = pmlParserBase<Char, Source>;
    unit.clear();
    return Parser(unit, source)
        .__doParser(content == Content::Document ? Parser::PasingName : Parser::PasingValue);
}

template <class Attempt>
bool falseWithoutMemory(Attempt attempt) {
    try {
        return attempt();
    } catch (const std::bad_alloc&) {
        return false;
    }
}

// Moves the pointer even if the parser raises.
template <class Char>
bool fromText(ntv::Unit& unit, const Char*& text, const Char* end, Content content) {
    struct Tracked : TextSource<Char> {
        Tracked(const Char*& begin, const Char* textEnd) noexcept
            : TextSource<Char>(begin, textEnd), place(begin) {}
        ~Tracked() { place = this->at(); }
        const Char*& place;
    };
    Tracked source(text, end);
    return parse<Char, TextSource<Char>>(unit, source, content);
}

template <class Char>
bool fromPointer(ntv::Unit& unit, const Char*& text, Content content) {
    return falseWithoutMemory([&] { return fromText(unit, text, text + StrLen(text), content); });
}

// Short text may be stored in the unit itself, which the parser overwrites.
bool isPartOf(istr text, istr own) noexcept {
    const std::less<const char*> less;
    return !less(text.data(), own.data()) && !less(own.end(), text.data());
}
bool isInside(istr text, const ntv::Unit& unit) noexcept {
    return isPartOf(text, unit.name()) || isPartOf(text, unit.type()) ||
           isPartOf(text, unit.getStringValue());
}
bool isInside(iwstr, const ntv::Unit&) noexcept {
    return false;
}

// The text may be a part of the unit.
template <class View>
bool fromView(ntv::Unit& unit, View text, Content content) {
    using Char = std::remove_cvref_t<decltype(*text.data())>;
    return falseWithoutMemory([&] {
        if (isInside(text, unit)) {
            const std::basic_string<Char> copy(text);
            return fromView(unit, View(copy), content);
        }
        const std::unique_ptr<ntv::ValueBase> former(unit.stringValue() == nullptr ? unit.popValue()
                                                                                   : nullptr);
        const Char* begin = text.begin();
        const Char* const zero =
            text.empty() ? nullptr : std::char_traits<Char>::find(begin, text.size(), Char());
        return fromText(unit, begin, zero != nullptr ? zero : text.end(), content);
    });
}

template <class Char>
bool fromStream(ntv::Unit& unit, std::basic_istream<Char>& stream, Content content) {
    return falseWithoutMemory([&] {
        StreamSource<Char> source(stream);
        return parse<Char>(unit, source, content);
    });
}

bool fromFile(ntv::Unit& unit, const File& file, Content content) {
    const nuv_uncancelled whole;
    return falseWithoutMemory([&] {
        std::ifstream stream;
        if (file.open(stream)) return fromStream(unit, stream, content);
        unit.clear();
        return false;
    });
}

}  // namespace

bool ntvFromPml(ntv::Unit& unit, std::istream& source) {
    return fromStream(unit, source, Content::Document);
}

bool ntvFromPml(ntv::Unit& unit, std::wistream& source) {
    return fromStream(unit, source, Content::Document);
}

bool ntvFromPml(ntv::Unit& unit, const char*& source) {
    return fromPointer(unit, source, Content::Document);
}

bool ntvFromPml(ntv::Unit& unit, const wchar_t*& source) {
    return fromPointer(unit, source, Content::Document);
}

bool ntvFromPml(ntv::Unit& unit, istr source) {
    return fromView(unit, source, Content::Document);
}

bool ntvFromPml(ntv::Unit& unit, iwstr source) {
    return fromView(unit, source, Content::Document);
}

bool ntvFromPml(ntv::Unit& unit, const File& source) {
    return fromFile(unit, source, Content::Document);
}

bool ntvFromValueString(ntv::Unit& unit, std::istream& source) {
    return fromStream(unit, source, Content::ValueString);
}

bool ntvFromValueString(ntv::Unit& unit, std::wistream& source) {
    return fromStream(unit, source, Content::ValueString);
}

bool ntvFromValueString(ntv::Unit& unit, const char*& source) {
    return fromPointer(unit, source, Content::ValueString);
}

bool ntvFromValueString(ntv::Unit& unit, const wchar_t*& source) {
    return fromPointer(unit, source, Content::ValueString);
}

bool ntvFromValueString(ntv::Unit& unit, istr source) {
    return fromView(unit, source, Content::ValueString);
}

bool ntvFromValueString(ntv::Unit& unit, iwstr source) {
    return fromView(unit, source, Content::ValueString);
}

bool ntvFromValueString(ntv::Unit& unit, const File& source) {
    return fromFile(unit, source, Content::ValueString);
}

}  // namespace qor::pml
