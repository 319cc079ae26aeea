#include "qor/base/base_type_bytes.h"

#include <algorithm>
#include <functional>
#include <new>

#include "base/size.h"
#include "qor/base/mlcheck.h"

namespace qor {

namespace {

// At least n, and at least twice the present capacity if that fits into 32 bits.
unsigned long grownCapacity(unsigned long long n, unsigned long capacity) {
    return checkedSize(std::max(n, std::min(2ULL * capacity + 2, npos32 - 1ULL)));
}

}  // namespace

Bytes::Bytes(const Bytes& other) {
    alloc(std::max(other.size(), 2UL));
    assign(istr(other));
}

Bytes::Bytes(istr content, unsigned long n, unsigned char fillByte) {
    alloc(n);
    fill(fillByte);
    MemCopy(data_, content.data(), std::min<unsigned long>(content.size(), capacity_));
    size_ = capacity_;
}

Bytes& Bytes::assign(istr content) {
    // The content may be a part of this object: it is never larger than the capacity, so the block
    // is kept, and memmove allows the overlap.
    const unsigned long n = content.is_null() ? 0 : content.size();
    resize(n);
    if (n != 0) std::memmove(data_, content.data(), n);
    size_ = static_cast<ulong32>(n);
    return *this;
}

Bytes& Bytes::append(istr content) {
    if (content.empty()) return *this;
    const unsigned long long wanted = 0ULL + size() + content.size();
    if (wanted <= capacity_) {
        std::memmove(data_ + size_, content.data(), content.size());
        size_ = static_cast<ulong32>(wanted);
        return *this;
    }
    // The old block is freed after the copy, since the content may be a part of it.
    Bytes grown(grownCapacity(wanted, capacity_));
    grown.assign(istr(*this));
    grown.append(content);
    swap(grown);
    return *this;
}

void Bytes::resize(unsigned long n) {
    if (n <= capacity_) return;
    Bytes grown(grownCapacity(n, capacity_));
    grown.assign(istr(*this));
    swap(grown);
}

void Bytes::fill(unsigned char value) noexcept {
    MemSet(data_, value, capacity_);
}

void Bytes::alloc(unsigned long n) {
    if (n >= npos32) throw std::bad_alloc();
    data_ = checkedNewArray<unsigned char>(__FILE__, __LINE__, "qor::Bytes::alloc", n + 1);
    data_[n] = 0;
    capacity_ = static_cast<ulong32>(n);
}

void Bytes::free() noexcept {
    checkedDeleteArray(data_, __FILE__, __LINE__, "qor::Bytes::free");
    data_ = nullptr;
    capacity_ = size_ = 0;
}

void hexstr2bytes(istr text, Bytes& out) {
    out.append(hexstr2bytes(text));
}

Bytes hexstr2bytes(istr text) {
    if (text.empty()) return Bytes();
    const unsigned long size = (text.size() + 1) / 2;
    Bytes bytes(size);
    for (unsigned long i = 0; i < size; ++i)
        bytes[i] = hexstr2byte(text[2 * i], text[2 * i + 1]);
    bytes.size(size);
    return bytes;
}

void int2bytes(unsigned long long value, unsigned long width, Bytes& out) {
    if (width > npos32) throw std::bad_alloc();
    const unsigned long size = checkedSize(0ULL + out.size() + width);
    out.resize(size);
    for (unsigned long i = 1; i <= width; ++i, value >>= 8)
        out[size - i] = static_cast<unsigned char>(value);
    out.size(size);
}

Bytes int2bytes(unsigned long long value, unsigned long width) {
    Bytes bytes;
    int2bytes(value, width, bytes);
    return bytes;
}

}  // namespace qor
