#include "qor/pml/ntv_unit.h"

#include <algorithm>
#include <memory>
#include <new>
#include <ostream>

#include "base/node_memory.h"
#include "pml/tree_dump.h"
#include "qor/pml/pml_writer.h"

namespace qor {
template class CreateByAllocate<pml::ntv::null_unit>;
}

namespace qor::pml::ntv {

namespace {

[[noreturn]] void raiseDuplicated(const char* func) {
    QOR_THROW(DuplicatedUnitException, func);
}

}  // namespace

Unit::Unit(istr name, istr type, ValueBase* newValue, Unit* parent) : Unit(newValue, parent) {
    name_ = name;
    type_ = type;
}

Unit::Unit(istr name, istr type, istr text, Unit* parent) : Unit(name, parent) {
    type_ = type;
    setValue(text);
}

Unit::Unit(ValueBase* newValue, Unit* parent) : Unit(parent) {
    value(newValue);
}

Unit::Unit(const Unit& other) : Unit(other.name_) {
    type_ = other.type_;
    if (other.stringValue() != nullptr) {
        setValue(other.getStringValue());
    } else if (other.value_ != nullptr) {
        std::unique_ptr<ValueBase> copy(other.value_->clone());
        std::unique_ptr<Children> children = initChildrenMap(copy.get(), true);
        replaceValue(copy.release(), std::move(children));
    }
}

Unit& Unit::operator=(const Unit& other) {
    Unit copy(other);
    // The last step that can raise; the unit is then unchanged.
    name(copy.name_);
    type_.swap(copy.type_);
    takeValueOf(copy);
    return *this;
}

Unit::~Unit() {
    dropValue();
}

const Unit& Unit::null() {
    return *CreateByAllocate<null_unit>::instance();
}

void Unit::destroy_null() noexcept {
    CreateByAllocate<null_unit>::destroy();
}

bool Unit::addChild(Unit* child) {
    if (child == nullptr) return false;
    try {
        append(makeList(), child);
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

void Unit::addChild(std::unique_ptr<Unit> child) {
    if (child == nullptr) return;
    append(makeList(), child.get());
    static_cast<void>(child.release());
}

template <class... Args>
bool Unit::addNew(const Args&... args) {
    try {
        addChild(std::unique_ptr<Unit>(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::addChild")
                                           Unit(args...)));
        return true;
    } catch (const std::bad_alloc&) {
        return false;
    }
}

bool Unit::addChild(istr name) {
    return addNew(name);
}

bool Unit::addChild(istr name, istr value) {
    return addNew(name, istr(), value);
}

bool Unit::addChild(istr name, istr type, istr value) {
    return addNew(name, type, value);
}

bool Unit::addChild(const Unit& child) {
    return addNew(child);
}

bool Unit::addOrUpdateChild(Unit* child) {
    std::unique_ptr<Unit> taken(child);
    if (child == nullptr) return false;
    if (child->name_.empty()) {
        if (!addChild(child)) return false;
        static_cast<void>(taken.release());
        return true;
    }
    if (Unit* const present = findChild(child->name_)) {
        *present = *child;
    } else {
        append(makeList(), child);
        static_cast<void>(taken.release());
    }
    return false;
}

bool Unit::updateChild(istr name, istr value) {
    return updateChild(name, istr(), value);
}

bool Unit::updateChild(istr name, istr type, istr value) {
    return addOrUpdateChild(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::updateChild")
                                Unit(name, type, value));
}

bool Unit::updateChild(const Unit& child) {
    return addOrUpdateChild(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::updateChild")
                                Unit(child));
}

bool Unit::getChild(istr name, String& value) const {
    const Unit* const child = at(name);
    if (child == nullptr) return false;
    value = child->getStringValue();
    return true;
}

unsigned long Unit::numofChildren() const noexcept {
    const ListValue* const list = listValue();
    return list != nullptr ? list->size() : 0;
}

void Unit::name(istr text) {
    if (istr(name_) == text && !nameTaken_) return;
    String newName(text);
    Unit* const holder = listAround() != nullptr ? holder_ : nullptr;
    const Unit* present = holder != nullptr ? holder->findChild(newName) : nullptr;
    // The new name may be the text of this unit's own index, and the name of a sibling.
    if (present == this) present = holder->findNamed(newName);
    Children::node_type entry;
    if (holder != nullptr) entry = leaveSiblings(*holder);
    name_.swap(newName);
    const bool before = std::exchange(nameTaken_, present != nullptr && present != this);
    if (holder == nullptr || holder->children_ == nullptr || !foundByName()) return;
    if (!entry.empty()) {
        holder->children_->insert(std::move(entry));
        return;
    }
    try {
        holder->children_->insert(this);
    } catch (...) {
        name_.swap(newName);
        nameTaken_ = before;
        throw;
    }
}

ListValue* Unit::listAround() const noexcept {
    return holder_ != nullptr ? holder_->listValue() : nullptr;
}

// Siblings are sorted by name, so a name must not change while its unit is among them.
Unit::Children::node_type Unit::leaveSiblings(Unit& holder) noexcept {
    Children* const siblings = holder.children_.get();
    if (siblings == nullptr || !foundByName()) return {};
    return siblings->extract(siblings->find(this));
}

void Unit::value(ValueBase* newValue) {
    if (newValue == value_) return;
    std::unique_ptr<ValueBase> taken(newValue);
    std::unique_ptr<Children> children = initChildrenMap(newValue);
    replaceValue(taken.release(), std::move(children));
}

void Unit::setValue(istr text) {
    if (value_ != nullptr && value_->kind_ == ValueBase::Kind::Typed) return;
    if (StringValue* const present = stringValue()) {
        present->assign(text);
        return;
    }
    // The text is copied before the list is destroyed, of which it may be a part.
    text_.emplace(text, this);
    replaceValue(&*text_);
}

ValueBase* Unit::popValue() {
    if (!text_) {
        setValueOwner(nullptr);
        children_.reset();
        return std::exchange(value_, nullptr);
    }
    auto* const text = new (__FILE__, __LINE__, "qor::pml::ntv::Unit::popValue") StringValue;
    text->data().swap(text_->data());
    dropValue();
    return text;
}

void Unit::clear() noexcept {
    if (listAround() != nullptr) leaveSiblings(*holder_);
    nameTaken_ = false;
    name_.clear();
    type_.clear();
    replaceValue(nullptr);
    parent_ = nullptr;
    index_ = 0;
}

void Unit::initValueAsList() {
    value(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::initValueAsList") ListValue);
}

Unit& Unit::operator+=(const Unit& other) {
    // By index and the number at the start, since `other` may be this unit.
    const unsigned long count = other.numofChildren();
    for (unsigned long i = 0; i < count; ++i) {
        addChild(std::unique_ptr<Unit>(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::operator+=")
                                           Unit(*other.listValue()->at(i))));
    }
    return *this;
}

bool Unit::getValue(StringValue*& target) const noexcept {
    target = stringValue();
    return target != nullptr;
}

bool Unit::getValue(ListValue*& target) const noexcept {
    target = listValue();
    return target != nullptr;
}

istr Unit::getStringValue() const noexcept {
    const StringValue* const text = stringValue();
    return text != nullptr ? istr(text->data()) : istr();
}

bool Unit::empty() const noexcept {
    return name_.empty() && type_.empty() && value_ == nullptr;
}

bool Unit::valueEmpty() const noexcept {
    return listValue() == nullptr && getStringValue().empty();
}

const Unit& Unit::chainEnd() const noexcept {
    const Unit* unit = this;
    while (unit->numofChildren() == 1)
        unit = *unit->listValue()->begin();
    return *unit;
}

bool Unit::childrenWereUnnamedList() const noexcept {
    const ListValue* const list = listValue();
    if (list == nullptr || list->size() < 2) return false;
    return std::all_of(list->begin(), list->end(), [](const Unit* child) {
        return child->name_.empty() && !child->type_.empty();
    });
}

String Unit::str(ShowMode mode, ShowPattern pattern) const {
    String text;
    toString(text, mode, pattern);
    return text;
}

bool Unit::toString(String& out, ShowMode mode, ShowPattern pattern) const {
    return ntvToPml(*this, out, mode, pattern);
}

dumper& Unit::dump(dumper& d) const {
    dumpTree(d, *this);
    return d;
}

void* Unit::operator new(std::size_t size) {
    return operator new(size, __FILE__, __LINE__, "qor::pml::ntv::Unit::Unit");
}

void* Unit::operator new(std::size_t size, const char* file, unsigned line, const char* func) {
    return newNode(size, func, file, line);
}

void Unit::operator delete(void* ptr) noexcept {
    deleteNode(ptr, "qor::pml::ntv::Unit::~Unit");
}

void Unit::operator delete(void* ptr, const char* file, unsigned line, const char* func) noexcept {
    deleteNode(ptr, func, file, line);
}

bool Unit::ByName::operator()(const Unit* left, const Unit* right) const noexcept {
    return istr(left->name_) < istr(right->name_);
}

std::unique_ptr<Unit::Children> Unit::initChildrenMap(const ValueBase* value) {
    return initChildrenMap(value, false);
}

std::unique_ptr<Unit::Children> Unit::initChildrenMap(const ValueBase* value, bool isCopy) {
    if (value == nullptr || value->kind_ != ValueBase::Kind::List) return nullptr;
    const auto& list = static_cast<const ListValue&>(*value);
    auto children = list.size() > kSearched ? std::make_unique<Children>() : nullptr;
    unsigned long index = 0;
    for (Unit* const child : list) {
        const istr name = child->name_;
        const bool taken = child->foundByName() &&
                           ((!isCopy && byIndexIn(list, index, name) != nullptr) ||
                            (children != nullptr ? !children->insert(child).second
                                                 : searchIn(list, index, name) != nullptr));
        if (taken) raiseDuplicated("qor::pml::ntv::Unit::copyIntoMap");
        child->index_ = index++;
    }
    return children;
}

void Unit::copyIntoMap(const ListValue& list, Unit* child) {
    if (children_ != nullptr) {
        if (child->foundByName()) children_->insert(child);
        return;
    }
    auto children = std::make_unique<Children>();
    for (Unit* const unit : list) {
        if (unit->foundByName()) children->insert(unit);
    }
    children_ = std::move(children);
}

void Unit::setValueOwner(Unit* owner) noexcept {
    if (value_ == nullptr) return;
    value_->owner() = owner;
    const ListValue* const list = listValue();
    if (list == nullptr) return;
    for (Unit* const child : *list)
        child->parent_ = child->holder_ = owner;
}

void Unit::dropValue() noexcept {
    if (text_ && value_ == &*text_) {
        text_.reset();
    } else {
        delete value_;
    }
    value_ = nullptr;
}

void Unit::takeValueOf(Unit& other) noexcept {
    if (other.text_) {
        String text = std::move(other.text_->data());
        other.dropValue();
        replaceValue(nullptr);
        text_.emplace(this).data() = std::move(text);
        value_ = &*text_;
    } else {
        replaceValue(std::exchange(other.value_, nullptr), std::move(other.children_));
    }
}

void Unit::replaceValue(ValueBase* newValue, std::unique_ptr<Children> children) noexcept {
    dropValue();
    value_ = newValue;
    children_ = std::move(children);
    setValueOwner(this);
}

ListValue& Unit::makeList() {
    if (ListValue* const present = listValue()) return *present;
    std::unique_ptr<ListValue> list(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::addChild")
                                        ListValue);
    if (stringValue() != nullptr) {
        std::unique_ptr<Unit> first(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::addChild") Unit);
        list->push_back(first.get());
        first.release()->takeValueOf(*this);
    } else {
        // Reserve room first, so that a scalar is not lost if memory runs out.
        list->makeRoomForFirst();
    }
    replaceValue(list.release());
    return *listValue();
}

void Unit::append(ListValue& list, Unit* child) {
    if (child->foundByName() && findChild(child->name_) != nullptr) {
        raiseDuplicated("qor::pml::ntv::Unit::copyIntoMap");
    }
    appendNew(list, child);
}

void Unit::appendNew(ListValue& list, Unit* child) {
    list.pushBack(child);
    if (list.size() > kSearched) {
        try {
            copyIntoMap(list, child);
        } catch (...) {
            list.units_.pop_back();
            throw;
        }
    }
    child->parent_ = child->holder_ = this;
    child->index_ = list.size() - 1;
}

std::ostream& operator<<(std::ostream& os, const Unit& unit) {
    ntvToFormattedPml(unit, os, ShowPattern::ALL);
    return os;
}

String& operator<<(String& out, const Unit& unit) {
    ntvToFormattedPml(unit, out, ShowPattern::ALL);
    return out;
}

}  // namespace qor::pml::ntv
