#ifndef QOR_SRC_UTIL_BASE64_FORMS_H
#define QOR_SRC_UTIL_BASE64_FORMS_H

#include <array>
#include <cstddef>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "qor/base/base_type_bytes.h"

namespace qor::util {

inline constexpr std::string_view base64Alphabet =
    "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The value of each character. The value of "=" has no bit in the low six.
inline constexpr unsigned char base64Padding = 64, base64Foreign = 255;
inline constexpr auto base64Values = [] {
    std::array<unsigned char, 256> values{};
    values.fill(base64Foreign);
    values['='] = base64Padding;
    for (unsigned i = 0; i < base64Alphabet.size(); ++i)
        values[static_cast<unsigned char>(base64Alphabet[i])] = static_cast<unsigned char>(i);
    return values;
}();
constexpr unsigned char base64Value(char c) noexcept {
    return base64Values[static_cast<unsigned char>(c)];
}

// An implementation of the conversion of text without line ends, padding and other foreign
// characters. All implementations give the same results.
struct Base64Form {
    const char* name;
    bool (*runsHere)() noexcept;  // whether this machine can run it
    // Writes 4 characters for each 3 bytes. A short last group is filled with zeros.
    void (*encode)(const unsigned char* in, std::size_t n, char* out) noexcept;
    // Decodes groups of four characters up to the first group that is incomplete or has a character
    // that is not in the alphabet, and returns the number of characters decoded. There must be room
    // for 3 bytes for each group that begins in the text; all of it may be overwritten.
    std::size_t (*decode)(const char* in, std::size_t n, unsigned char* out) noexcept;
};

// The forms that this machine can run, the fastest first.
std::span<const Base64Form> base64Forms() noexcept;

// Runs on every machine. The other forms use it for rests that are too short for them.
namespace base64_portable {
void encode(const unsigned char* in, std::size_t n, char* out) noexcept;
std::size_t decode(const char* in, std::size_t n, unsigned char* out) noexcept;
}  // namespace base64_portable

#if defined(__x86_64__)
namespace base64_avx2 {
bool runsHere() noexcept;
void encode(const unsigned char* in, std::size_t n, char* out) noexcept;
std::size_t decode(const char* in, std::size_t n, unsigned char* out) noexcept;
}  // namespace base64_avx2

namespace base64_avx512 {
bool runsHere() noexcept;
void encode(const unsigned char* in, std::size_t n, char* out) noexcept;
std::size_t decode(const char* in, std::size_t n, unsigned char* out) noexcept;
}  // namespace base64_avx512
#endif

// The whole conversion by a form; see Base64.
void base64Encode(const Base64Form& form, std::span<const unsigned char> data, std::string& out,
                  bool lineBreak);
void base64Decode(const Base64Form& form, istr text, Bytes& out);
void base64Decode(const Base64Form& form, istr text, std::vector<unsigned char>& out);

}  // namespace qor::util

#endif  // QOR_SRC_UTIL_BASE64_FORMS_H
