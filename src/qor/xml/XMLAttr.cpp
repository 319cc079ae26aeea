#include "qor/xml/XMLAttr.h"

#include <new>
#include <ostream>

#include "qor/log/log_dumper.h"
#include "xml/attr_map.h"
#include "xml/escape.h"
#include "xml/pool.h"

namespace qor {

template class CreateByAllocate<null_attr>;

XMLAttr& XMLAttr::operator=(const XMLAttr& other) {
    String newValue = other.value_;
    String newName = other.name_;
    rename(newName);
    value_.swap(newValue);
    node_ = other.node_;
    return *this;
}

void XMLAttr::name(istr text) {
    String newName(text);
    rename(newName);
}

// A failure changes nothing.
void XMLAttr::rename(String& newName) {
    if (key_ == &name_ && newName != name_) key_ = new String(name_);
    name_.swap(newName);
}

const XMLAttr& XMLAttr::null() {
    return *CreateByAllocate<null_attr>::instance();
}

void XMLAttr::destroy_null() noexcept {
    CreateByAllocate<null_attr>::destroy();
}

String XMLAttr::str() const {
    String text;
    appendTo(text);
    return text;
}

void XMLAttr::appendTo(String& out) const {
    if (name_.empty()) return;
    out += ' ';
    out += name_;
    out.append("=\"", 2);
    xml::appendEscaped(out, value_);
    out += '"';
}

dumper& XMLAttr::dump(dumper& d) const {
    return d.raw(str());
}

std::ostream& operator<<(std::ostream& os, const XMLAttr& attr) {
    return os << attr.str();
}

bool XMLAttrMap::ByName::operator()(const XMLAttr* left, const XMLAttr* right) const noexcept {
    return *left->key_ < *right->key_;
}

bool XMLAttrMap::ByName::operator()(const XMLAttr* left, istr right) const noexcept {
    return istr(*left->key_) < right;
}

bool XMLAttrMap::ByName::operator()(istr left, const XMLAttr* right) const noexcept {
    return left < istr(*right->key_);
}

void XMLAttrMap::Release::operator()(XMLAttrMap* map) const noexcept {
    const bool ofPool = map->ofPool_;
    map->~XMLAttrMap();
    if (!ofPool) deleteBlock(map, "qor::XMLNode::clearAttrs");
}

XMLAttrMap::Owner XMLAttrMap::create(xml::Pool*) {
    return Owner(::new (newBlock(sizeof(XMLAttrMap), "qor::XMLNode::addAttr")) XMLAttrMap(false));
}

XMLAttrMap::~XMLAttrMap() {
    ulong32 ofPool = sizeOfPool();
    for (XMLAttr* attr = first_; attr != nullptr;) {
        XMLAttr* const removed = std::exchange(attr, attr->next_);
        if (ofPool != 0) {
            --ofPool;
            removed->XMLAttr::~XMLAttr();
        } else {
            checkedDelete(removed, __FILE__, __LINE__, "qor::XMLNode::clearAttrs");
        }
    }
}

const XMLAttr* XMLAttrMap::listedFurther(unsigned long position) const noexcept {
    if (position >= listed()) return nullptr;
    if (extra_ != nullptr) return extra_->order[position];
    XMLAttr* attr = first_;
    for (; position != 0; --position)
        attr = attr->next_;
    return attr;
}

XMLAttr* XMLAttrMap::search(istr name) const noexcept {
    return search(name, markOf(name));
}

XMLAttr* XMLAttrMap::searchIndex(istr name) const noexcept {
    const auto found = extra_->index.find(name);
    return found != extra_->index.end() ? *found : nullptr;
}

const XMLAttr* XMLAttrMap::after(const XMLAttr* at) const noexcept {
    if (size_ > kSearched) {
        const Index& index = extra_->index;
        const auto next = at != nullptr ? index.upper_bound(istr(*at->key_)) : index.begin();
        return next != index.end() ? *next : nullptr;
    }
    const XMLAttr* next = nullptr;
    for (const XMLAttr* attr = first_; attr != nullptr; attr = attr->next_) {
        const bool isAfter = at == nullptr || *at->key_ < *attr->key_;
        if (isAfter && (next == nullptr || *attr->key_ < *next->key_)) next = attr;
    }
    return next;
}

XMLAttr& XMLAttrMap::add(istr name, String&& value, XMLNode* node) {
    const unsigned long long mark = markOf(name);
    if (XMLAttr* const present = search(name, mark)) {
        note(*present, true);
        present->value_ = std::move(value);
        return *present;
    }
    auto* const attr =
        checkedNew<XMLAttr>(__FILE__, __LINE__, "qor::XMLNode::addAttr", name, istr(), node);
    attr->key_ = &attr->name_;
    attr->value_ = std::move(value);
    try {
        note(*attr, false);
    } catch (...) {
        checkedDelete(attr, __FILE__, __LINE__, "qor::XMLNode::addAttr");
        throw;
    }
    append(*attr);
    ++heapSize_;
    marks_ = ofPool_ ? kAllMarks : marks_ | mark;
    return *attr;
}

// `present`: the attribute is in the map already; otherwise it will be appended next. If an
// exception is raised, nothing is changed.
void XMLAttrMap::note(XMLAttr& attr, bool present) {
    if (extra_ == nullptr && !present && size_ < kSearched) return;
    if (extra_ == nullptr) extra_ = listAll();
    marks_ = kAllMarks;
    Order& order = extra_->order;
    if (order.size() == order.capacity()) order.reserve(2 * order.size());
    if (!present && size_ >= kSearched) index(attr);
    order.push_back(&attr);
}

std::unique_ptr<XMLAttrMap::Extra> XMLAttrMap::listAll() const {
    auto extra = std::make_unique<Extra>();
    for (XMLAttr* attr = first_; attr != nullptr; attr = attr->next_)
        extra->order.push_back(attr);
    return extra;
}

void XMLAttrMap::index(XMLAttr& attr) {
    Index& index = extra_->index;
    if (index.empty()) {
        Index all;
        for (XMLAttr* each = first_; each != nullptr; each = each->next_)
            all.insert(each);
        index.swap(all);
    }
    index.insert(&attr);
}

void XMLAttrMap::belongTo(XMLNode* node) noexcept {
    for (XMLAttr* attr = first_; attr != nullptr; attr = attr->next_)
        attr->node_ = node;
}

}  // namespace qor
