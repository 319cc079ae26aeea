// A format of any bytes, with any flag and right characters, agrees with a plain implementation of
// the rules, for any number of values.

#include <algorithm>
#include <string>
#include <vector>

#include "qor/string/printf.h"
#include "require.h"

namespace {

using namespace qor;

// The rules again, without a list of tags. A tag that is still open at the end is one too.
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
    // A zero ends a format.
    if (flag == '\0' || right == '\0') return 0;
    const std::size_t count = data[2] % 8;
    std::string format(data + 3, data + size);
    format.erase(std::min(format.find('\0'), format.size()));

    const Printf text(format.c_str(), flag, '{', right);
    std::vector<std::string> values;
    for (std::size_t i = 0; i < count; ++i) {
        // Values with flags in them are no formats.
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
