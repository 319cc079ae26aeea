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
    const char* argument;  // how the help names its argument; null for none
    const char* help;      // may have several lines
    std::function<void(std::string_view argument)> take;
};

// The command line of a tool, by the usual rules: "-c", "-cd2", "-d 2", "--depth 2", "--depth=2"; a
// "-" alone is an operand, and so is everything after "--".
class Options {
public:
    Options(const char* tool, const char* usage, const char* purpose, std::vector<Option> options,
            const char* closing = "");

    // Runs the options' `take` in their order, and returns the operands. `--help` and `--version`
    // end the parsing: answer() then has their text. Raises UsageError.
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

// A number from 0 to `most`; raises UsageError that names the option.
unsigned long parseCount(const char* option, std::string_view text, unsigned long most);
// Seconds, with or without a fraction, from 0 to `most`.
double parseSeconds(const char* option, std::string_view text, double most);
// The place of a word among the words of an option; raises UsageError that lists them.
std::size_t parseChoice(const char* option, std::string_view text,
                        const std::vector<std::string_view>& words);

}  // namespace tools

#endif  // QOR_TOOLS_COMMON_OPTIONS_H
