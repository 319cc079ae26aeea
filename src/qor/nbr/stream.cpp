#include "qor/nbr/binding.h"

#include <ostream>

#include "qor/base/base_type_convert.h"
#include "qor/log/log_dumper.h"
#include "qor/nbr/parser.h"

namespace qor::nbr {

namespace {

// Exchanges two streams for a scope.
template <class Stream>
class Exchange : noncopyable {
public:
    Exchange(Stream& left, Stream& right) noexcept : left_(left), right_(right) {
        left_.swap(right_);
    }
    ~Exchange() { left_.swap(right_); }

private:
    Stream& left_;
    Stream& right_;
};

[[noreturn]] void raiseNotSimple() {
    QOR_THROW(qor::nbr::DecodeException, "qor::nbr::InputStream::getSimpleValue",
              "not simple value");
}

template <class T>
std::ostream& dumpTo(std::ostream& os, const T& value) {
    dumper d(os);
    value.dump(d);
    return os;
}

}  // namespace

void OutputStream::operator<<(const std::string& text) {
    // Text in UTF-8 needs no copy in between.
    if (utf8_) {
        write_i(text, true);
    } else {
        write_i(toUtf8(ansi(text)), true);
    }
}

void OutputStream::operator<<(iwstr text) {
    *this << toUtf8(wstr(text));
}

void OutputStream::swap(OutputStream& other) noexcept {
    buffer_.swap(other.buffer_);
    std::swap(reserved_, other.reserved_);
    std::swap(utf8_, other.utf8_);
}

dumper& OutputStream::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::nbr::OutputStream");
    d.indent().name("str()") << hexdata(str());
    return d.endline();
}

InputStream::InputStream(istr data) : value_(parser::from(data)), owned_(true) {}

InputStream::InputStream(istr data, unsigned char tag)
    : value_(parser::from(data, tag)), owned_(true) {}

void InputStream::swap(InputStream& other) noexcept {
    std::swap(value_, other.value_);
    std::swap(owned_, other.owned_);
    std::swap(depth_, other.depth_);
    std::swap(expected_, other.expected_);
}

ValueBase* InputStream::getChild(unsigned char tag) const noexcept {
    if (value_ == nullptr || value_->simple()) return nullptr;
    return static_cast<ComplexValue*>(value_)->get(tag);
}

SimpleValue* InputStream::getSimpleValue() const {
    if (value_ == nullptr) return nullptr;
    if (!value_->simple()) raiseNotSimple();
    return static_cast<SimpleValue*>(value_);
}

dumper& InputStream::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::nbr::InputStream");
    if (value_ == nullptr) return d;
    d.indent().name("get()") << *value_;
    return d.endline();
}

Writer::Place Writer::grow(OutputStream& os, char* at, unsigned long n) {
    os.finish(at);
    os.buffer_.needMore(os.reserved_ + n);
    return placeIn(os);
}

void Reader::raiseTooDeep() {
    QOR_THROW(qor::nbr::DecodeException, "qor::nbr::Reader::readValue",
              "objects are nested too deeply");
}

void Reader::raiseNotSimple() {
    nbr::raiseNotSimple();
}

void CodecInterface::encode(OutputStream& os) const {
    CodecStream s;
    OutputStream::Rollback rollback(os);
    {
        const Exchange exchange(os, s.bos());
        forCodec(*this).codec(s);
    }
    rollback.dismiss();
}

void CodecInterface::decode(InputStream& is) {
    CodecStream s{istr()};
    const Exchange exchange(is, s.bis());
    codec(s);
}

dumper& dump_buf::dump(dumper& d) const {
    return InputStream(data).dump(d);
}

std::ostream& operator<<(std::ostream& os, const OutputStream& stream) {
    return dumpTo(os, stream);
}

std::ostream& operator<<(std::ostream& os, const InputStream& stream) {
    return dumpTo(os, stream);
}

std::ostream& operator<<(std::ostream& os, const dump_buf& buffer) {
    return dumpTo(os, buffer);
}

}  // namespace qor::nbr
