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

// The memory of a parsed tree's nodes and attributes, until the root is destroyed. Only one thread
// at a time parses or changes the tree; remember() is called with the lock of the lists and maps.
class Pool : public Arena {
public:
    // Creates the root, its pool and the pool's first memory, of `estimate` bytes or more, in one
    // block. Deleting the root releases the pool.
    static std::unique_ptr<XMLNode> create(const ParsedText& name, std::size_t estimate);

    Pool(XMLNode& root, char* memory, char* end) noexcept;
    ~Pool();

    const XMLNode& root() const noexcept { return root_; }

    // In a plain tree the nodes and attributes own nothing outside the pool, except the lists and
    // maps of remembered nodes. So the destructors of the nodes need not be called. Call touch()
    // before a node or an attribute gets something else to own.
    bool isPlain() const noexcept { return plain_.load(std::memory_order_relaxed); }
    void touch() noexcept { plain_.store(false, std::memory_order_relaxed); }

    // If the tree is plain, the pool's destructor releases the list and the map of the node's
    // children.
    void remember(const XMLNode& node) { remembered_ = make<Remembered>(&node, remembered_); }

private:
    struct Remembered {
        const XMLNode* node;
        Remembered* previous;
    };

    XMLNode& root_;
    // No tree is plain if the standard library's strings cannot store kBlock bytes without an
    // allocation.
    std::atomic<bool> plain_{std::string().capacity() >= ParsedText::kBlock};
    Remembered* remembered_ = nullptr;
};

}  // namespace qor::xml

#endif  // QOR_SRC_XML_POOL_H
