#ifndef QOR_SRC_XML_POOL_H
#define QOR_SRC_XML_POOL_H

#include <algorithm>
#include <cstddef>
#include <new>
#include <utility>

#include "qor/base/interface.h"
#include "qor/base/mlcheck.h"

namespace qor::xml {

// The memory of a parsed tree: pages that only fill up, and go at once with the root. What stands
// in them is destroyed by its owner.
class Pool : noncopyable {
public:
    explicit Pool(std::size_t firstPage) noexcept : pageSize_(firstPage) {}
    ~Pool() {
        while (pages_ != nullptr)
            release(std::exchange(pages_, pages_->previous));
    }

    // Takes over another one's pages, with what stands in them.
    void absorb(Pool& other) noexcept {
        while (other.pages_ != nullptr) {
            Page* const page = std::exchange(other.pages_, other.pages_->previous);
            page->previous = std::exchange(pages_, page);
        }
        other.next_ = other.end_ = nullptr;
    }

    // For what is aligned as pointers are.
    void* take(std::size_t size) {
        if (static_cast<std::size_t>(end_ - next_) < size) grow(size);
        return std::exchange(next_, next_ + size);
    }
    // Adds to a block if it was the last one taken, and there is room behind its end.
    bool extend(const void* end, std::size_t size) noexcept {
        if (end != next_ || static_cast<std::size_t>(end_ - next_) < size) return false;
        next_ += size;
        return true;
    }

    // Each page is three times the one before, up to a limit. So the last one has most of the
    // memory, which makes the C library keep it at hand when one tree goes and the next one comes;
    // with more pages it would be given back to the system each time.
    static constexpr std::size_t kGrowth = 3;
    static constexpr std::size_t kLargestPage = 1U << 23;

private:
    struct Page {
        Page* previous;
    };

    void grow(std::size_t size) {
        const std::size_t room = std::max(size, pageSize_);
        char* const block =
            checkedNewArray<char>(__FILE__, __LINE__, "qor::xml::Pool::grow", sizeof(Page) + room);
        pages_ = ::new (block) Page{pages_};
        next_ = block + sizeof(Page);
        end_ = next_ + room;
        pageSize_ = std::min(kGrowth * pageSize_, kLargestPage);
    }
    static void release(Page* page) noexcept {
        checkedDeleteArray(reinterpret_cast<char*>(page), __FILE__, __LINE__,
                           "qor::xml::Pool::~Pool");
    }

    char* next_ = nullptr;
    char* end_ = nullptr;
    Page* pages_ = nullptr;
    std::size_t pageSize_;
};

}  // namespace qor::xml

#endif  // QOR_SRC_XML_POOL_H
