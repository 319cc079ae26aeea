#include "nbr/pool.h"

#include <algorithm>

#include "qor/base/mlcheck.h"

namespace qor::nbr {

namespace {

constexpr std::size_t kHandMadeMemory = 512;

char* allocate(std::size_t size, const char* func) {
    void* block = ::operator new(size);
    try {
        blockAllocated(block, __FILE__, __LINE__, func);
    } catch (...) {
        ::operator delete(block);
        throw;
    }
    return static_cast<char*>(block);
}

void release(void* block) noexcept {
    blockReleased(block, __FILE__, __LINE__, "qor::nbr::Pool::~Pool");
    ::operator delete(block);
}

}  // namespace

ComplexValue* Pool::newTree(std::size_t estimate) {
    constexpr std::size_t kHead = sizeof(ComplexValue) + sizeof(Pool);
    char* const block = allocate(kHead + estimate, "qor::nbr::parser::parseValue");
    Pool* const pool =
        ::new (block + sizeof(ComplexValue)) Pool(block + kHead, block + kHead + estimate, true);
    return ::new (block) ComplexValue(*pool, true);
}

Pool* Pool::create() {
    char* const block = allocate(sizeof(Pool) + kHandMadeMemory, "qor::nbr::ComplexValue::add");
    return ::new (block) Pool(block + sizeof(Pool), block + sizeof(Pool) + kHandMadeMemory, false);
}

void Pool::destroy(Pool& pool) noexcept {
    // A value's own adopted ones join the list before it is deleted, so that no deletion goes
    // deeper than one level.
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
    if (!embedded) release(&pool);
}

Pool::~Pool() {
    while (chunks_ != nullptr)
        release(std::exchange(chunks_, chunks_->previous));
}

void Pool::grow(std::size_t size) {
    const std::size_t chunkSize = std::max(chunkSize_, size + sizeof(Chunk));
    char* const block = allocate(chunkSize, "qor::nbr::Pool::grow");
    chunks_ = ::new (block) Chunk{chunks_};
    chunkSize_ = std::min(2 * chunkSize, std::max(kLargestChunk, chunkSize_));
    next_ = block + sizeof(Chunk);
    end_ = block + chunkSize;
}

}  // namespace qor::nbr
