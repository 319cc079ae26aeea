#ifndef QOR_NBR_STREAM_H
#define QOR_NBR_STREAM_H

#include <cstddef>
#include <iosfwd>
#include <string>
#include <utility>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_time.h"
#include "qor/base/interface.h"
#include "qor/nbr/lsd.h"
#include "qor/string/string_buffer.h"
#include "qor/util/wire_value.h"

// The streams that write and read nbr values. For user types, use qor/nbr/binding.h. Use a stream
// from one thread only.

namespace qor::nbr {

class Writer;

// Writes values to a growing buffer. If a write raises std::bad_alloc, the stream is unchanged.
class QOR_API OutputStream {
public:
    // Writes a complex value: the constructor writes its start, the destructor its end. The room
    // for the end is reserved by the constructor, so the destructor cannot fail; do not assign to
    // the stream, move from it or swap it meanwhile. A copy of the stream meanwhile has the bytes
    // so far, and writes no end.
    class [[nodiscard]] Entry : noncopyable {
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

    OutputStream() = default;
    OutputStream(const OutputStream& other) : buffer_(other.buffer_) {}
    OutputStream(OutputStream&& other) noexcept : buffer_(std::move(other.buffer_)) {}
    OutputStream& operator=(const OutputStream& other) {
        buffer_ = other.buffer_;
        return *this;
    }
    OutputStream& operator=(OutputStream&& other) noexcept {
        buffer_ = std::move(other.buffer_);
        return *this;
    }

    void operator<<(null_type) { writeRaw(0); }
    void operator<<(empty_type) { write_i(istr(), false); }
    template <WireScalar T>
    void operator<<(const T& value) {
        writeInt(qor::toWire(value));
    }
    void operator<<(const Time& value) { *this << value.toMicroSeconds(); }
    // Writes the bytes of the view. A string literal does not compile: it could be bytes or text.
    void operator<<(istr data) { write_i(data, false); }
    void operator<<(const Bytes& data) { write_i(data, false); }
    // A std::string is converted from the configured code page to UTF-8, and marked as text. Wide
    // text is not marked.
    void operator<<(const std::string& text);
    void operator<<(iwstr text);
    void operator<<(const std::wstring& text) { *this << iwstr(text); }
    void operator<<(const wchar_t* text) { *this << iwstr(text); }

    // All bytes written. Valid until the next write.
    istr str() const noexcept { return buffer_; }
    void swap(OutputStream& other) noexcept;
    // Removes all bytes and keeps the capacity.
    void reset() { buffer_.size(0); }

    dumper& dump(dumper& d) const;

    // Its destructor removes the bytes that were written since its construction, unless dismiss()
    // was called.
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
    friend class CodecRun;

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
    unsigned long reserved_ = 0;  // for the ends of the open entries of this object
};

// Reads a parsed tree.
class QOR_API InputStream : noncopyable {
public:
    // A node of a tree, which is not owned and may be null.
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

    // Null if the data had no value.
    ValueBase* get() const noexcept { return value_; }
    // The last item with this tag; null if there is none, or if the value is null or simple.
    ValueBase* getChild(unsigned char tag) const noexcept;
    // Null if there is no value. Raises DecodeException if the value is complex.
    SimpleValue* getSimpleValue() const;

    dumper& dump(dumper& d) const;

private:
    friend class Reader;
    friend class CodecRun;

    InputStream(ValueBase* value, unsigned depth) : depth_(depth), value_(value) {}

    bool owned_ = false;
    unsigned depth_ = 0;    // nesting depth of the object
    ulong32 expected_ = 0;  // the item that a codec is likely to read next
    ValueBase* value_ = nullptr;
};

// A codec passes the names of its type to these. nbr has only tags and ignores them.
struct CodecHooks {
    void enter(istr, istr, istr, istr) noexcept {}
    void leave() noexcept {}
    void enterSuper() noexcept {}
    void leaveSuper() noexcept {}
};

// A stream that either writes or reads, so that one codec serves both directions.
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

// Runs a codec on a stream of the caller: while it exists, its CodecStream has that stream's
// content.
class QOR_API CodecRun : noncopyable {
public:
    explicit CodecRun(OutputStream& os);
    // Raises DecodeException if objects are nested deeper than kMaxDepth, including runs that a
    // codec has started itself.
    explicit CodecRun(InputStream& is);
    ~CodecRun();
    CodecStream& stream() noexcept { return stream_; }

private:
    void exchange(OutputStream& os) noexcept;

    CodecStream stream_;
    OutputStream* os_ = nullptr;
    InputStream* is_ = nullptr;
    unsigned depth_ = 0;  // from the input stream
    unsigned outer_ = 0;  // of the enclosing run
};

// The base of types that are written and read through a reference to this class. The codec writes
// and reads the whole value, including the Entry: see runCodec.
class QOR_API CodecInterface : public virtual Interface {
public:
    virtual void codec(CodecStream& s) = 0;

    // Appends to the stream. If an exception is raised, the stream is unchanged.
    void encode(OutputStream& os) const;
    // A stream without a value leaves the object unchanged.
    void decode(InputStream& is);
};

// Written to a stream or a dumper, shows an encoded buffer as a tree.
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
