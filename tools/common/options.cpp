#include "common/options.h"

#include <algorithm>
#include <charconv>
#include <locale>
#include <sstream>
#include <system_error>
#include <utility>

#include "common/failure.h"
#include "qor/base/library.h"

namespace tools {

namespace {

constexpr std::size_t kHelpColumn = 27;

void addHelp(std::string& out, const Option& option) {
    std::string line = "  ";
    line += option.letter != 0 ? std::string{'-', option.letter, ',', ' '} : "    ";
    line += std::string("--") + option.name;
    if (option.argument != nullptr) line += std::string("=") + option.argument;
    // If the option is long, its help begins on the next line.
    if (line.size() + 2 > kHelpColumn) {
        out += line + '\n';
        line.clear();
    }
    std::istringstream help(option.help);
    for (std::string part; std::getline(help, part);) {
        line.resize(kHelpColumn, ' ');
        out += line + part + '\n';
        line.clear();
    }
}

}  // namespace

Options::Options(const char* tool, const char* usage, const char* purpose,
                 std::vector<Option> options, const char* closing)
    : tool_(tool),
      usage_(usage),
      purpose_(purpose),
      options_(std::move(options)),
      closing_(closing) {
    options_.push_back(
        {'h', "help", nullptr, "show this help", [this](std::string_view) { answer_ = help(); }});
    options_.push_back({'V', "version", nullptr, "show the version", [this](std::string_view) {
                            answer_ = std::string(tool_) + " (qor) " QOR_TOOLS_VERSION "\n";
                        }});
}

std::string Options::help() const {
    std::string text = std::string("usage: ") + tool_ + ' ' + usage_ + '\n' + purpose_ + "\n\n";
    for (const Option& option : options_)
        addHelp(text, option);
    return text + closing_;
}

const Option& Options::byName(std::string_view name) const {
    const auto found = std::find_if(options_.begin(), options_.end(),
                                    [name](const Option& option) { return option.name == name; });
    if (found == options_.end()) throw UsageError("unknown option --" + std::string(name));
    return *found;
}

const Option& Options::byLetter(char letter) const {
    const auto found = std::find_if(
        options_.begin(), options_.end(),
        [letter](const Option& option) { return letter != 0 && option.letter == letter; });
    if (found == options_.end()) throw UsageError(std::string("unknown option -") + letter);
    return *found;
}

std::vector<std::string> Options::parse(const std::vector<std::string>& arguments) {
    std::vector<std::string> operands;
    const auto argumentAt = [&](std::size_t i, const Option& option) -> std::string_view {
        if (i == arguments.size()) {
            throw UsageError(std::string("--") + option.name + " needs " + option.argument);
        }
        return arguments[i];
    };
    for (std::size_t i = 0; i < arguments.size() && answer_.empty(); ++i) {
        const std::string_view word = arguments[i];
        if (word == "--") {
            operands.insert(operands.end(), arguments.begin() + static_cast<std::ptrdiff_t>(i) + 1,
                            arguments.end());
            break;
        }
        if (word.size() < 2 || word[0] != '-') {
            operands.emplace_back(word);
        } else if (word[1] == '-') {
            const std::size_t equals = word.find('=');
            const Option& option = byName(word.substr(2, equals - 2));
            const bool given = equals != word.npos;
            if (option.argument == nullptr && given) {
                throw UsageError(std::string("--") + option.name + " takes no argument");
            }
            if (option.argument == nullptr) {
                option.take({});
            } else {
                option.take(given ? word.substr(equals + 1) : argumentAt(++i, option));
            }
        } else {
            for (std::size_t at = 1; at < word.size(); ++at) {
                const Option& option = byLetter(word[at]);
                if (option.argument == nullptr) {
                    option.take({});
                    continue;
                }
                const std::string_view rest = word.substr(at + 1);
                option.take(rest.empty() ? argumentAt(++i, option) : rest);
                break;
            }
        }
    }
    return operands;
}

unsigned long parseCount(const char* option, std::string_view text, unsigned long most) {
    unsigned long value = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), value);
    if (error != std::errc() || end != text.data() + text.size() || value > most) {
        throw UsageError(std::string("--") + option + " takes a number from 0 to " +
                         std::to_string(most) + ", not " + std::string(text));
    }
    return value;
}

double parseSeconds(const char* option, std::string_view text, double most) {
    double value = 0;
    std::istringstream in{std::string(text)};
    in.imbue(std::locale::classic());
    const bool isNumber =
        in >> std::noskipws >> value && in.peek() == std::istringstream::traits_type::eof();
    if (!isNumber || !(value >= 0 && value <= most)) {
        throw UsageError(std::string("--") + option + " takes seconds, not " + std::string(text));
    }
    return value;
}

std::size_t parseChoice(const char* option, std::string_view text,
                        const std::vector<std::string_view>& words) {
    const auto found = std::find(words.begin(), words.end(), text);
    if (found != words.end()) return static_cast<std::size_t>(found - words.begin());
    std::string list;
    for (const std::string_view word : words)
        list += (list.empty() ? "" : ", ") + std::string(word);
    throw UsageError(std::string("--") + option + " takes one of " + list + ", not " +
                     std::string(text));
}

}  // namespace tools
