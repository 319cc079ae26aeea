#include "qor/pml/pml_stream.h"

#include <memory>
#include <new>
#include <ostream>
#include <utility>

#include "nuv_guard.h"

namespace qor::pml {

namespace {

// If memory runs out, the incomplete tree is cleared, so that it is not used as a complete one.
template <class Source>
void read(ntv::Unit& unit, Source&& source, bool valueString) {
    const bool whole = valueString ? ntvFromValueString(unit, source) : ntvFromPml(unit, source);
    if (whole) return;
    unit.clear();
    throw std::bad_alloc();
}

}  // namespace

stream::stream(istr text, bool valueString) : direction_(kInput) {
    from(text, valueString);
}

stream::stream(iwstr text, bool valueString) : direction_(kInput) {
    from(text, valueString);
}

stream::stream(istr filename, from_file tag, bool valueString) : direction_(kInput) {
    from(filename, tag, valueString);
}

stream::stream(const stream& other)
    : unit_(other.unit()), direction_(other.direction_), allNesessary_(other.allNesessary_) {}

stream& stream::operator=(const stream& other) {
    unit() = other.unit();
    direction_ = other.direction_;
    allNesessary_ = other.allNesessary_;
    return *this;
}

void stream::from(istr text, bool valueString) {
    read(unit(), text, valueString);
}

void stream::from(iwstr text, bool valueString) {
    read(unit(), text, valueString);
}

void stream::from(istr filename, from_file, bool valueString) {
    const nuv_uncancelled whole;
    std::ifstream file;
    if (File(filename).open(file)) {
        read(unit(), file, valueString);
    } else {
        unit().clear();
    }
}

void stream::combine(const stream& other) {
    const ntv::ListValue* const list = other.unit().listValue();
    if (list == nullptr) return;
    for (unsigned long i = 0; i < list->size(); ++i) {
        const ntv::Unit& child = *list->at(i);
        // A name with "/" is a path for has().
        const bool isKnown = has(child.name()) || unit().child(child.name()) != nullptr;
        if (!isKnown) unit().addChild(std::make_unique<ntv::Unit>(child));
    }
}

String stream::str(ShowMode mode, ShowPattern pattern) const {
    return unit().str(mode, pattern);
}

bool stream::toString(String& out, ShowMode mode, ShowPattern pattern) const {
    return unit().toString(out, mode, pattern);
}

String stream::toPml(bool formatted) const {
    return str(formatted ? ShowMode::FORMATTED : ShowMode::COMPACT, ShowPattern::ALL);
}

bool stream::isEmptyChild(istr name) const {
    const ntv::Unit* const child = unit().at(name);
    return child == nullptr || child->valueEmpty();
}

ntv::Unit& stream::operator[](istr name) {
    // Reading does not change the unit of another stream: a missing child is created here.
    if (!isInputStream() || target_ == &unit_) return unit()[name];
    ntv::Unit* const present = unit().child(name);
    return present != nullptr ? *present : unit_[name];
}

void stream::enter(istr type, istr name, istr, istr) {
    // The unit of another stream is not changed by reading.
    if (isInputStream() && target_ != &unit_) return;
    if (unit().name().empty()) unit().name(name);
    if (unit().type().empty()) unit().type(type);
}

dumper& stream::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::pml::stream");
    const char* const direction = isOutputStream()  ? "output"
                                  : isInputStream() ? "input"
                                                    : "undefined";
    d.indent().name("direction_").raw(direction).endline();
    return d.member("unit_", unit());
}

part_stream::part_stream(ntv::Unit& unit) {
    stream_.target_ = &unit;
}

part_stream::part_stream(const ntv::Unit& unit, const stream& around) {
    if (around.depth_ >= kMaxDepth) {
        QOR_THROW(DecodeException, "qor::pml::stream::stream", "objects nested too deeply");
    }
    // A codec changes the unit of an input stream only by stream::unit().
    stream_.target_ = const_cast<ntv::Unit*>(&unit);
    stream_.direction_ = stream::kInput;
    stream_.depth_ = around.depth_ + 1;
}

std::ostream& operator<<(std::ostream& os, const stream& s) {
    return os << s.unit();
}

String& operator<<(String& out, const stream& s) {
    return out << s.unit();
}

ntv::Unit& operator<<(ntv::Unit& unit, const stream& s) {
    return unit << s.unit();
}

bool operator>>(const ntv::Unit& unit, stream& s) {
    return unit >> s.unit();
}

}  // namespace qor::pml
