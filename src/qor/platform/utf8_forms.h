#ifndef QOR_SRC_PLATFORM_UTF8_FORMS_H
#define QOR_SRC_PLATFORM_UTF8_FORMS_H

#include "platform/utf8.h"

namespace qor::platform {

// Runs on every machine. The other implementations use it for malformed text, and when the rest of
// the text or of the room is too short for them.
namespace utf8_portable {
Utf8Progress toWide(std::string_view text, wchar_t* out, std::size_t room) noexcept;
Utf8Progress toUtf8(std::wstring_view text, char* out, std::size_t room) noexcept;
}  // namespace utf8_portable

#if defined(__x86_64__)
namespace utf8_avx2 {
bool runsHere() noexcept;
Utf8Progress toWide(std::string_view text, wchar_t* out, std::size_t room) noexcept;
Utf8Progress toUtf8(std::wstring_view text, char* out, std::size_t room) noexcept;
}  // namespace utf8_avx2

namespace utf8_avx512 {
bool runsHere() noexcept;
Utf8Progress toWide(std::string_view text, wchar_t* out, std::size_t room) noexcept;
Utf8Progress toUtf8(std::wstring_view text, char* out, std::size_t room) noexcept;
}  // namespace utf8_avx512
#endif

// The state of a conversion: its position and the ends of the text and of the room.
template <class Source, class Target>
class Utf8Cursor {
public:
    Utf8Cursor(std::basic_string_view<Source> text, Target* room, std::size_t size) noexcept
        : in(text.data()),
          out(room),
          inEnd_(text.data() + text.size()),
          outEnd_(room + size),
          inBegin_(in),
          outBegin_(out) {}

    std::size_t left() const noexcept { return static_cast<std::size_t>(inEnd_ - in); }
    std::size_t room() const noexcept { return static_cast<std::size_t>(outEnd_ - out); }
    std::basic_string_view<Source> rest() const noexcept { return {in, left()}; }
    void step(std::size_t read, std::size_t written) noexcept {
        in += read;
        out += written;
    }
    void step(Utf8Progress by) noexcept { step(by.read, by.written); }
    Utf8Progress progress() const noexcept {
        return {static_cast<std::size_t>(in - inBegin_), static_cast<std::size_t>(out - outBegin_)};
    }

    // The next element to read and the next place to write.
    const Source* in;
    Target* out;

private:
    const Source* inEnd_;
    Target* outEnd_;
    const Source* inBegin_;
    Target* outBegin_;
};
using Utf8Decoding = Utf8Cursor<char, wchar_t>;
using Utf8Encoding = Utf8Cursor<wchar_t, char>;

}  // namespace qor::platform

#endif  // QOR_SRC_PLATFORM_UTF8_FORMS_H
