#include "qor/log/log_dumper.h"

#include <iomanip>
#include <string>

#include "base/text_stream.h"
#include "base/upward.h"
#include "nuv_guard.h"
#include "qor/base/base_type_convert.h"
#include "qor/base/mlcheck.h"

namespace qor {

namespace {

constexpr unsigned long kColumns = 16;

// While it exists, numbers are written in upper-case hexadecimal, padded with zeros. Afterwards the
// stream is set to decimal, whatever it was before.
class HexFormat : noncopyable {
public:
    explicit HexFormat(std::ostream& os) : os_(os) {
        os_ << std::uppercase << std::hex << std::setfill('0');
    }
    ~HexFormat() { os_ << std::dec << std::setfill(' ') << std::nouppercase; }

private:
    std::ostream& os_;
};

void writeByte(std::ostream& os, char byte) {
    os << HexToChar(static_cast<unsigned char>(byte) >> 4)
       << HexToChar(static_cast<unsigned char>(byte));
}

void writeText(std::ostream& os, istr text) {
    if (!text.empty()) os.write(text.data(), static_cast<std::streamsize>(text.size()));
}

istr clipped(istr data) {
    return data.leftstr(upward::maxStringSize());
}

constexpr const char* kOmitted = "<omit data up to ";

// Writes the mark after cut data; nothing if all data is shown. The size is decimal, whatever the
// format of the stream is.
void writeOmitted(std::ostream& os, unsigned long size, unsigned long shown) {
    if (size > shown) os << kOmitted << std::to_string(size) << '>';
}

void writeOffset(std::ostream& os, unsigned long offset) {
    // A derived class's show() may have changed the stream's base.
    os << '\n' << std::hex << std::setfill('0') << std::setw(6) << offset << ": ";
}

void writeRow(std::ostream& os, const dump_hex_base& table, istr row) {
    for (unsigned long i = 0; i < kColumns; ++i) {
        if (i < row.size()) {
            writeByte(os, row[i]);
        } else {
            os << "  ";
        }
        os << ' ';
    }
    os << ' ';
    for (const char byte : row)
        table.show(os, static_cast<unsigned char>(byte));
}

}  // namespace

dumper::Config::Config(bool compact, istr lineSeparator, istr indentSeparator, unsigned level,
                       istr eolSeparator, istr beginTag, istr endTag, istr typeTag,
                       istr nvSeparator, istr valueSeparator)
    : compact_(compact),
      lineSeparator_(lineSeparator),
      indentSeparator_(indentSeparator),
      level_(level),
      eolSeparator_(eolSeparator),
      beginTag_(beginTag),
      endTag_(endTag),
      typeTag_(typeTag),
      nvSeparator_(nvSeparator),
      valueSeparator_(valueSeparator) {}

dumper& dumper::Config::dump(dumper& d) const {
    const _Entry entry(d, "qor::dumper::Config");
    d.member("compact_", compact_);
    d.member("lineSeparator_", lineSeparator_);
    d.member("indentSeparator_", indentSeparator_);
    d.member("level_", level_);
    d.member("eolSeparator_", eolSeparator_);
    d.member("beginTag_", beginTag_);
    d.member("endTag_", endTag_);
    d.member("typeTag_", typeTag_);
    d.member("nvSeparator_", nvSeparator_);
    d.member("valueSeparator_", valueSeparator_);
    return d;
}

dumper::dumper(bool compact, istr lineSeparator, istr indentSeparator, unsigned level,
               istr eolSeparator, istr beginTag, istr endTag, istr typeTag, istr nvSeparator,
               istr valueSeparator)
    : dumper(Config(compact, lineSeparator, indentSeparator, level, eolSeparator, beginTag, endTag,
                    typeTag, nvSeparator, valueSeparator)) {}

dumper::dumper(const Config& config)
    : cfg_(config),
      ownStream_(checkedNew<TextStream>(__FILE__, __LINE__, "qor::dumper::dumper")),
      os_(*ownStream_) {}

dumper::dumper(std::ostream& os, bool compact, istr lineSeparator, istr indentSeparator,
               unsigned level, istr eolSeparator, istr beginTag, istr endTag, istr typeTag,
               istr nvSeparator, istr valueSeparator)
    : dumper(os, Config(compact, lineSeparator, indentSeparator, level, eolSeparator, beginTag,
                        endTag, typeTag, nvSeparator, valueSeparator)) {}

dumper::dumper(std::ostream& os, const Config& config) : cfg_(config), os_(os) {}

dumper::~dumper() {
    checkedDelete(ownStream_, __FILE__, __LINE__, "qor::dumper::~dumper");
}

String dumper::str() const {
    if (ownStream_ == nullptr) {
        QOR_THROW(qor::UnsupportedFunctionException, "qor::dumper::str");
    }
    return static_cast<const TextStream*>(ownStream_)->text();
}

dumper& dumper::indent() {
    if (!cfg_.compact_) {
        writeIndent();
    } else if (first_) {
        first_ = false;
    } else {
        raw(cfg_.valueSeparator_);
    }
    return *this;
}

dumper& dumper::endline() {
    return cfg_.compact_ ? *this : raw(cfg_.eolSeparator_);
}

dumper& dumper::nl() {
    os_ << std::endl;
    return *this;
}

dumper& dumper::writeName(istr text, const char* separator) {
    if (text.empty()) return *this;
    raw(text);
    if (separator != nullptr) return raw(separator);
    if (cfg_.compact_) return raw(cfg_.nvSeparator_);
    return raw(" ").raw(cfg_.nvSeparator_).raw(" ");
}

dumper& dumper::enter(istr first, istr second, istr third, istr fourth) {
    if (cfg_.compact_) {
        raw(cfg_.beginTag_);
    } else {
        if (!first.empty()) raw(cfg_.typeTag_).raw(first);
        if (!second.empty()) raw("<").raw(second).raw(">");
        if (!third.empty()) raw(cfg_.typeTag_).raw(third);
        if (!fourth.empty()) raw(cfg_.typeTag_).raw(fourth);
        raw(cfg_.beginTag_);
        endline();
        ++cfg_.level_;
    }
    // Deliberate (compatibility): one variable and no stack. After two nested scopes have ended,
    // first_ has the value that the inner one saved.
    savedFirst_ = first_;
    first_ = true;
    return *this;
}

dumper& dumper::leave() {
    const nuv_uncancelled whole;  // ~_Entry must not be unwound
    first_ = savedFirst_;
    if (cfg_.compact_) return raw(cfg_.endTag_);
    --cfg_.level_;
    indent();
    raw(cfg_.endTag_);
    return endline();
}

dumper& dumper::write(const void* value) {
    // Standard libraries differ in how they show null.
    if (value == nullptr) {
        os_ << '0';
    } else {
        os_ << value;
    }
    return *this;
}

dumper& dumper::write(istr text) {
    writeText(os_, text);
    return *this;
}

dumper& dumper::write(iwstr text) {
    return write(istr(toAnsi(wstr(text))));
}

dumper& dumper::write(const Time& time) {
    return write(istr(time.toDateTime()));
}

dumper& dumper::operator<<(bool value) {
    return raw(value ? "true" : "false");
}

dumper& dumper::operator<<(char value) {
    os_ << '\'';
    Print(os_, value);
    os_ << '\'';
    return *this;
}

dumper& dumper::operator<<(istr text) {
    return quote('\'', text);
}

dumper& dumper::operator<<(iwstr text) {
    return quote('"', toUtf8(wstr(text)));
}

dumper& dumper::operator<<(const Time& time) {
    os_ << '\'';
    write(time);
    os_ << '\'';
    return *this;
}

dumper& dumper::__writeBytes(istr bytes) {
    if (bytes.empty()) return *this;
    const istr shown = clipped(bytes);
    os_ << '"';
    {
        const HexFormat format(os_);
        bool inGroup = false;
        for (const char byte : shown) {
            if (byte == '\n') {
                // The line break does not end the group.
                writeIndent();
                continue;
            }
            const bool printable = CharIsPrint(byte);
            if (printable && inGroup) os_ << '}';
            if (!printable && !inGroup) os_ << "\\x{";
            inGroup = !printable;
            if (printable) {
                os_ << byte;
            } else {
                writeByte(os_, byte);
            }
        }
        if (inGroup) os_ << '}';
    }
    writeOmitted(os_, bytes.size(), shown.size());
    os_ << '"';
    return *this;
}

void dumper::writeIndent() {
    raw(cfg_.lineSeparator_);
    for (unsigned i = 0; i < cfg_.level_; ++i)
        raw(cfg_.indentSeparator_);
}

dumper& dumper::quote(char mark, istr text) {
    if (text.empty()) return *this;
    const istr shown = clipped(text);
    os_ << mark;
    raw(shown);
    writeOmitted(os_, text.size(), shown.size());
    os_ << mark;
    return *this;
}

dumper& write_hex::operator()(dumper& d) const {
    (*this)(d.internal_stream());
    return d;
}

std::ostream& write_hex::operator()(std::ostream& os) const {
    if (data.is_null()) return os;
    const istr shown = clipped(data);
    {
        const HexFormat format(os);
        for (unsigned long i = 0; i < shown.size(); ++i) {
            if (i != 0) os << ' ';
            writeByte(os, shown[i]);
        }
    }
    writeOmitted(os, data.size(), shown.size());
    return os;
}

dumper& hexdata::operator()(dumper& d) const {
    const write_hex line(data);
    if (d.compact()) return line(d);
    const dump_hex<show_printable> table(data);
    table(d.internal_stream());
    return d;
}

std::ostream& hexdata::operator()(std::ostream& os) const {
    const write_hex line(data);
    return line(os);
}

dump_hex_base::~dump_hex_base() = default;

std::ostream& dump_hex_base::operator()(std::ostream& os) const {
    const istr shown = clipped(data);
    os << "\n        00 01 02 03 04 05 06 07 08 09 0A 0B 0C 0D 0E 0F  0123456789ABCDEF" << '\n'
       << std::string(73, '-');
    const HexFormat format(os);
    for (unsigned long offset = 0; !data.is_null() && offset < shown.size(); offset += kColumns) {
        writeOffset(os, offset);
        writeRow(os, *this, shown.substr(offset, kColumns));
    }
    if (data.size() > shown.size()) {
        writeOffset(os, shown.size() / kColumns * kColumns);
        // Deliberate (compatibility): only here, the size is hexadecimal.
        os << kOmitted << data.size() << '>';
    }
    return os;
}

dumper& operator<<(dumper& d, const Current& frame) {
    const dumper::_Entry entry(d, "qor::Current");
    d.member("_v.file()", frame.file());
    d.member("_v.line()", frame.line());
    d.member("_v.func()", frame.func());
    return d.member("_v.prefix()", frame.prefix());
}

dumper& operator<<(dumper& d, const CallStack& stack) {
    const dumper::_Entry entry(d, "qor::CallStack");
    d.member("_v.container()", stack.container());
    return d.member("_v.separator()", stack.separator());
}

}  // namespace qor
