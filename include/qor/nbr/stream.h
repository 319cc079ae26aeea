#ifndef QOR_NBR_STREAM_H
#define QOR_NBR_STREAM_H

#include <cstddef>
#include <iosfwd>
#include <string>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_time.h"
#include "qor/base/interface.h"
#include "qor/nbr/lsd.h"
#include "qor/string/string_buffer.h"
#include "qor/util/wire_value.h"

// The streams that write and read nbr values. qor/nbr/binding.h uses them for user types. A stream
// belongs to one thread.

namespace qor::nbr {

class Writer;

// Writes values into a growing buffer of bytes. A write that raises std::bad_alloc leaves the
// stream unchanged.
class QOR_API OutputStream {
public:
    // Writes a complex value: its start now, its end at destruction. The room for the end is
    // reserved from the start, so closing never fails; nothing may be assigned to the stream
    // meanwhile.
    class Entry : noncopyable {
    public:
        explicit Entry(OutputStream& os) : os_(os) {
            os.writeRaw(kBegin, kEnd.size());
            os.reserved_ += kEnd.size();
        }
        ~Entry() {
            os_.reserved_ -= kEnd.size();
            os_.buffer_ += kEnd;
        }

    private:
        OutputStream& os_;
    };

    // The configured code page is read here and at reset.
    OutputStream() : utf8_(wire::textIsUtf8()) {}

    void operator<<(null_type) { writeRaw(0); }
    void operator<<(empty_type) { write_i(istr(), false); }
    template <WireScalar T>
    void operator<<(const T& value) {
        writeInt(toWire(value));
    }
    void operator<<(const Time& value) { *this << value.toMicroSeconds(); }
    // A literal is refused: it could be data and text.
    void operator<<(istr data) { write_i(data, false); }
    void operator<<(const Bytes& data) { write_i(data, false); }
    // Converted from the configured code page to UTF-8; only this form has the mark of text.
    void operator<<(const std::string& text);
    void operator<<(iwstr text);
    void operator<<(const std::wstring& text) { *this << iwstr(text); }
    void operator<<(const wchar_t* text) { *this << iwstr(text); }

    // All bytes written. Valid until the next write.
    istr str() const noexcept { return buffer_; }
    void swap(OutputStream& other) noexcept;
    // Removes all bytes and keeps the capacity.
    void reset() {
        buffer_.size(0);
        utf8_ = wire::textIsUtf8();
    }

    dumper& dump(dumper& d) const;

    // Removes the bytes that were written while it lived, unless it is dismissed.
    class Rollback : noncopyable {
    public:
        explicit Rollback(OutputStream& os) noexcept : os_(&os), size_(os.buffer_.size()) {}
        ~Rollback() {
            if (os_ != nullptr) os_->buffer_.size(size_);
        }
        void dismiss() noexcept { os_ = nullptr; }

    private:
        OutputStream* os_;
        unsigned long size_;
    };

private:
    friend Writer;

    static constexpr istr kBegin{"\xFF\x01(", 3};
    static constexpr istr kEnd{"\xFF\x01)", 3};

    void writeInt(WireNumber number) {
        buffer_.needMore(reserved_ + wire::kMostNumber);
        finish(wire::store(buffer_.pbuf(), number));
    }
    void write_i(istr data, bool text) {
        data = wire::grow(buffer_, data, reserved_ + wire::kMostHeader + data.size());
        const unsigned char mark = text ? WireData::kText : WireData::kPlain;
        finish(wire::store(buffer_.pbuf(), WireData{data, mark}));
    }
    void writeRaw(istr bytes, unsigned long spare = 0) {
        buffer_.needMore(reserved_ + bytes.size() + spare);
        buffer_ += bytes;
    }
    void writeRaw(unsigned char byte) { writeRaw(istr(&byte, 1)); }
    void finish(const char* end) noexcept {
        buffer_.psize(static_cast<unsigned long>(end - buffer_.data()));
    }

