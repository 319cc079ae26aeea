// The pml parser: any bytes give the same result from every kind of source.

#include <iterator>
#include <sstream>

#include "pml_tree.h"
#include "qor/base/base_type_convert.h"
#include "qor/pml/pml_writer.h"
#include "repeated.h"

namespace {

using namespace qor;
using namespace qor::pml;

// The result of parsing a source: the tree, complete or not, the error, and the rest of the input.
struct Outcome {
    ntv::Unit tree;
    std::string failure;
    std::string rest;

    bool operator==(const Outcome& other) const {
        return fuzz::isSame(tree, other.tree) && failure == other.failure && rest == other.rest;
    }
};

template <class Source>
void parse(Source& source, bool valueString, Outcome& outcome) {
    try {
        require(valueString ? ntvFromValueString(outcome.tree, source)
                            : ntvFromPml(outcome.tree, source));
    } catch (const DecodeException& e) {
        outcome.failure = e.msg();
    } catch (const ntv::DuplicatedUnitException& e) {
        outcome.failure = e.msg();
    }
    require(fuzz::isSound(outcome.tree));
}

void fromStream(const std::string& text, bool valueString, Outcome& outcome) {
    std::istringstream stream(text);
    parse(stream, valueString, outcome);
    outcome.rest.assign(std::istreambuf_iterator<char>(stream), {});
}

template <class Char>
void fromPointer(const Char* text, bool valueString, Outcome& outcome) {
    parse(text, valueString, outcome);
    outcome.rest = String(text);
}

void check(const std::string& input, bool valueString) {
    // Text in memory ends at its first zero byte.
    const std::string text = input.c_str();
    Outcome narrow;
    fromPointer(text.c_str(), valueString, narrow);

    Outcome streamed;
    fromStream(text, valueString, streamed);
    require(streamed == narrow);

    Outcome viewed;
    viewed.rest = narrow.rest;
    const istr view(text);
    parse(view, valueString, viewed);
    require(viewed == narrow);

    // The parsed text may be a text of the unit itself.
    Outcome own;
    own.rest = narrow.rest;
    own.tree << text;
    const istr ownText = own.tree.getStringValue();
    parse(ownText, valueString, own);
    require(own == narrow);

    // Text that is not UTF-8 changes in the conversion to wide text.
    const std::wstring wideText = String(text).toWstring();
    if (String(wideText) == text) {
        Outcome wide;
        fromPointer(wideText.c_str(), valueString, wide);
        require(wide == narrow);

        Outcome wideViewed;
        wideViewed.rest = narrow.rest;
        const iwstr wideView(wideText);
        parse(wideView, valueString, wideViewed);
        require(wideViewed == narrow);

        std::wistringstream wideStream(wideText);
        Outcome wideStreamed;
        wideStreamed.rest = narrow.rest;
        parse(wideStream, valueString, wideStreamed);
        require(wideStreamed == narrow);
    }

    Outcome whole;
    fromStream(input, valueString, whole);
    const ntv::Unit copy(whole.tree);
    require(fuzz::isSame(copy, whole.tree) && fuzz::isSound(copy));
    // Indentation makes the text of a very deep tree too large.
    const int last = input.size() < 10000 ? ShowMode::FORMATTED : ShowMode::COMPACT;
    for (int mode = ShowMode::COMPACT; mode <= last; ++mode)
        require(!copy.str(mode, 15).empty());
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string input = fuzz::repeated(data, size);
    check(input, false);
    check(input, true);
    return 0;
}
