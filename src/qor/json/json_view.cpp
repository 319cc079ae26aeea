#include "qor/json/json_view.h"

#include <algorithm>

#include "json/flat_tree.h"

namespace qor::json {

namespace {

// The cast is safe: views make only changes to a tree that several threads may make at the same
// time.
FlatTree& treeOf(const NodeTree* tree) noexcept {
    return const_cast<FlatTree&>(static_cast<const FlatTree&>(*tree));
}

}  // namespace

unsigned long JsonView::size() const {
    if (isObject()) return members().size();
    if (!isArray()) return 0;
    if (!node_->load().isDeep()) return node_->size - 1;
    const JsonElements all = elements();
    return static_cast<unsigned long>(std::distance(all.begin(), all.end()));
}

JsonView JsonView::at(unsigned long i) const noexcept {
    if (!isArray()) return {};
    if (!node_->load().isDeep())
        return i < node_->size - 1UL ? JsonView(tree_, node_ + 1 + i) : JsonView();
    for (const JsonView& element : elements()) {
        if (i-- == 0) return element;
    }
    return {};
}

JsonView JsonView::child(istr key) const noexcept {
    if (!isObject()) return {};
    if (key.is_null()) key = istr();
    const Node* found = nullptr;
    for (const Node *at = node_ + 1, *const end = node_ + node_->size; at != end;) {
        if (at->size == key.size() && tree_->textOf(*at) == key) found = at + 1;
        at += 1 + at[1].load().span();
    }
    return found != nullptr ? ofMember(tree_, found) : JsonView();
}

const JsonView& JsonView::operator>>(std::string& target) const {
    JsonConversion::read(*this, target);
    return *this;
}

const JsonView& JsonView::operator>>(std::wstring& target) const {
    JsonConversion::read(*this, target);
    return *this;
}

const JsonView& JsonView::operator>>(Bytes& target) const {
    JsonConversion::read(*this, target);
    return *this;
}

const JsonView& JsonView::operator>>(Time& target) const {
    JsonConversion::read(*this, target);
    return *this;
}

String JsonView::encode(bool pretty, bool skipNull, int level) const {
    const JsonFormatter formatter(nullptr, pretty, skipNull, level);
    if (isNull()) return formatter.toString();
    return formatter.toString(treeOf(tree_), index());
}

JsonView JsonDocument::root() const noexcept {
    if (root_.get() == nullptr) return {};
    const FlatTree* const tree = root_->block()->tree;
    return {tree, tree->nodes};
}

JsonMembers::JsonMembers(const NodeTree* tree, const Node* object)
    : tree_(tree), isListed_(object->load().isDeep()) {
    FlatTree& shapes = treeOf(tree);
    const auto i = static_cast<ulong32>(object - tree->nodes);
    first_ = isListed_ ? tree->nodes : object + 2;
    const Shape& shape = isListed_ ? shapes.shapeOf(i, values_) : shapes.shapeOfShallow(i);
    places_ = shape.places();
    size_ = shape.size();
}

JsonView JsonMembers::child(istr key) const noexcept {
    if (key.is_null()) key = istr();
    const ulong32* const end = places_ + size_;
    const ulong32* const place = std::lower_bound(
        places_, end, key, [this](ulong32 at, istr wanted) { return member(at).key < wanted; });
    if (place == end) return {};
    const JsonMember found = member(*place);
    return found.key == key ? found.value : JsonView();
}

}  // namespace qor::json
