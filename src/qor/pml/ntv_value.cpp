#include "qor/pml/ntv_value.h"

#include <ostream>

#include "base/node_memory.h"
#include "qor/base/base_type_convert.h"
#include "qor/pml/pml_writer.h"
#include "qor/util/base64.h"

namespace qor::pml::ntv {

namespace {

template <class T>
void writeNumber(std::ostream& os, T value) {
    String text;
    formatNumber(value, text);
    os << istr(text);
}

void writeBase64(std::ostream& os, istr bytes) {
    String text;
    Base64::encode(bytes, text, false);
    os << istr(text);
}

}  // namespace

ValueBase::~ValueBase() = default;

void* ValueBase::operator new(std::size_t size) {
    return operator new(size, __FILE__, __LINE__, "qor::pml::ntv::ValueBase::ValueBase");
}

void* ValueBase::operator new(std::size_t size, const char* file, unsigned line, const char* func) {
    return newNode(size, func, file, line);
}

void ValueBase::operator delete(void* ptr) noexcept {
    deleteNode(ptr, "qor::pml::ntv::ValueBase::~ValueBase");
}

void ValueBase::operator delete(void* ptr, const char* file, unsigned line,
                                const char* func) noexcept {
    deleteNode(ptr, func, file, line);
}

void BooleanValue::dump(std::ostream& os) const {
    os << (data_ ? "1" : "0");
}

void BytesValue::dump(std::ostream& os) const {
    writeBase64(os, data_);
}

void CharacterValue::dump(std::ostream& os) const {
    os.put(data_);
}

void FloatValue::dump(std::ostream& os) const {
    writeNumber(os, data_.value());
}

void IntegerValue::dump(std::ostream& os) const {
    writeNumber(os, data_.value());
}

void UnsignedValue::dump(std::ostream& os) const {
    writeNumber(os, data_.value());
}

StringValue* StringValue::create(istr text) {
    return new (__FILE__, __LINE__, "qor::pml::ntv::StringValue::create") StringValue(text);
}

dumper& StringValue::dump(dumper& d) const {
    return d << data_;
}

void StringValue::dump(std::ostream& os) const {
    String text = data_;
    os << istr(escapeString(text));
}

void TimeValue::dump(std::ostream& os) const {
    String text = "'";
    text += data_.toFullDateTime();
    text += '\'';
    os << istr(text);
}

void WcharValue::dump(std::ostream& os) const {
    String text = "\\u";
    int2hexstr(static_cast<unsigned short>(data_.value()), 2, text);
    os << istr(text);
}

void WstringValue::dump(std::ostream& os) const {
    Bytes text;
    wstringToUtf8(data_, text);
    writeBase64(os, text);
}

}  // namespace qor::pml::ntv
