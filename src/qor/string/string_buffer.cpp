#include "qor/string/string_buffer.h"

#include <new>
#include <utility>

#include "qor/base/mlcheck.h"
#include "qor/log/log_dumper.h"

namespace qor {

namespace {

constexpr unsigned long kLargestCapacity = npos32 - 1;

char* newBlock(unsigned long capacity, const char* func) {
    if (capacity > kLargestCapacity) throw std::bad_alloc();
    char* const block = checkedNewArray<char>(__FILE__, __LINE__, func, capacity + 1);
    block[capacity] = '\0';
    return block;
}

}  // namespace

void StringBuffer::swap(StringBuffer& other) noexcept {
    const bool internalHere = isInternal();
    const bool internalThere = other.isInternal();
    char spare[kInternalSize];
    std::memcpy(spare, internal_, kInternalSize);
    std::memcpy(internal_, other.internal_, kInternalSize);
    std::memcpy(other.internal_, spare, kInternalSize);
    std::swap(data_, other.data_);
    std::swap(max_size_, other.max_size_);
    std::swap(psize_, other.psize_);
    std::swap(gsize_, other.gsize_);
    if (internalHere) other.data_ = other.internal_;
    if (internalThere) data_ = internal_;
}

StringBuffer& StringBuffer::assign(const char* bytes, unsigned long n) {
    n = StrLen(bytes, n);
    if (n > max_size_) {
        grow(0, n, bytes);
    } else {
        if (n != 0) std::memmove(data_, bytes, n);
        data_[n] = '\0';
        psize_ = static_cast<ulong32>(n);
    }
    gsize_ = 0;
    return *this;
}

StringBuffer& StringBuffer::operator-=(unsigned char& byte) noexcept {
    unsigned long n = 1;
    read(&byte, n);
    return *this;
}

StringBuffer& StringBuffer::operator-=(StringRef& target) noexcept {
    unsigned long n = target.left();
    const char* const start = gbuf();
    read(nullptr, n);
    target.append(start, n);
    return *this;
}

dumper& StringBuffer::dump(dumper& d) const {
    dumper::_Entry entry(d, "qor::StringBuffer");
    d.member("data()", istr(data_, std::min(psize_, max_size_)));
    d.member("max_size()", max_size_);
    d.member("psize()", psize_);
    d.member("gsize()", gsize_);
    return d.member("internal_", isInternal());
}

void StringBuffer::alloc(unsigned long capacity) {
    data_ = newBlock(capacity, "qor::StringBuffer::init");
    data_[0] = '\0';
    max_size_ = static_cast<ulong32>(capacity);
}

void StringBuffer::free() noexcept {
    checkedDeleteArray(data_, __FILE__, __LINE__, "qor::StringBuffer::free");
}

StringBuffer& StringBuffer::appendSlowly(const char* bytes, unsigned long n) {
    if (bytes == nullptr) return *this;
    n = StrLen(bytes, n);
    if (n <= room()) return append(bytes, n);
    grow(psize_, n, bytes);
    return *this;
}

// Moves the first `kept` bytes to a new block with room for `more` bytes after them, and appends
// `added` unless it is null. The old storage is released last, since `added` may be a part of it.
void StringBuffer::grow(ulong32 kept, unsigned long more, const char* added) {
    if (more > kLargestCapacity - kept) throw std::bad_alloc();
    const unsigned long wanted = kept + more;
    const unsigned long capacity =
        std::max(wanted, std::min(2UL * max_size_ + 2, kLargestCapacity));
    char* const block = newBlock(capacity, "qor::StringBuffer::needMore");
    std::memcpy(block, data_, kept);
    if (added != nullptr) std::memcpy(block + kept, added, more);
    if (!isInternal()) free();
    data_ = block;
    max_size_ = static_cast<ulong32>(capacity);
    psize_ = static_cast<ulong32>(added != nullptr ? wanted : kept);
    data_[psize_] = '\0';
}

}  // namespace qor
