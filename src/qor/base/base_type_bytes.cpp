#include "qor/base/base_type_bytes.h"

#include <algorithm>
#include <functional>
#include <new>

#include "qor/base/mlcheck.h"

namespace qor {

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
    // A part of this object is safe: it is never larger than the capacity, so the block stays, and
    // the copy may overlap.
    const unsigned long n = content.is_null() ? 0 : content.size();
    resize(n);
    if (n != 0) std::memmove(data_, content.data(), n);
    size_ = static_cast<ulong32>(n);
    return *this;
}

Bytes& Bytes::append(istr content) {
    if (content.empty()) return *this;
    const unsigned long wanted = size() + content.size();
    if (wanted <= capacity_) {
        std::memmove(data_ + size_, content.data(), content.size());
        size_ = static_cast<ulong32>(wanted);
        return *this;
    }
    // The old block lives until the copy is done: the content may be a part of it.
    Bytes grown(std::max(wanted, 2UL * capacity_ + 2));
    grown.assign(istr(*this));
    grown.append(content);
    swap(grown);
    return *this;
}

void Bytes::resize(unsigned long n) {
    if (n <= capacity_) return;
    Bytes grown(std::max(n, 2UL * capacity_ + 2));
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
    out.resize(out.size() + (text.size() + 1) / 2);
    for (unsigned long i = 0; i < text.size(); i += 2) {
        const char byte = static_cast<char>(hexstr2byte(text[i], text[i + 1]));
        out.append(istr(&byte, 1));
    }
}

Bytes hexstr2bytes(istr text) {
    Bytes out;
    hexstr2bytes(text, out);
    return out;
}

void int2bytes(unsigned long long value, unsigned long width, Bytes& out) {
    out.resize(out.size() + width);
    for (unsigned long i = width; i-- > 0;) {
        const char byte = i < 8 ? static_cast<char>(value >> (8 * i)) : '\0';
        out.append(istr(&byte, 1));
    }
}

Bytes int2bytes(unsigned long long value, unsigned long width) {
    Bytes out;
    int2bytes(value, width, out);
    return out;
}

}  // namespace qor
