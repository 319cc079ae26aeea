#ifndef QOR_PML_PML_STREAM_H
#define QOR_PML_PML_STREAM_H

#include <iosfwd>

#include "qor/base/interface.h"
#include "qor/pml/ntv_unit.h"
#include "qor/pml/pml_parser.h"
#include "qor/pml/pml_writer.h"

// The stream that writes and reads user types as pml. Use it through qor/pml/pml_T.h.

namespace qor::pml {

// Selects the operations that read a file.
struct from_file {};
// A name, for operator[].
struct name_id {
    istr name;
};

// A tree, and the direction of a codec: in an output stream each field adds a child, in an input
// stream each field looks up a child by its name. A default stream is an output stream. Only one
// thread at a time may use a stream.
class QOR_API stream {
public:
    stream() = default;
    // An input stream over a copy of the unit.
    explicit stream(const ntv::Unit& unit) : unit_(unit), direction_(kInput) {}
    // Input streams over a parsed text or file. They raise as `from` does.
    stream(istr text, bool valueString);
    stream(iwstr text, bool valueString);
    stream(istr filename, from_file tag, bool valueString);
    // A copy has its own copy of the tree.
    stream(const stream& other);
    stream& operator=(const stream& other);
    ~stream() = default;

    // Parse into the unit, which is cleared first: a document or, if `valueString` is true, the
    // content of a unit (see ntvFromValueString). A missing file, or a directory, gives an empty
    // tree and is not reported. Raise DecodeException and ntv::DuplicatedUnitException as
    // ntvFromPml does; the unit then has the complete units. Raise std::bad_alloc if memory runs
    // out; the unit is then empty, or unchanged if the file was not opened yet. So without an
    // exception the tree is complete.
    void from(istr text, bool valueString);
    void from(iwstr text, bool valueString);
    void from(istr filename, from_file tag, bool valueString);
    // Copies each child of `other` for whose name has() is false here and that no child has here.
    // Children without a name are never copied.
    void combine(const stream& other);

    void setAsInputStream() const noexcept { direction_ = kInput; }
    void setAsOutputStream(bool allNesessary = false) const noexcept {
        direction_ = kOutput;
        allNesessary_ = allNesessary;
    }
    bool isInputStream() const noexcept { return direction_ == kInput; }
    bool isOutputStream() const noexcept { return direction_ == kOutput; }
    // A flag for the caller; it has no effect.
    bool allNesessary() const noexcept { return allNesessary_; }
    void allNesessary(bool on) noexcept { allNesessary_ = on; }

    // In a codec that reads, use the const form: the other one gives the tree that is read, even
    // that of a const stream.
    const ntv::Unit& unit() const noexcept { return *target_; }
    ntv::Unit& unit() noexcept { return *target_; }
    const String& name() const noexcept { return unit().name(); }
    void name(istr text) { unit().name(text); }
    const String& type() const noexcept { return unit().type(); }
    void type(istr text) { unit().type(text); }
    void value(istr text) { unit().value(text); }
    void clear() noexcept { unit().clear(); }

    // As ntvToPml; toString appends.
    String str(ShowMode mode = ShowMode::FORMATTED, ShowPattern pattern = ShowPattern::ALL) const;
    bool toString(String& out, ShowMode mode = ShowMode::FORMATTED,
                  ShowPattern pattern = ShowPattern::ALL) const;
    // With names, types and values, in the FORMATTED or the COMPACT layout.
    String toPml(bool formatted) const;

    // Whether Unit::find finds a unit.
    bool has(istr path) const { return unit().find(path) != nullptr; }
    // True if there is no such child, or if its valueEmpty() is true.
    bool isEmptyChild(istr name) const;
    // As in Unit: for a missing child, the const operators return null(), the others create it. In
    // a codec that reads, it is created outside of the tree that is read.
    const ntv::Unit& operator[](istr name) const { return unit()[name]; }
    const ntv::Unit& operator[](const name_id& id) const { return unit()[id.name]; }
    ntv::Unit& operator[](istr name);
    ntv::Unit& operator[](const name_id& id) { return (*this)[id.name]; }

    // Called by a codec: sets the type and the name of the unit, unless it already has them.
    void enter(istr type, istr name, istr, istr);
    void leave() noexcept {}
    void enterSuper() noexcept {}
    void leaveSuper() noexcept {}

    dumper& dump(dumper& d) const;

private:
    friend class part_stream;
    static constexpr int kOutput = 0;
    static constexpr int kInput = 1;

    ntv::Unit unit_;
    mutable int direction_ = kOutput;
    mutable bool allNesessary_ = false;
    ntv::Unit* target_ = &unit_;  // for a nested object, a unit of another stream
    unsigned depth_ = 0;          // nesting depth of the object
};

// The largest depth of nested objects that can be read. Each level uses the stack of one codec.
inline constexpr unsigned kMaxDepth = 500;

// A stream over a unit of another stream, for the codec of a nested object. The unit is not copied
// and must outlive this object.
class QOR_API part_stream {
public:
    // For output.
    explicit part_stream(ntv::Unit& unit);
    // For input; the unit is not changed, unless through stream::unit(). Raises DecodeException
    // beyond kMaxDepth.
    part_stream(const ntv::Unit& unit, const stream& around);
    stream& get() noexcept { return stream_; }

private:
    stream stream_;
};

// The base of types that are written and read through a reference to this class.
class QOR_API PmlCodecInterface : public virtual Interface {
public:
    virtual void codec(stream& s) = 0;
};

// Write the unit as the operators of Unit do.
QOR_API std::ostream& operator<<(std::ostream& os, const stream& s);
QOR_API String& operator<<(String& out, const stream& s);
// Copy type and value from the stream's unit to `unit`, or from `unit` to the stream's unit. Names
// are unchanged. The second one returns true.
QOR_API ntv::Unit& operator<<(ntv::Unit& unit, const stream& s);
QOR_API bool operator>>(const ntv::Unit& unit, stream& s);

}  // namespace qor::pml

#endif  // QOR_PML_PML_STREAM_H
