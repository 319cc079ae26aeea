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

// The memory of a parsed tree: its nodes and attributes, until the root is destroyed. One thread
// parses or changes the tree at a time; remember() is called with the lock of the lists and maps.
class Pool : public Arena {
public:
    // Makes the root, its pool and the pool's first memory, of `estimate` bytes or more, in one
    // block. Deleting the root releases the pool.
    static std::unique_ptr<XMLNode> create(const ParsedText& name, std::size_t estimate);

    Pool(XMLNode& root, char* memory, char* end) noexcept;
    ~Pool();

    const XMLNode& root() const noexcept { return root_; }

    // In a plain tree the nodes and attributes own nothing outside the pool, except for the lists
    // and maps of children of remembered nodes. So the destructors of the nodes need not be called.
    // Whoever gives a node or an attribute something else to own calls touch() first.
    bool isPlain() const noexcept { return plain_.load(std::memory_order_relaxed); }
    void touch() noexcept { plain_.store(false, std::memory_order_relaxed); }

    // The pool's destructor releases the node's list and map of children if the tree is plain.
    void remember(const XMLNode& node) { remembered_ = make<Remembered>(&node, remembered_); }

private:
    struct Remembered {
        const XMLNode* node;
        Remembered* previous;
    };

    XMLNode& root_;
    // No tree is plain if the standard library's strings store less than a short text in place.
    std::atomic<bool> plain_{std::string().capacity() >= ParsedText::kBlock};
    Remembered* remembered_ = nullptr;
};

}  // namespace qor::xml

#endif  // QOR_SRC_XML_POOL_H
