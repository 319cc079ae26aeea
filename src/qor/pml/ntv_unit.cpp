#include "qor/pml/ntv_unit.h"

#include <algorithm>
#include <memory>
#include <new>
#include <ostream>
#include <sstream>
#include <vector>

#include "base/upward.h"
#include "pml/memory.h"
#include "pml/tree_dump.h"
#include "qor/base/base_type_convert.h"
#include "qor/pml/pml_writer.h"
#include "qor/util/base64.h"

namespace qor {
template class CreateByAllocate<pml::ntv::null_unit>;
}

namespace qor::pml::ntv {

namespace {

String indexKey(unsigned long index) {
    String text = "[";
    text += std::to_string(index);
    text += ']';
    return text;
}

std::unique_ptr<ValueBase> cloneOf(const ValueBase* value) {
    return std::unique_ptr<ValueBase>(value != nullptr ? value->clone() : nullptr);
}

template <class Shown>
Unit& setToText(Unit& unit, const Shown& shown) {
    std::ostringstream text;
    text << shown;
    return unit << istr(text.str());
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
    *this << other;
}

Unit& Unit::operator=(const Unit& other) {
    // The name last: it may be refused, and then nothing has changed.
    Unit copy(other);
    name(copy.name_);
    type_.swap(copy.type_);
    replaceValue(std::exchange(copy.value_, nullptr), copy.children_);
    return *this;
}

Unit::~Unit() {
    delete value_;
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
    if (!child->name_.empty()) {
        *at(child->name_) = *child;
        return false;
    }
    if (!addChild(child)) return false;
    static_cast<void>(taken.release());
    return true;
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

Unit* Unit::at(istr name) const {
    // A unit that is read through hands out its tree, as its list does.
    if (name.empty() || name == ".") return const_cast<Unit*>(this);
    if (name == "/") return root();
    if (name == "..") return parent_;
    const auto found = children_.find(name);
    return found != children_.end() ? found->second : nullptr;
}

Unit* Unit::at(const unsigned char* begin, const unsigned char* end) const {
    return at(reinterpret_cast<const char*>(begin), reinterpret_cast<const char*>(end));
}

Unit* Unit::at(istr name) {
    const auto found = children_.find(name);
    if (found != children_.end()) return found->second;
    std::unique_ptr<Unit> child(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::at") Unit(name));
    append(makeList(), child.get());
    return child.release();
}

Unit* Unit::childAt(unsigned long index) const {
    if (const ListValue* const list = listValue()) return list->at(index);
    upward::writeErrorLog(__FILE__, __LINE__, "qor::pml::ntv::Unit::childAt",
                          "Value was not a list.");
    return nullptr;
}

Unit* Unit::find(istr path) const {
    const Unit* unit = this;
    if (path.beginWith("/")) {
        unit = at("/");
        ++path;
    }
    const auto nameUpTo = [&path](const char* end) { return path.next(end - path.begin()); };
    while (unit != nullptr) {
        const char* const mark =
            std::find_if(path.begin(), path.end(), [](char c) { return c == '/' || c == '['; });
        const bool atEnd = mark == path.end();
        const bool atIndex = !atEnd && *mark == '[';
        unit = unit->at(nameUpTo(mark));
        if (atEnd) break;
        ++path;
        if (!atIndex || unit == nullptr) continue;
        const char* const close = std::find(path.begin(), path.end(), ']');
        unsigned long index = 0;
        if (close == path.end() || !parseNumber(nameUpTo(close), index)) return nullptr;
        ++path;
        unit = unit->childAt(index);
    }
    return const_cast<Unit*>(unit);
}

unsigned long Unit::numofChildren() const noexcept {
    const ListValue* const list = listValue();
    return list != nullptr ? list->size() : 0;
}

Unit* Unit::root() const noexcept {
    auto* unit = const_cast<Unit*>(this);
    while (unit->parent_ != nullptr)
        unit = unit->parent_;
    return unit;
}

String Unit::path() const {
    if (parent_ == nullptr) return "/";
    std::vector<const Unit*> way;
    for (const Unit* unit = this; unit->parent_ != nullptr; unit = unit->parent_)
        way.push_back(unit);
    String text;
    for (auto unit = way.rbegin(); unit != way.rend(); ++unit) {
        text += '/';
        text += (*unit)->key();
    }
    return text;
}

void Unit::name(istr text) {
    if (name_ == text) return;
    String newName(text);
    if (isAttached()) {
        Children& siblings = parent_->children_;
        Unit renamed(newName);
        renamed.index_ = index_;
        String newKey = renamed.key();
        if (!newName.empty() && siblings.contains(newKey)) {
            QOR_THROW(DuplicatedUnitException, "qor::pml::ntv::Unit::name");
        }
        auto entry = siblings.extract(key());
        entry.key().swap(newKey);
        const auto place = siblings.insert(std::move(entry));
        if (!place.inserted) place.position->second = this;
    }
    name_.swap(newName);
}

void Unit::value(ValueBase* newValue) {
    if (newValue == value_) return;
    std::unique_ptr<ValueBase> taken(newValue);
    Children children = initChildrenMap(newValue);
    replaceValue(taken.release(), children);
}

void Unit::setValue(istr text) {
    if (value_ != nullptr && value_->kind_ == ValueBase::Kind::Typed) return;
    if (StringValue* const present = stringValue()) {
        present->assign(text);
        return;
    }
    // Made before a list goes, of which the text may be a part.
    auto* const newValue =
        new (__FILE__, __LINE__, "qor::pml::ntv::Unit::setValue") StringValue(text);
    Children none;
    replaceValue(newValue, none);
}

ValueBase* Unit::popValue() noexcept {
    setValueOwner(nullptr);
    children_.clear();
    return std::exchange(value_, nullptr);
}

void Unit::clear() noexcept {
    name_.clear();
    type_.clear();
    Children none;
    replaceValue(nullptr, none);
    parent_ = nullptr;
    index_ = 0;
}

void Unit::initValueAsList() {
    value(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::initValueAsList") ListValue);
}

Unit& Unit::operator<<(istr text) {
    setValue(text);
    return *this;
}

Unit& Unit::operator<<(iwstr text) {
    Bytes utf8Text;
    wstringToUtf8(text, utf8Text);
    String encoded;
    Base64::encode(utf8Text, encoded, false);
    setValue(encoded);
    type("utf8");
    return *this;
}

Unit& Unit::operator<<(const Bytes& bytes) {
    String encoded;
    Base64::encode(bytes, encoded, false);
    setValue(encoded);
    type("base64");
    return *this;
}

Unit& Unit::operator<<(const Time& time) {
    return *this << time.toFullDateTime();
}

Unit& Unit::operator<<(const Unit& other) {
    String newType = other.type_;
    std::unique_ptr<ValueBase> copy = cloneOf(other.value_);
    Children children = initChildrenMap(copy.get());
    replaceValue(copy.release(), children);
    type_.swap(newType);
    return *this;
}

Unit& Unit::operator+=(const Unit& other) {
    // By index and count: the other unit may be this one.
    const unsigned long count = other.numofChildren();
    for (unsigned long i = 0; i < count; ++i) {
        addChild(std::unique_ptr<Unit>(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::operator+=")
                                           Unit(*other.listValue()->at(i))));
    }
    return *this;
}

bool Unit::readBool(bool& target) const noexcept {
    const istr text = getStringValue();
    if (text == "true" || text == "false") {
        target = text == "true";
        return true;
    }
    long long number = 0;
    if (!parseNumber(text, number)) return false;
    target = number != 0;
    return true;
}

bool Unit::operator>>(std::string& target) const {
    const istr text = getStringValue();
    if (text.empty()) return false;
    target.assign(std::string_view(text));
    return true;
}

bool Unit::operator>>(std::wstring& target) const {
    const istr text = getStringValue();
    if (text.empty()) return false;
    if (type_ == "utf8") {
        utf8ToWstring(Bytes(base64(text)), target);
    } else {
        ansiToWstring(text, target);
    }
    return true;
}

bool Unit::operator>>(Bytes& target) const {
    const istr text = getStringValue();
    if (text.empty()) return false;
    Base64::decode(text, target);
    return true;
}

bool Unit::operator>>(Time& target) const {
    const istr text = getStringValue();
    if (text.empty()) return false;
    try {
        target = Time::fromString(text);
        return true;
    } catch (const Exception&) {
        return false;
    }
}

bool Unit::operator>>(Unit& other) const {
    other << *this;
    return true;
}

bool Unit::getValue(StringValue*& target) const noexcept {
    target = stringValue();
    return target != nullptr;
}

bool Unit::getValue(ListValue*& target) const noexcept {
    target = listValue();
    return target != nullptr;
}

StringValue* Unit::stringValue() const noexcept {
    const bool is = value_ != nullptr && value_->kind_ == ValueBase::Kind::Text;
    return is ? static_cast<StringValue*>(value_) : nullptr;
}

ListValue* Unit::listValue() const noexcept {
    const bool is = value_ != nullptr && value_->kind_ == ValueBase::Kind::List;
    return is ? static_cast<ListValue*>(value_) : nullptr;
}

istr Unit::getStringValue() const noexcept {
    const StringValue* const text = stringValue();
    return text != nullptr ? istr(text->data()) : istr();
}

bool Unit::empty() const noexcept {
    return name_.empty() && type_.empty() && value_ == nullptr;
}

bool Unit::valueEmpty() const noexcept {
    return value_ == nullptr ||
           (value_->kind_ == ValueBase::Kind::Text && getStringValue().empty());
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
    return newNode(size, file, line, func);
}

void Unit::operator delete(void* ptr) noexcept {
    deleteNode(ptr, __FILE__, __LINE__, "qor::pml::ntv::Unit::~Unit");
}

void Unit::operator delete(void* ptr, const char* file, unsigned line, const char* func) noexcept {
    deleteNode(ptr, file, line, func);
}

String Unit::key() const {
    return name_.empty() ? indexKey(index_) : name_;
}

bool Unit::isAttached() const {
    if (parent_ == nullptr) return false;
    const auto entry = parent_->children_.find(key());
    return entry != parent_->children_.end() && entry->second == this;
}

void Unit::copyIntoMap(Children& children, Unit* child) {
    if (child->name_.empty()) {
        children.insert_or_assign(indexKey(child->index_), child);
    } else if (!children.try_emplace(child->name_, child).second) {
        QOR_THROW(DuplicatedUnitException, "qor::pml::ntv::Unit::copyIntoMap");
    }
}

Unit::Children Unit::initChildrenMap(ValueBase* value) {
    Children children;
    if (value == nullptr || value->kind_ != ValueBase::Kind::List) return children;
    unsigned long index = 0;
    for (Unit* const child : *static_cast<ListValue*>(value)) {
        child->index_ = index++;
        copyIntoMap(children, child);
    }
    return children;
}

void Unit::setValueOwner(Unit* owner) noexcept {
    if (value_ == nullptr) return;
    value_->owner() = owner;
    const ListValue* const list = listValue();
    if (list == nullptr) return;
    for (Unit* const child : *list)
        child->parent_ = owner;
}

void Unit::replaceValue(ValueBase* newValue, Children& children) noexcept {
    delete std::exchange(value_, newValue);
    children_.swap(children);
    setValueOwner(this);
}

ListValue& Unit::makeList() {
    if (ListValue* const present = listValue()) return *present;
    std::unique_ptr<ListValue> list(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::addChild")
                                        ListValue);
    Children children;
    if (StringValue* const text = stringValue()) {
        std::unique_ptr<Unit> first(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::addChild") Unit);
        copyIntoMap(children, first.get());
        list->push_back(first.get());
        Children none;
        first.release()->replaceValue(std::exchange(value_, nullptr), none);
    }
    replaceValue(list.release(), children);
    return *listValue();
}

void Unit::append(ListValue& list, Unit* child) {
    Unit* const formerParent = std::exchange(child->parent_, this);
    const unsigned long formerIndex = std::exchange(child->index_, list.size());
    try {
        list.push_back(child);
        try {
            copyIntoMap(children_, child);
        } catch (...) {
            list.units_.pop_back();
            throw;
        }
    } catch (...) {
        child->parent_ = formerParent;
        child->index_ = formerIndex;
        throw;
    }
}

std::ostream& operator<<(std::ostream& os, const Unit& unit) {
    ntvToFormattedPml(unit, os, ShowPattern::ALL);
    return os;
}

String& operator<<(String& out, const Unit& unit) {
    ntvToFormattedPml(unit, out, ShowPattern::ALL);
    return out;
}

Unit& operator<<(Unit& unit, const ShowMode& mode) {
    return setToText(unit, mode);
}

Unit& operator<<(Unit& unit, const ShowPattern& pattern) {
    return setToText(unit, pattern);
}

}  // namespace qor::pml::ntv
