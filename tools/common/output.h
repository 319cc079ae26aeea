#ifndef QOR_TOOLS_COMMON_OUTPUT_H
#define QOR_TOOLS_COMMON_OUTPUT_H

#include <string>
#include <string_view>

namespace tools {

// The role of a piece of output, which selects its colour.
enum class Role { Plain, Key, Type, Text, Number, Mark, Note, Error, Warning };

enum class ColorMode { Auto, Always, Never };
ColorMode parseColorMode(std::string_view text);

// Appends the text in a form that is safe on a terminal: anything but printable UTF-8 is shown like
// "\x1B", also characters that change the direction of writing. Line feeds and tabs are kept,
// unless `oneLine` is set.
void appendHarmless(std::string& out, std::string_view text, bool oneLine = false);

// The output of a tool: collected, and written in large pieces. On a terminal, content is made
// harmless. A failed write raises Failure.
class Output {
public:
    // Does not own the descriptor.
    Output(int descriptor, bool isTerminal, bool colors);
    // Collects all in a string that the caller owns.
    explicit Output(std::string& target) : Output(-1, false, false) { target_ = &target; }
    // The standard output, with colours by the mode, the terminal and NO_COLOR.
    static Output standard(ColorMode mode);

    bool isTerminal() const noexcept { return isTerminal_; }
    bool colors() const noexcept { return colors_; }

    // The tool's own text.
    Output& raw(std::string_view text);
    // Content of files, in the colour of its role.
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

// Writes all of it; false with errno.
bool writeAll(int descriptor, std::string_view text);

}  // namespace tools

#endif  // QOR_TOOLS_COMMON_OUTPUT_H
