// Shows a file in nbr as a tree. The file holds the bytes themselves, or their text in hexadecimal.

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>

#include "qor/base/base_type_bytes.h"
#include "qor/log/log_dumper.h"
#include "qor/nbr/parser.h"

namespace {

std::string readFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    std::string content{std::istreambuf_iterator<char>(file), {}};
    if (!file) throw std::runtime_error("cannot read it");
    return content;
}

// nbr has a byte that is neither a digit nor a blank at its start.
bool isHexText(const std::string& content) {
    return std::all_of(content.begin(), content.end(),
                       [](char c) { return qor::CharIsXdigit(c) || qor::CharIsSpace(c); });
}

qor::Bytes bytesOf(const std::string& content) {
    if (!isHexText(content)) return qor::Bytes(qor::istr(content));
    std::string digits = content;
    std::erase_if(digits, [](char c) { return qor::CharIsSpace(c); });
    if (digits.size() % 2 != 0) throw std::runtime_error("an odd number of hexadecimal digits");
    return qor::hexstr2bytes(digits);
}

void inspect(const char* path, bool compact) {
    const qor::Bytes data = bytesOf(readFile(path));
    const std::unique_ptr<qor::nbr::ValueBase> value(qor::nbr::parser::from(data));
    if (value == nullptr) throw std::runtime_error("no value in it");
    qor::dumper d(std::cout, compact);
    value->dump(d);
    d.nl();
    if (!std::cout) throw std::runtime_error("the output cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
    const bool compact = argc == 3 && std::string_view(argv[1]) == "--compact";
    if (argc != 2 && !compact) {
        std::cerr << "usage: inspect [--compact] FILE\n";
        return 2;
    }
    const char* const path = argv[argc - 1];
    try {
        inspect(path, compact);
        return 0;
    } catch (const qor::Exception& e) {
        std::cerr << "inspect: " << path << ": " << e.msg() << '\n';
    } catch (const std::exception& e) {
        std::cerr << "inspect: " << path << ": " << e.what() << '\n';
    }
    return 1;
}
