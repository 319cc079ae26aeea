#ifndef QOR_SRC_UTIL_OUTPUT_AREA_H
#define QOR_SRC_UTIL_OUTPUT_AREA_H

#include <algorithm>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "qor/base/interface.h"
#include "util/output.h"

namespace qor::util {

// Collects bytes, at most `limit`. The first 512 are stored in the object, more in memory of
// malloc, which at least doubles when it is full: n bytes cost O(n).
class OutputArea : noncopyable {
public:
    explicit OutputArea(std::size_t limit) noexcept : limit_(limit) {}
    ~OutputArea() { std::free(heap_); }

    // Returns false, and appends nothing, if the limit would be exceeded or memory runs out.
    bool append(ByteSpan piece) noexcept {
        if (piece.empty()) return true;
        if (piece.size() > limit_ - size_ || !reserve(size_ + piece.size())) return false;
        std::memcpy(data() + size_, piece.data(), piece.size());
        size_ += piece.size();
        return true;
    }

    // Free bytes after the content: write to them, then call written(). Empty at the limit and if
    // memory runs out.
    std::span<unsigned char> room() noexcept {
        if (size_ == capacity_ && size_ < limit_) reserve(size_ + 1);
        return {data() + size_, std::min(capacity_, limit_) - size_};
    }
    void written(std::size_t n) noexcept { size_ += n; }

    ByteSpan content() const noexcept { return {heap_ != nullptr ? heap_ : first_, size_}; }

private:
    unsigned char* data() noexcept { return heap_ != nullptr ? heap_ : first_; }

    bool reserve(std::size_t n) noexcept {
        if (n <= capacity_) return true;
        const std::size_t capacity = std::max(n, std::min(2 * capacity_, limit_));
        void* const grown = std::realloc(heap_, capacity);
        if (grown == nullptr) return false;
        if (heap_ == nullptr) std::memcpy(grown, first_, size_);
        heap_ = static_cast<unsigned char*>(grown);
        capacity_ = capacity;
        return true;
    }

    const std::size_t limit_;
    unsigned char first_[512];
    unsigned char* heap_ = nullptr;
    std::size_t capacity_ = sizeof first_;
    std::size_t size_ = 0;
};

}  // namespace qor::util

#endif  // QOR_SRC_UTIL_OUTPUT_AREA_H