    StringBuffer buffer_{0};
    unsigned long reserved_ = 0;  // for the ends of the open entries
    bool utf8_;
};

// Walks a parsed tree.
class QOR_API InputStream : noncopyable {
public:
    // A node of a tree that it does not own, or null.
    explicit InputStream(ValueBase* value) : value_(value) {}
    explicit InputStream(std::nullptr_t) {}
    // Parses and owns the tree, whose leaves are views of the data. Raises DecodeException.
    explicit InputStream(istr data);
    // As parser::from with a tag.
    InputStream(istr data, unsigned char tag);
    ~InputStream() {
        if (owned_) delete value_;
    }

    void swap(InputStream& other) noexcept;

    // Null if the data held no value.
    ValueBase* get() const noexcept { return value_; }
    // Null if there is no value, if it is simple, and for a tag that it does not have.
    ValueBase* getChild(unsigned char tag) const noexcept;
    // Null if there is no value; DecodeException for a complex one.
    SimpleValue* getSimpleValue() const;

    dumper& dump(dumper& d) const;

private:
    friend class Reader;
    friend class CodecRun;

    InputStream(ValueBase* value, unsigned depth) : depth_(depth), value_(value) {}

    // First, since reading the code page may raise, and then there is nothing to delete yet.
    bool utf8_ = wire::textIsUtf8();
    bool owned_ = false;
    unsigned depth_ = 0;    // of the object in those around it
    ulong32 expected_ = 0;  // the item that a codec is likely to read next
    ValueBase* value_ = nullptr;
};

// The type's names, given by a codec. nbr has tags and ignores them.
struct CodecHooks {
    void enter(istr, istr, istr, istr) noexcept {}
    void leave() noexcept {}
    void enterSuper() noexcept {}
    void leaveSuper() noexcept {}
};

// One object for both directions, so that one codec serves both.
class QOR_API CodecStream : public CodecHooks {
public:
    // For writing.
    CodecStream() : encoding_(true), bis_(nullptr) {}
    // For reading: a view of the data, which must outlive the stream.
    explicit CodecStream(istr data) : encoding_(false), bis_(data) {}

    bool encoding() const noexcept { return encoding_; }
    InputStream& bis() noexcept { return bis_; }
    OutputStream& bos() noexcept { return bos_; }
    istr str() const noexcept { return bos_.str(); }

private:
    bool encoding_;
    InputStream bis_;
    OutputStream bos_;
};

// A run of a codec on a stream of the caller, which the CodecStream borrows meanwhile.
class QOR_API CodecRun : noncopyable {
public:
    explicit CodecRun(OutputStream& os);
    // Raises DecodeException if objects are nested too deeply, also by runs that a codec started
    // itself.
    explicit CodecRun(InputStream& is);
    ~CodecRun();
    CodecStream& stream() noexcept { return stream_; }

private:
    CodecStream stream_;
    OutputStream* os_ = nullptr;
    InputStream* is_ = nullptr;
    unsigned depth_ = 0;  // from the input stream
    unsigned outer_ = 0;  // of the run around this one
};

// The base of types that are carried through a pointer. Its codec writes and reads the whole value,
// the Entry around it included: see runCodec.
class QOR_API CodecInterface : public virtual Interface {
public:
    virtual void codec(CodecStream& s) = 0;

    // Appends to the stream; a failure leaves the stream as it was.
    void encode(OutputStream& os) const;
    // A stream without a value leaves the object unchanged.
    void decode(InputStream& is);
};

// Shows an encoded buffer as its tree.
struct QOR_API dump_buf {
    explicit dump_buf(const istr& encoded) noexcept : data(encoded) {}
    // Raises DecodeException.
    dumper& dump(dumper& d) const;
    istr data;
};

QOR_API std::ostream& operator<<(std::ostream& os, const OutputStream& stream);
QOR_API std::ostream& operator<<(std::ostream& os, const InputStream& stream);
QOR_API std::ostream& operator<<(std::ostream& os, const dump_buf& buffer);

}  // namespace qor::nbr

#endif  // QOR_NBR_STREAM_H
