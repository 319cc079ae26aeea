#ifndef QOR_PML_PML_TYPE_H
#define QOR_PML_PML_TYPE_H

#include "qor/pml/pml_stream.h"

namespace qor::pml {

// A place in which the text of a tree is stored. The results are true on success; malformed text
// raises as in ntvFromPml.
class QOR_API pmlType {
public:
    pmlType() = default;
    pmlType(const pmlType&) = default;
    pmlType& operator=(const pmlType&) = default;
    virtual ~pmlType();
    virtual bool fromNTV(const ntv::Unit& unit, ShowMode mode, ShowPattern pattern) = 0;
    virtual bool toNTV(ntv::Unit& unit) const = 0;
};

class QOR_API pmlString : public pmlType {
public:
    pmlString() = default;
    explicit pmlString(istr text) : data_(text) {}
    const String& data() const noexcept { return data_; }
    String& data() noexcept { return data_; }

    // Appends to the text.
    bool fromNTV(const ntv::Unit& unit, ShowMode mode, ShowPattern pattern) override;
    bool toNTV(ntv::Unit& unit) const override;

private:
    String data_;
};

class QOR_API pmlFile : public pmlType {
public:
    // If `valueString` is true, the file has the content of a unit, without its name, type and
    // parentheses.
    pmlFile(istr filename, bool valueString) : file_(filename), valueString_(valueString) {}
    const File& file() const noexcept { return file_; }

    // Always writes the whole unit, even if valueString is true.
    bool fromNTV(const ntv::Unit& unit, ShowMode mode, ShowPattern pattern) override;
    bool toNTV(ntv::Unit& unit) const override;

private:
    File file_;
    bool valueString_;
};

}  // namespace qor::pml

#endif  // QOR_PML_PML_TYPE_H
