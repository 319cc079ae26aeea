#ifndef QOR_SRC_JSON_NODE_BUFFER_H
#define QOR_SRC_JSON_NODE_BUFFER_H

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <new>
#include <span>

#include "json/flat_tree.h"

namespace qor::json {

// The nodes of a tree that is being parsed. A short text needs no allocation, and a long one needs
// one or two, whose size is estimated from the number of nodes in its beginning.
class NodeBuffer : noncopyable {
public:
    explicit NodeBuffer(ulong32 textSize) noexcept : textSize_(textSize) {}

    ulong32 size() const noexcept { return static_cast<ulong32>(next_ - first_); }
    Node& operator[](ulong32 i) noexcept { return first_[i]; }
    // `read` is the number of bytes of the text before the node.
    void add(const Node& node, ulong32 read) {
        if (next_ == end_) [[unlikely]]
            grow(read);
        *next_++ = node;
    }

    // Creates a tree of all nodes and the text, in `draft` if that fits. Do not use the buffer
    // afterwards.
    FlatTree* makeTree(istr text, istr more, FlatTree::Draft& draft) {
        const auto unused = static_cast<std::size_t>(end_ - next_);
        const bool keeps = block_ != nullptr && unused <= size() / FlatTree::Draft::kUnusedPart;
        const bool drafted = draft.fits(text.size(), more.size());
        if (!keeps && !drafted) return FlatTree::make(text, more, {first_, size()});
        if (!keeps) moveTo(size());
        const std::span<Node> nodes(first_, size());
        FlatTree* const tree = drafted ? FlatTree::makeOf(draft, text.size(), more, nodes)
                                       : FlatTree::makeAround(text, more, nodes);
        block_.release();
        return tree;
    }

private:
    struct Release {
        void operator()(Node* block) const noexcept { ::operator delete(block); }
    };
    static constexpr std::size_t kMostGrowth = 16;

    void grow(ulong32 read) {
        const std::size_t count = size();
        const std::uint64_t whole = std::uint64_t(count) * textSize_ / std::max(read, ulong32(1));
        // Limited, since a text may begin with many nodes and continue with few.
        const auto expected = std::min<std::uint64_t>(whole + whole / 16 + 16, count * kMostGrowth);
        moveTo(std::max(count + count / 2, static_cast<std::size_t>(expected)));
    }
    void moveTo(std::size_t capacity) {
        const std::size_t count = size();
        std::unique_ptr<Node, Release> block(
            static_cast<Node*>(::operator new(capacity * sizeof(Node))));
        std::copy_n(first_, count, block.get());
        block_ = std::move(block);
        first_ = block_.get();
        next_ = first_ + count;
        end_ = first_ + capacity;
    }

    ulong32 textSize_;
    Node inline_[256];
    Node* first_ = inline_;
    Node* next_ = inline_;
    Node* end_ = inline_ + 256;
    std::unique_ptr<Node, Release> block_;
};

}  // namespace qor::json

#endif  // QOR_SRC_JSON_NODE_BUFFER_H
