// Numbers: any text is read as a C++ stream reads it, and common decimals as std::strtod reads
// them.

#include <cstdlib>
#include <cstring>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

#include "base/decimal.h"
#include "qor/base/base_type_number.h"
#include "require.h"

namespace {

using namespace qor;

// A long has 32 bits.
template <class T>
struct Streamed {
    using type = T;
};
template <>
struct Streamed<long> {
    using type = int;
};
template <>
struct Streamed<unsigned long> {
    using type = unsigned;
};

template <class T>
bool isSame(T left, T right) {
    return std::memcmp(&left, &right, sizeof left) == 0;
}

template <class T>
void checkType(const std::string& text, std::istringstream& in) {
    using Narrow = typename Streamed<T>::type;
    Narrow wanted = 77;
    in.clear();
    in.str(text);
    const bool good = static_cast<bool>(in >> wanted);
    T read = 77;
    require(parseNumber(istr(text), read) == good);
    require(isSame(static_cast<Narrow>(read), wanted));
}

// Checks that a text that decimal::read accepts is a number as a whole, with the value that strtod
// gives. The text ends where its heap block ends, so that a sanitizer detects reading beyond it.
void checkDecimal(const std::vector<char>& text) {
    const std::optional<double> read = decimal::read({text.data(), text.size()});
#if defined(__SIZEOF_INT128__)
    require(decimal::read<decimal::PortableFraction>({text.data(), text.size()}) == read);
#endif
    if (!read.has_value()) return;
    const std::string terminated(text.begin(), text.end());
    char* end = nullptr;
    const double wanted = std::strtod(terminated.c_str(), &end);
    require(end == terminated.c_str() + text.size());
    require(isSame(*read, wanted));
}

// Turns the bytes into a decimal of the kind that has a fast path, which random bytes seldom are.
std::string asDecimal(const std::string& bytes) {
    std::string text;
    for (const char c : bytes.substr(0, 22))
        text += static_cast<char>('0' + static_cast<unsigned char>(c) % 10);
    if (text.size() < 2) return text;
    text.insert(1 + static_cast<unsigned char>(bytes[0]) / 10 % 7 % (text.size() - 1), 1, '.');
    return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    const std::string bytes(data, data + size);
    static std::istringstream in;
    const std::string decimal = asDecimal(bytes);
    for (const std::string& text : {bytes, decimal, '-' + decimal}) {
        checkType<short>(text, in);
        checkType<unsigned short>(text, in);
        checkType<int>(text, in);
        checkType<unsigned>(text, in);
        checkType<long>(text, in);
        checkType<unsigned long>(text, in);
        checkType<long long>(text, in);
        checkType<unsigned long long>(text, in);
#ifndef _LIBCPP_VERSION  // the streams of libc++ read numbers by other rules
        checkType<float>(text, in);
        checkType<double>(text, in);
#endif
        checkDecimal({text.begin(), text.end()});
    }
    return 0;
}
