#ifndef QOR_SRC_XML_POOL_H
#define QOR_SRC_XML_POOL_H

#include <atomic>
#include <cstddef>
#include <memory>
#include <string>

#include "base/arena.h"
#include "qor/xml/XMLNode.h"
#include "xml/parsed_text.h"

namespace qor::xml {

// Where a parsed tree lives: its nodes and attributes, until the root is destroyed.
class Pool : public Arena {
public:
    // The root with its tree and the tree's first memory, in one block. Deleting the root frees it.
    static std::unique_ptr<XMLNode> create(const ParsedText& name, std::size_t estimate);

    Pool(XMLNode& root, char* memory, char* end) noexcept;
    ~Pool();

    const XMLNode& root() const noexcept { return root_; }

    // Whether the nodes and attributes own nothing outside the tree, but for the looks that are
    // remembered. Then they need not be destroyed.
    bool isPlain() const noexcept { return plain_.load(std::memory_order_relaxed); }
    void touch() noexcept { plain_.store(false, std::memory_order_relaxed); }

    // Has the destructor of a plain tree drop the node's list and map of children.
    void remember(const XMLNode& node) { remembered_ = make<Remembered>(&node, remembered_); }

private:
    struct Remembered {
        const XMLNode* node;
        Remembered* previous;
    };

    XMLNode& root_;
    // No tree is plain with a standard library whose strings hold less than a short text in place.
    std::atomic<bool> plain_{std::string().capacity() >= ParsedText::kBlock};
    Remembered* remembered_ = nullptr;
};

}  // namespace qor::xml

#endif  // QOR_SRC_XML_POOL_H
