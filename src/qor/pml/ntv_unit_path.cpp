#include "qor/pml/ntv_unit.h"

#include <algorithm>
#include <charconv>
#include <memory>
#include <string>
#include <system_error>
#include <vector>

#include "base/same_name.h"
#include "base/upward.h"

// Finding units by names, indexes and paths.

namespace qor::pml::ntv {

namespace {

// The text by which a child without a name is found: "[0]".
String indexKey(unsigned long index) {
    String text = "[";
    text += std::to_string(index);
    text += ']';
    return text;
}

// The index of such a key; npos for any other text.
unsigned long indexOfKey(istr key) noexcept {
    if (key.size() < 3 || key[0] != '[' || key[key.size() - 1] != ']') return npos;
    const char* const first = key.begin() + 1;
    const char* const last = key.end() - 1;
    unsigned long index = 0;
    const auto [end, error] = std::from_chars(first, last, index);
    const bool canonical = *first != '0' || last - first == 1;
    return error == std::errc() && end == last && canonical ? index : npos;
}

}  // namespace

String Unit::key() const {
    return foundByName() ? name_ : indexKey(index_);
}

Unit* Unit::byIndexIn(const ListValue& list, unsigned long count, istr key) noexcept {
    const unsigned long index = indexOfKey(key);
    const bool is = index < count && !list.units_[index]->foundByName();
    return is ? list.units_[index] : nullptr;
}

Unit* Unit::searchIn(const ListValue& list, unsigned long count, istr name) noexcept {
    for (unsigned long i = 0; i < count; ++i) {
        Unit* const unit = list.units_[i];
        if (isSameName(unit->name_, name) && !unit->nameTaken_) return unit;
    }
    return nullptr;
}

// The comparisons of a search, in the file of the search so that they are inlined.
bool Unit::ByName::operator()(const Unit* left, istr right) const noexcept {
    return istr(left->name_) < right;
}

bool Unit::ByName::operator()(istr left, const Unit* right) const noexcept {
    return left < istr(right->name_);
}

Unit* Unit::findChild(istr name) const noexcept {
    const ListValue* const list = listValue();
    if (list == nullptr || name.empty()) return nullptr;
    if (Unit* const unit = byIndexIn(*list, list->size(), name)) return unit;
    return findNamed(name);
}

Unit* Unit::findNamed(istr name) const noexcept {
    const ListValue* const list = listValue();
    if (list == nullptr || name.empty()) return nullptr;
    if (children_ == nullptr) return searchIn(*list, list->size(), name);
    const auto found = children_->find(name);
    return found != children_->end() ? *found : nullptr;
}

Unit* Unit::at(istr name) const {
    // A const unit gives access to its tree, as its list does.
    if (name.empty() || name == ".") return const_cast<Unit*>(this);
    if (name == "/") return root();
    if (name == "..") return parent_;
    return findChild(name);
}

Unit* Unit::at(const unsigned char* begin, const unsigned char* end) const {
    return at(reinterpret_cast<const char*>(begin), reinterpret_cast<const char*>(end));
}

Unit* Unit::at(istr name) {
    if (Unit* const present = findChild(name)) return present;
    std::unique_ptr<Unit> child(new (__FILE__, __LINE__, "qor::pml::ntv::Unit::at") Unit(name));
    // In a list the name is known to be new.
    if (ListValue* const list = listValue()) {
        appendNew(*list, child.get());
    } else {
        append(makeList(), child.get());
    }
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
    const auto nameUpTo = [&path](const char* end) {
        return path.next(static_cast<unsigned long>(end - path.begin()));
    };
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

}  // namespace qor::pml::ntv
