#ifndef QOR_PML_NTV_LISTVALUE_H
#define QOR_PML_NTV_LISTVALUE_H

#include <vector>

#include "qor/pml/ntv_value.h"

namespace qor::pml::ntv {

// The list of a unit's children, which it owns.
//
// The stack use of copying, writing and deleting a tree does not depend on its depth.
class QOR_API ListValue final : public ValueBase {
public:
    using Units = std::vector<Unit*>;
    using const_iterator = Units::const_iterator;

    explicit ListValue(Unit* owner = nullptr) noexcept : ValueBase(owner, Kind::List) {}
    // Makes deep copies of all units.
    explicit ListValue(const Units& units, Unit* owner = nullptr);
    ~ListValue() override;

    ListValue& operator=(const Units& units) { return assign(units); }
    // Replaces the children by deep copies of all units. If an exception is raised, as by
    // Unit::value(ValueBase*), the children are unchanged.
    ListValue& assign(const Units& units);
    static ListValue* create(const Units& units);

    bool single() const noexcept override { return false; }
    ListValue* clone() const override;

    // Adds and owns the unit, which must have been allocated by new. If an exception is raised, as
    // by Unit::addChild or std::bad_alloc, the caller still owns it. Null is ignored.
    void push_back(Unit* unit);
    // Deletes the children.
    void clear() noexcept;
    bool empty() const noexcept { return units_.empty(); }
    unsigned long size() const noexcept { return units_.size(); }
    const Units& data() const noexcept { return units_; }
    const_iterator begin() const noexcept { return units_.begin(); }
    const_iterator end() const noexcept { return units_.end(); }
    // Beyond the end, returns null and logs an error.
    Unit* at(unsigned long index) const;

    dumper& dump(dumper& d) const override;
    // Writes each child in the FORMATTED layout, followed by a line end.
    void dump(std::ostream& os) const override;

private:
    friend class Unit;
    Unit* holder() const noexcept;
    void appendCopies(const Units& units);
    // After this call, the first few units are added without an allocation.
    void makeRoomForFirst();
    void pushBack(Unit* unit);
    void deleteUnits() noexcept;

    Units units_;
};

}  // namespace qor::pml::ntv

#endif  // QOR_PML_NTV_LISTVALUE_H
