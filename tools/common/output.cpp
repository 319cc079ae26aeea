#include "common/output.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "common/failure.h"
#include "common/options.h"

namespace tools {

namespace {

// The escape sequences of the roles, in the order of Role.
constexpr const char* kColors[] = {"", "\x1b[36m", "\x1b[35m",   "\x1b[32m", "\x1b[33m",
                                   "", "\x1b[2m",  "\x1b[1;31m", "\x1b[33m"};
constexpr std::string_view kPlain = "\x1b[0m";

// The length in bytes of the UTF-8 character at the beginning, which is not ASCII; 0 if it is
// malformed. Sets its code.
std::size_t characterLength(std::string_view text, char32_t& code) {
    const auto lead = static_cast<unsigned char>(text[0]);
    const std::size_t length = lead >= 0xF0 ? 4 : lead >= 0xE0 ? 3 : 2;
    if (lead < 0xC2 || lead > 0xF4 || text.size() < length) return 0;
    code = lead & (0x7FU >> length);
    for (std::size_t i = 1; i < length; ++i) {
        const auto byte = static_cast<unsigned char>(text[i]);
        if ((byte & 0xC0) != 0x80) return 0;
        code = code << 6 | (byte & 0x3FU);
    }
    const char32_t least = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
    const bool isSurrogate = code >= 0xD800 && code <= 0xDFFF;
    return code >= least && code <= 0x10FFFF && !isSurrogate ? length : 0;
}

// C1 controls, line separators, and the characters that change the direction of writing.
bool isHarmful(char32_t code) {
    return code < 0xA0 || (code >= 0x2028 && code <= 0x202E) ||
           (code >= 0x2066 && code <= 0x2069) || code == 0x200E || code == 0x200F || code == 0x61C;
}

void appendEscaped(std::string& out, std::string_view bytes) {
    for (const char byte : bytes) {
        char text[8];
        std::snprintf(text, sizeof text, "\\x%02X",
                      static_cast<unsigned>(static_cast<unsigned char>(byte)));
        out += text;
    }
}

}  // namespace

ColorMode parseColorMode(std::string_view text) {
    return static_cast<ColorMode>(parseChoice("color", text, {"auto", "always", "never"}));
}

void appendHarmless(std::string& out, std::string_view text, bool oneLine) {
    while (!text.empty()) {
        const char c = text[0];
        std::size_t length = 1;
        if (static_cast<unsigned char>(c) < 0x80) {
            const bool isBlank = !oneLine && (c == '\n' || c == '\t');
            if ((c >= ' ' && c != 0x7F) || isBlank) {
                out += c;
            } else {
                appendEscaped(out, text.substr(0, 1));
            }
        } else {
            char32_t code = 0;
            length = characterLength(text, code);
            if (length != 0 && !isHarmful(code)) {
                out += text.substr(0, length);
            } else {
                length = std::max<std::size_t>(length, 1);
                appendEscaped(out, text.substr(0, length));
            }
        }
        text.remove_prefix(length);
    }
}

Output::Output(int descriptor, bool isTerminal, bool colors)
    : descriptor_(descriptor), isTerminal_(isTerminal), colors_(colors) {}

Output Output::standard(ColorMode mode) {
    const bool isTerminal = isatty(STDOUT_FILENO) == 1;
    const char* const noColor = std::getenv("NO_COLOR");
    const char* const kind = std::getenv("TERM");
    const bool wanted = isTerminal && (noColor == nullptr || *noColor == '\0') &&
                        (kind == nullptr || std::strcmp(kind, "dumb") != 0);
    return {STDOUT_FILENO, isTerminal,
            mode == ColorMode::Always || (mode == ColorMode::Auto && wanted)};
}

Output& Output::raw(std::string_view text) {
    buffer_ += text;
    flushIfLarge();
    return *this;
}

Output& Output::put(Role role, std::string_view text) {
    const std::string_view color = colors_ ? kColors[static_cast<int>(role)] : "";
    buffer_ += color;
    if (isTerminal_) {
        appendHarmless(buffer_, text);
    } else {
        buffer_ += text;
    }
    if (!color.empty()) buffer_ += kPlain;
    flushIfLarge();
    return *this;
}

Output& Output::blanks(std::size_t count) {
    buffer_.append(count, ' ');
    flushIfLarge();
    return *this;
}

void Output::flush() {
    if (target_ != nullptr) {
        *target_ += buffer_;
        buffer_.clear();
        return;
    }
    const bool written = writeAll(descriptor_, buffer_);
    buffer_.clear();
    if (!written) {
        throw WriteFailure(std::string("the output cannot be written: ") + std::strerror(errno));
    }
}

bool writeAll(int descriptor, std::string_view text) {
    while (!text.empty()) {
        const ssize_t count = ::write(descriptor, text.data(), text.size());
        if (count < 0 && errno != EINTR) return false;
        if (count > 0) text.remove_prefix(static_cast<std::size_t>(count));
    }
    return true;
}

}  // namespace tools
