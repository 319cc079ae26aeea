#include "nbr/pool.h"

namespace qor::nbr {

namespace {

constexpr std::size_t kHandMadeMemory = 512;
constexpr Arena::Names kNames = {"qor::nbr::Pool::grow", "qor::nbr::Pool::~Pool"};

}  // namespace

Pool::Pool(char* memory, char* end, bool embedded) noexcept
    : Arena(kNames, memory, end), embedded_(embedded) {}

ComplexValue* Pool::newTree(std::size_t estimate) {
    constexpr std::size_t kHead = sizeof(ComplexValue) + sizeof(Pool);
    auto* const block =
        static_cast<char*>(newBlock(kHead + estimate, "qor::nbr::parser::parseValue"));
    Pool* const pool =
        ::new (block + sizeof(ComplexValue)) Pool(block + kHead, block + blockSize(block), true);
    return ::new (block) ComplexValue(*pool, true);
}

Pool* Pool::create() {
    auto* const block =
        static_cast<char*>(newBlock(sizeof(Pool) + kHandMadeMemory, "qor::nbr::ComplexValue::add"));
    return ::new (block) Pool(block + sizeof(Pool), block + blockSize(block), false);
}

void Pool::destroy(Pool& pool) noexcept {
    // Before a value is deleted, the values that it has adopted are moved to this list, so that no
    // deletion recurses.
    std::forward_list<ValueBase*> gone;
    gone.swap(pool.adopted_);
    while (!gone.empty()) {
        ValueBase* const value = gone.front();
        gone.pop_front();
        if (!value->simple()) {
            const auto* complex = static_cast<ComplexValue*>(value);
            if (complex->ownsPool_) {
                gone.splice_after(gone.before_begin(), complex->pool_->adopted_);
            }
        }
        delete value;
    }
    const bool embedded = pool.embedded_;
    pool.~Pool();
    if (!embedded) deleteBlock(&pool, kNames.ender);
}

}  // namespace qor::nbr
