#include "xml/pool.h"

#include <new>

#include "xml/node.h"

namespace qor::xml {

namespace {

constexpr Arena::Names kNames = {"qor::xml::Pool::take", "qor::xml::Pool::~Pool"};

}  // namespace

std::unique_ptr<XMLNode> Pool::create(const ParsedText& name, std::size_t estimate) {
    constexpr std::size_t kHead = sizeof(XMLNode) + sizeof(Pool);
    constexpr const char* kMaker = "qor::XMLParser::parse";
    auto* const block = static_cast<char*>(newBlock(kHead + estimate, kMaker));
    auto* const root = reinterpret_cast<XMLNode*>(block);
    Pool* const pool =
        ::new (block + sizeof(XMLNode)) Pool(*root, block + kHead, block + blockSize(block));
    try {
        return std::unique_ptr<XMLNode>(::new (block) XMLNode(name, pool));
    } catch (...) {
        pool->~Pool();
        deleteBlock(block, kMaker);
        throw;
    }
}

Pool::Pool(XMLNode& root, char* memory, char* end) noexcept
    : Arena(kNames, memory, end), root_(root) {}

Pool::~Pool() {
    if (!isPlain()) return;
    for (const Remembered* look = remembered_; look != nullptr; look = look->previous)
        look->node->dropLooks();
}

}  // namespace qor::xml
