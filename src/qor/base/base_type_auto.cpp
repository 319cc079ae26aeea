#include "qor/base/base_type_auto.h"

#include <algorithm>

namespace qor {

namespace {

// The names of the blocks in the leak table.
template <class Char>
struct Names;

template <>
struct Names<char> {
    static constexpr const char* construct = "qor::CharBuffer::CharBuffer";
    static constexpr const char* destroy = "qor::CharBuffer::~CharBuffer";
    static constexpr const char* autoPtr = "qor::AutoPtr<char>::~AutoPtr";
};

template <>
struct Names<wchar_t> {
    static constexpr const char* construct = "qor::WcharBuffer::WcharBuffer";
    static constexpr const char* destroy = "qor::WcharBuffer::~WcharBuffer";
    static constexpr const char* autoPtr = "qor::AutoPtr<wchar_t>::~AutoPtr";
};

template <class Char>
Char* allocate(unsigned long capacity) {
    return checkedNewArray<Char>(__FILE__, __LINE__, Names<Char>::construct, capacity);
}

}  // namespace

template <class T>
AutoPtr<T>::~AutoPtr() {
    checkedDeleteArray(ptr_, __FILE__, __LINE__, Names<T>::autoPtr);
}

template <class Char>
ulong32 buffer_base<Char>::checkedSize(unsigned long n) {
    if (n >= npos32 - 1UL) throw std::bad_alloc();
    return static_cast<ulong32>(n + 1);
}

template <class Char>
buffer_base<Char>::buffer_base(ulong32 capacity, Zeroed)
    : data_(allocate<Char>(capacity)), capacity_(capacity) {
    std::fill_n(data_, capacity, Char());
}

template <class Char>
buffer_base<Char>::buffer_base(const buffer_base& other)
    : data_(other.data_ != nullptr ? allocate<Char>(other.capacity_) : nullptr),
      capacity_(other.capacity_) {
    if (data_ != nullptr) std::copy_n(other.data_, capacity_, data_);
}

template <class Char>
buffer_base<Char>::buffer_base(const View& text)
    : capacity_(checkedSize(text.empty() ? 0 : text.size())) {
    data_ = allocate<Char>(capacity_);
    if (text.empty()) {
        *data_ = Char();
    } else {
        std::copy_n(text.data(), capacity_, data_);
    }
}

template <class Char>
buffer_base<Char>::~buffer_base() {
    checkedDeleteArray(data_, __FILE__, __LINE__, Names<Char>::destroy);
}

template class AutoPtr<char>;
template class AutoPtr<wchar_t>;
template class buffer_base<char>;
template class buffer_base<wchar_t>;

}  // namespace qor
