// Conversion of any bytes in any code page to wide text and back: nothing is written beyond the end
// of the buffer, text is cut only between characters, and UTF-8 agrees with a simple decoder.

#include <algorithm>
#include <string>
#include <vector>

#include "platform/codepage.h"
#include "platform/utf8.h"
#include "require.h"

namespace {

using namespace qor::platform;

constexpr long kUtf8 = 65001;
constexpr long kPages[] = {kUtf8, 0, 437, 932, 936, 949, 950, 1200, 1252, 20866, 28591, 54936, -1};

// Buffers are heap blocks of exactly the needed size, so that a sanitizer detects access outside.
std::wstring wide(long page, const std::string& text, std::size_t room) {
    std::vector<wchar_t> out(room);
    const std::vector<char> exact(text.begin(), text.end());
    const long count = codepageToWide(page, {exact.data(), exact.size()}, out.data(), room);
    if (count < 0) return std::wstring();
    require(static_cast<std::size_t>(count) <= room);
    return std::wstring(out.data(), static_cast<std::size_t>(count));
}
std::string narrow(long page, const std::wstring& text, std::size_t room) {
    std::vector<char> out(room);
    const std::vector<wchar_t> exact(text.begin(), text.end());
    const long count = wideToCodepage(page, {exact.data(), exact.size()}, out.data(), room);
    if (count < 0) return std::string();
    require(static_cast<std::size_t>(count) <= room);
    return std::string(out.data(), static_cast<std::size_t>(count));
}

// Checks that every form that this machine can run gives the same result, with any buffer size.
void requireAlike(const std::string& text, const std::wstring& values, std::size_t room) {
    const Utf8Form& plain = utf8Forms().back();
    for (const Utf8Form& form : utf8Forms()) {
        std::vector<wchar_t> wideOut(room), plainWideOut(room);
        std::vector<char> out(room), plainOut(room);
        const Utf8Progress decoded = form.toWide(text, wideOut.data(), room);
        const Utf8Progress wanted = plain.toWide(text, plainWideOut.data(), room);
        require(decoded.read == wanted.read && decoded.written == wanted.written);
        require(std::equal(wideOut.data(), wideOut.data() + wanted.written, plainWideOut.data()));
        const Utf8Progress encoded = form.toUtf8(values, out.data(), room);
        const Utf8Progress plainly = plain.toUtf8(values, plainOut.data(), room);
        require(encoded.read == plainly.read && encoded.written == plainly.written);
        require(std::equal(out.data(), out.data() + plainly.written, plainOut.data()));
    }
}

bool isCharacter(wchar_t c) {
    return c >= 0 && c < 0x110000 && !(c >= 0xD800 && c < 0xE000);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    if (size < 2) return 0;
    const long page = kPages[data[0] % std::size(kPages)];
    const std::size_t cut = data[1];
    const std::string text(data + 2, data + size);

    const std::wstring whole = wide(page, text, text.size());
    const std::wstring part = wide(page, text, std::min(cut, text.size()));
    require(whole.starts_with(part));
    const std::size_t most = whole.size() * maxBytesPerCharacter;
    const std::string back = narrow(page, whole, most);
    require(back.starts_with(narrow(page, whole, std::min(cut, most))));
    if (page == kUtf8) {
        require(std::all_of(whole.begin(), whole.end(), isCharacter));
        // Decoded text is well-formed, so that it reads back unchanged.
        require(wide(page, back, back.size()) == whole);
    }
    // The bytes of the input as wide characters, most of which are invalid.
    std::wstring values(text.size() / sizeof(wchar_t), L'\0');
    std::copy_n(text.data(), values.size() * sizeof(wchar_t),
                reinterpret_cast<char*>(values.data()));
    const std::string stored = narrow(page, values, values.size() * maxBytesPerCharacter);
    if (page == kUtf8) {
        for (wchar_t& c : values)
            c = isCharacter(c) ? c : L'\xFFFD';
        require(wide(page, stored, stored.size()) == values);
        const std::size_t uncut = uncutSize(text, cut + 4);
        require(uncut <= std::min(cut + 4, text.size()));
        require(wide(page, text.substr(0, uncut), uncut) +
                    wide(page, text.substr(uncut), text.size()) ==
                whole);
        for (const std::size_t room : {cut, maxBytesPerCharacter * text.size()}) {
            requireAlike(text, values, room);
            requireAlike(back, whole, room);
        }
    }
    return 0;
}
