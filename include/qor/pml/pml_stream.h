#ifndef QOR_PML_PML_STREAM_H
#define QOR_PML_PML_STREAM_H

#include <iosfwd>

#include "qor/base/interface.h"
#include "qor/pml/ntv_unit.h"
#include "qor/pml/pml_parser.h"
#include "qor/pml/pml_writer.h"

// The stream through which user types reach pml; qor/pml/pml_T.h has the fields of their codecs.

namespace qor::pml {

// Selects the constructor and the operation that read a file.
struct from_file {};
// A name, for operator[].
struct name_id {
    istr name;
};

// A tree, and the direction of a codec: in an output stream each field adds a child, in an input
// stream fields look up children by name. A default stream is an output stream. It belongs to one
// thread at a time.
class QOR_API stream {
public:
    stream() = default;
    // An input stream over a copy of the unit.
    explicit stream(const ntv::Unit& unit) : unit_(unit), direction_(kInput) {}
    // Input streams; raise as `from` does.
    stream(istr text, bool valueString);
    stream(iwstr text, bool valueString);
    stream(istr filename, from_file tag, bool valueString);
    // A copy has a tree of its own.
    stream(const stream& other);
    stream& operator=(const stream& other);
    ~stream() = default;

    // Parse into the unit, which is cleared first: a document, or only the content of a unit for a
    // value string. A missing file, or a directory, leaves the tree empty and is not reported.
    // Raise DecodeException and ntv::DuplicatedUnitException as ntvFromPml does, and keep the
    // complete units then. Raise std::bad_alloc if memory runs out: the unit is then empty, or
    // unchanged if the file was not opened yet. So without an exception the tree is complete.
    void from(istr text, bool valueString);
    void from(iwstr text, bool valueString);
    void from(istr filename, from_file tag, bool valueString);
    // Copies each child of the other stream whose name `has` does not find here, and so never one
    // without a name.
    void combine(const stream& other);

    void setAsInputStream() const noexcept { direction_ = kInput; }
    void setAsOutputStream(bool allNesessary = false) const noexcept {
        direction_ = kOutput;
        allNesessary_ = allNesessary;
    }
    bool isInputStream() const noexcept { return direction_ == kInput; }
    bool isOutputStream() const noexcept { return direction_ == kOutput; }
    // Stored, and nothing else.
    bool allNesessary() const noexcept { return allNesessary_; }
    void allNesessary(bool on) noexcept { allNesessary_ = on; }

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
    // With names, types and values: FORMATTED or COMPACT.
    String toPml(bool formatted) const;

    // Whether Unit::find finds something.
    bool has(istr path) const { return unit().find(path) != nullptr; }
    // No such child, or one without a value or with empty text.
    bool isEmptyChild(istr name) const;
    // As in Unit: a const stream returns null() for a missing child, another one creates it.
    const ntv::Unit& operator[](istr name) const { return unit()[name]; }
    const ntv::Unit& operator[](const name_id& id) const { return unit()[id.name]; }
    ntv::Unit& operator[](istr name) { return unit()[name]; }
    ntv::Unit& operator[](const name_id& id) { return unit()[id.name]; }

    // Called by a codec: sets the type of a unit without a type, and the name of one without a
    // name.
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
    ntv::Unit* target_ = &unit_;  // that of another stream for a nested object
    unsigned depth_ = 0;          // of the object in those around it
};

// The greatest depth of nested objects that are read. Each level uses the stack of one codec.
inline constexpr unsigned kMaxDepth = 500;

// A stream over a unit of another stream, for the codec of an object inside another one. The unit
// is not copied.
class QOR_API part_stream {
public:
    // For output.
    explicit part_stream(ntv::Unit& unit);
    // For input; the unit is not changed. Raises DecodeException beyond kMaxDepth.
    part_stream(const ntv::Unit& unit, const stream& around);
    stream& get() noexcept { return stream_; }

private:
    stream stream_;
};

// The base of types that are carried through a pointer.
class QOR_API PmlCodecInterface : public virtual Interface {
public:
    virtual void codec(stream& s) = 0;
};

// Write the unit as its own operators do.
QOR_API std::ostream& operator<<(std::ostream& os, const stream& s);
QOR_API String& operator<<(String& out, const stream& s);
// Copy type and value from one unit to the other, and keep the target's name. The second one
// returns true.
QOR_API ntv::Unit& operator<<(ntv::Unit& unit, const stream& s);
QOR_API bool operator>>(const ntv::Unit& unit, stream& s);

}  // namespace qor::pml

#endif  // QOR_PML_PML_STREAM_H
