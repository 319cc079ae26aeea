#include "qor/pml/ntv_listvalue.h"

#include <memory>
#include <ostream>

#include "base/upward.h"
#include "pml/tree_dump.h"
#include "qor/pml/ntv_unit.h"
#include "qor/pml/pml_writer.h"

namespace qor::pml::ntv {

namespace {

constexpr std::size_t kFirstCapacity = 8;

// A list that is being copied, and the next of its units.
struct Copying {
    ListValue::const_iterator next;
    ListValue::const_iterator end;
    ListValue* to;
};

}  // namespace

ListValue::ListValue(const Units& units, Unit* owner) : ListValue(owner) {
    appendCopies(units);
}

ListValue::~ListValue() {
    deleteUnits();
}

ListValue* ListValue::create(const Units& units) {
    return new (__FILE__, __LINE__, "qor::pml::ntv::ListValue::create") ListValue(units);
}

ListValue& ListValue::assign(const Units& units) {
    ListValue copies(units, owner());
    Unit* const unit = holder();
    std::unique_ptr<Unit::Children> children;
    if (unit != nullptr) children = Unit::initChildrenMap(&copies);
    units_.swap(copies.units_);
    if (unit != nullptr) unit->children_ = std::move(children);
    for (Unit* const child : units_)
        child->holder_ = unit;
    return *this;
}

// The unit whose value this list is; null if owner() was only set and the unit has another value.
Unit* ListValue::holder() const noexcept {
    Unit* const unit = owner();
    return unit != nullptr && unit->value_ == this ? unit : nullptr;
}

ListValue* ListValue::clone() const {
    auto copy = std::unique_ptr<ListValue>(
        new (__FILE__, __LINE__, "qor::pml::ntv::ListValue::clone") ListValue);
    copy->appendCopies(units_);
    return copy.release();
}

void ListValue::appendCopies(const Units& units) {
    std::vector<Copying> open{{units.begin(), units.end(), this}};
    while (!open.empty()) {
        Copying& copying = open.back();
        if (copying.next == copying.end) {
            open.pop_back();
            continue;
        }
        const Unit& unit = **copying.next++;
        std::unique_ptr<Unit> copy(new (__FILE__, __LINE__, "qor::pml::ntv::ListValue::clone")
                                       Unit(unit.name_));
        copy->type_ = unit.type_;
        copy->nameTaken_ = unit.nameTaken_;
        const ListValue* const list = unit.listValue();
        if (list != nullptr) {
            copy->makeList();
        } else if (unit.stringValue() != nullptr) {
            copy->setValue(unit.getStringValue());
        } else if (unit.value_ != nullptr) {
            copy->value(unit.value_->clone());
        }
        Unit* const added = copy.get();
        // Inside a tree the names are known to be unique.
        if (Unit* const around = copying.to->holder()) {
            around->appendNew(*copying.to, added);
        } else {
            copying.to->push_back(added);
        }
        static_cast<void>(copy.release());
        if (list != nullptr) open.push_back({list->begin(), list->end(), added->listValue()});
    }
}

void ListValue::push_back(Unit* unit) {
    if (unit == nullptr) return;
    if (Unit* const around = holder()) return around->append(*this, unit);
    pushBack(unit);
    unit->parent_ = owner();
    unit->index_ = units_.size() - 1;
}

void ListValue::pushBack(Unit* unit) {
    makeRoomForFirst();
    units_.push_back(unit);
}

void ListValue::makeRoomForFirst() {
    if (units_.empty()) units_.reserve(kFirstCapacity);
}

void ListValue::clear() noexcept {
    if (Unit* const unit = holder()) unit->children_.reset();
    deleteUnits();
}

void ListValue::deleteUnits() noexcept {
    // Units to be deleted are linked through their parent pointers, so that neither recursion nor
    // memory is needed.
    Unit* removed = nullptr;
    const auto take = [&removed](ListValue& list) noexcept {
        for (Unit* const unit : list.units_)
            unit->parent_ = std::exchange(removed, unit);
        list.units_.clear();
    };
    take(*this);
    while (removed != nullptr) {
        Unit* const unit = removed;
        removed = unit->parent_;
        if (ListValue* const list = unit->listValue()) take(*list);
        delete unit;
    }
}

Unit* ListValue::at(unsigned long index) const {
    if (index < units_.size()) return units_[index];
    upward::writeErrorLog(__FILE__, __LINE__, "qor::pml::ntv::ListValue::at",
                          "Index too large: " + std::to_string(index));
    return nullptr;
}

dumper& ListValue::dump(dumper& d) const {
    dumpTree(d, *this);
    return d;
}

void ListValue::dump(std::ostream& os) const {
    for (const Unit* const unit : units_) {
        ntvToFormattedPml(*unit, os, ShowPattern::ALL);
        os.put('\n');
    }
}

}  // namespace qor::pml::ntv
