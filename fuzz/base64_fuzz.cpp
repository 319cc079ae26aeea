// Base64: for any text, every implementation that this machine can run gives the result of a simple
// decoder, and encoded bytes read back unchanged.

#include <algorithm>
#include <iterator>
#include <string>
#include <vector>

#include "qor/util/base64.h"
#include "util/base64_forms.h"

namespace {

using namespace qor;

std::string plainlyDecoded(istr given) {
    std::string text;
    std::copy_if(given.begin(), given.end(), std::back_inserter(text), Base64::isBase64);
    text.append((4 - text.size() % 4) % 4, '=');
    std::string data;
    for (std::size_t i = 0; i < text.size(); i += 4) {
        std::size_t group = 0;
        for (std::size_t k = i; k < i + 4; ++k)
            group = group << 6 | (text[k] == '=' ? 0 : util::base64Alphabet.find(text[k]));
        data += static_cast<char>(group >> 16);
        if (text[i + 2] != '=') data += static_cast<char>(group >> 8);
        if (text[i + 3] != '=') data += static_cast<char>(group);
    }
    return data;
}

void check(istr given) {
    const std::string wanted = plainlyDecoded(given);
    for (const util::Base64Form& form : util::base64Forms()) {
        Bytes decoded;
        util::base64Decode(form, given, decoded);
        if (decoded != istr(wanted)) __builtin_trap();
        std::vector<unsigned char> grown;
        util::base64Decode(form, given, grown);
        if (!std::equal(grown.begin(), grown.end(), decoded.begin(), decoded.end()))
            __builtin_trap();
        for (const bool lineBreak : {false, true}) {
            std::string text;
            util::base64Encode(form,
                               {reinterpret_cast<const unsigned char*>(given.data()), given.size()},
                               text, lineBreak);
            util::base64Decode(form, text, decoded);
            if (decoded != given) __builtin_trap();
        }
    }
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    check(istr(data, size));
    // Also with a long text before the input, since the code for many characters at once does not
    // run for short inputs.
    std::string longer(size % 256, 'Q');
    longer.append(reinterpret_cast<const char*>(data), size);
    longer.append(100, 'x');
    check(longer);
    return 0;
}
