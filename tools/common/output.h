#ifndef QOR_TOOLS_COMMON_OUTPUT_H
#define QOR_TOOLS_COMMON_OUTPUT_H

#include <string>
#include <string_view>

namespace tools {

// The role of a part of the output, which selects its colour.
enum class Role { Plain, Key, Type, Text, Number, Mark, Note, Error, Warning };

enum class ColorMode { Auto, Always, Never };
ColorMode parseColorMode(std::string_view text);

// Appends the text in a form that is safe on a terminal: all bytes that are not printable UTF-8,
// and characters that change the direction of writing, are shown like "\x1B". Line feeds and tabs
// are kept, unless `oneLine` is set.
void appendHarmless(std::string& out, std::string_view text, bool oneLine = false);

// The output of a tool. It is collected in a buffer and written in large pieces. On a terminal, the
// content of files is made harmless. A failed write raises WriteFailure.
class Output {
public:
    // Does not own the descriptor.
    Output(int descriptor, bool isTerminal, bool colors);
    // Appends all output to a string that the caller owns.
    explicit Output(std::string& target, bool colors = false) : Output(-1, false, colors) {
        target_ = &target;
    }
    // The standard output. The mode decides whether it has colours; with Auto, it has colours on a
    // terminal unless the environment variable NO_COLOR is set.
    static Output standard(ColorMode mode);

    bool isTerminal() const noexcept { return isTerminal_; }
    bool colors() const noexcept { return colors_; }

    // Writes text of the tool itself, unchanged.
    Output& raw(std::string_view text);
    // Writes content of a file, in the colour of its role.
    Output& put(Role role, std::string_view text);
    Output& blanks(std::size_t count);
    void flush();

    static constexpr std::size_t kPiece = 1U << 16;

private:
    void flushIfLarge() {
        if (buffer_.size() >= kPiece) flush();
    }

    int descriptor_;
    std::string* target_ = nullptr;
    bool isTerminal_;
    bool colors_;
    std::string buffer_;
};

// Writes the whole text. Returns false on failure, with the reason in errno.
bool writeAll(int descriptor, std::string_view text);

}  // namespace tools

#endif  // QOR_TOOLS_COMMON_OUTPUT_H
