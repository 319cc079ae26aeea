#include "qor/nbr/binding.h"

#include <algorithm>
#include <ostream>
#include <utility>

#include "qor/base/base_type_convert.h"
#include "qor/log/log_dumper.h"
#include "qor/nbr/parser.h"

namespace qor::nbr {

namespace {

// The nesting depth of the object whose codec reads on this thread.
constinit thread_local unsigned runDepth = 0;

[[noreturn]] void raiseNotSimple() {
    QOR_THROW(qor::nbr::DecodeException, "qor::nbr::InputStream::getSimpleValue",
              "not simple value");
}

}  // namespace

void OutputStream::operator<<(const std::string& text) {
    // UTF-8 text needs no temporary copy.
    if (wire::textIsUtf8()) {
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
}

dumper& OutputStream::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::nbr::OutputStream");
    return d.member("str()", hexdata(str()));
}

InputStream::InputStream(istr data) : owned_(true), value_(parser::from(data)) {}

InputStream::InputStream(istr data, unsigned char tag)
    : owned_(true), value_(parser::from(data, tag)) {}

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
    return d.member("get()", *value_);
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

CodecRun::CodecRun(OutputStream& os) : os_(&os) {
    exchange(os);
}

CodecRun::CodecRun(InputStream& is)
    : stream_(istr()), is_(&is), depth_(is.depth_), outer_(runDepth) {
    const unsigned depth = std::max(depth_, outer_);
    if (depth >= kMaxDepth) Reader::raiseTooDeep();
    is.depth_ = runDepth = depth + 1;
    is.swap(stream_.bis());
}

CodecRun::~CodecRun() {
    if (os_ != nullptr) exchange(*os_);
    if (is_ == nullptr) return;
    is_->swap(stream_.bis());
    is_->depth_ = depth_;
    runDepth = outer_;
}

// The codec writes inside the open entries of the stream.
void CodecRun::exchange(OutputStream& os) noexcept {
    os.swap(stream_.bos());
    std::swap(os.reserved_, stream_.bos().reserved_);
}

void CodecInterface::encode(OutputStream& os) const {
    OutputStream::Rollback rollback(os);
    CodecRun run(os);
    forCodec(*this).codec(run.stream());
    rollback.dismiss();
}

void CodecInterface::decode(InputStream& is) {
    CodecRun run(is);
    codec(run.stream());
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
