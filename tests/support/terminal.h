#ifndef QOR_TESTS_SUPPORT_TERMINAL_H
#define QOR_TESTS_SUPPORT_TERMINAL_H

#include <iostream>
#include <sstream>

namespace support {

// Takes the place of standard input and output: the test types, and reads what is shown.
class Terminal {
public:
    Terminal() : out_(std::cout.rdbuf(output.rdbuf())), in_(std::cin.rdbuf(input.rdbuf())) {}
    Terminal(const Terminal&) = delete;
    Terminal& operator=(const Terminal&) = delete;
    ~Terminal() {
        std::cout.rdbuf(out_);
        std::cin.rdbuf(in_);
        std::cin.clear();
    }

    std::stringstream output;
    std::stringstream input;

private:
    std::streambuf* out_;
    std::streambuf* in_;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_TERMINAL_H
