#ifndef QOR_TESTS_SUPPORT_TERMINAL_H
#define QOR_TESTS_SUPPORT_TERMINAL_H

#include <iostream>
#include <sstream>
#include <streambuf>

#include "qor/base/interface.h"

namespace support {

// Replaces standard input and output: the test writes the one and reads the other.
class Terminal : qor::noncopyable {
public:
    Terminal() : out_(std::cout.rdbuf(output.rdbuf())), in_(std::cin.rdbuf(input.rdbuf())) {}
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
