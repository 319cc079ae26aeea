// Printf: for a form of any bytes, with any characters that begin and end a tag, and any number of
// values, the result agrees with a simple implementation of the rules.

#include <algorithm>
#include <string>
#include <vector>

#include "qor/string/printf.h"
#include "require.h"

namespace {

using namespace qor;

// The simple implementation. A tag without an end also counts as a tag.
std::string filled(const std::string& format, char flag, char right,
                   const std::vector<std::string>& values) {
    std::string out;
    std::size_t at = 0;
    for (const std::string& value : values) {
        const std::size_t begin = std::min(format.find(flag, at), format.size());
        out += format.substr(at, begin - at) + value;
        const std::size_t last = format.find(right, begin + 1);
        at = std::min(last, format.size() - 1) + 1;
        if (begin == format.size()) at = begin;
    }
    return out + format.substr(at);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 3) return 0;
    const char flag = static_cast<char>(data[0]), right = static_cast<char>(data[1]);
    // A form ends at its first zero byte.
    if (flag == '\0' || right == '\0') return 0;
    const std::size_t count = data[2] % 8;
    std::string format(data + 3, data + size);
    format.erase(std::min(format.find('\0'), format.size()));

    const Printf text(format.c_str(), flag, '{', right);
    std::vector<std::string> values;
    for (std::size_t i = 0; i < count; ++i) {
        // Tags in values are not replaced.
        values.push_back(std::string(1, flag) + std::to_string(i) + right);
        text.replaceNext(values.back());
    }
    const std::string expected = filled(format, flag, right, values);
    require(std::string(text.str()) == expected && std::string(text.str()) == expected);
    const Printf copy(text);
    require(std::string(copy.str()) == expected);
    require(std::string(text.reset().str()) == format);
    return 0;
}
