#ifndef QOR_TOOLS_COMMON_OPTIONS_H
#define QOR_TOOLS_COMMON_OPTIONS_H

#include <functional>
#include <string>
#include <string_view>
#include <vector>

namespace tools {

// One option of a tool.
struct Option {
    char letter;           // 0 for an option without a short form
    const char* name;      // without the two dashes
    const char* argument;  // the name of the argument in the help; null for an option without one
    const char* help;      // one or several lines
    std::function<void(std::string_view argument)> take;
};

// The command line of a tool, with the usual rules: "-c", "-cd2", "-d 2", "--depth 2", "--depth=2".
// "-" alone is an operand, and so are all words after "--".
class Options {
public:
    Options(const char* tool, const char* usage, const char* purpose, std::vector<Option> options,
            const char* closing = "");

    // Calls `take` of each option in the order of the command line, and returns the operands.
    // `--help` and `--version` end the parsing: answer() is then their text. Raises UsageError.
    std::vector<std::string> parse(const std::vector<std::string>& arguments);
    const std::string& answer() const noexcept { return answer_; }

    std::string help() const;

private:
    const Option& byName(std::string_view name) const;
    const Option& byLetter(char letter) const;

    const char* tool_;
    const char* usage_;
    const char* purpose_;
    std::vector<Option> options_;
    const char* closing_;
    std::string answer_;
};

// Reads a number from 0 to `most`. Raises UsageError, with the name of the option.
unsigned long parseCount(const char* option, std::string_view text, unsigned long most);
// Reads seconds from 0 to `most`, which may have a fraction. Raises UsageError.
double parseSeconds(const char* option, std::string_view text, double most);
// The index of the text in `words`. If it is not there, raises UsageError, which lists the words.
std::size_t parseChoice(const char* option, std::string_view text,
                        const std::vector<std::string_view>& words);

}  // namespace tools

#endif  // QOR_TOOLS_COMMON_OPTIONS_H
