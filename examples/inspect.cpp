// Shows what a file holds, a message in nbr or a tree in pml, JSON or XML, or what a directory
// holds. Converts an address book from one format to another.

#include <algorithm>
#include <fstream>
#include <iostream>
#include <iterator>
#include <memory>
#include <stdexcept>
#include <string>
#include <string_view>
#include <vector>

#include "address_book.h"
#include "qor/base/base_type_bytes.h"
#include "qor/json/json_T.h"
#include "qor/log/log_dumper.h"
#include "qor/nbr/binding.h"
#include "qor/nbr/parser.h"
#include "qor/pml/pml_T.h"
#include "qor/util/directory.h"
#include "qor/xml/xml_T.h"

namespace {

using qor::pml::ShowMode;
using qor::pml::ShowPattern;

constexpr const char* kUsage =
    "usage: inspect [--compact] FILE                    what it holds\n"
    "       inspect --pml LAYOUT PARTS FILE             a tree in pml\n"
    "       inspect --tree DIRECTORY                    its entries, as pml\n"
    "       inspect --convert BOOK OTHER                an address book to another format\n"
    "A file is pml, JSON or XML if its name ends in .pml, .json or .xml, and otherwise a message\n"
    "in nbr, or its hexadecimal text. The name of a book ends in one of these or in .nbr. LAYOUT\n"
    "is compact, simple, mixed or formatted; PARTS are some of p, n, t and v: the paths, names,\n"
    "types and values.\n";

struct UsageError {};

std::string readFile(const std::string& path) {
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

void showMessage(const std::string& path, bool compact) {
    const qor::Bytes data = bytesOf(readFile(path));
    const std::unique_ptr<qor::nbr::ValueBase> value(qor::nbr::parser::from(data));
    if (value == nullptr) throw std::runtime_error("no value in it");
    qor::dumper d(std::cout, compact);
    value->dump(d);
    d.nl();
}

ShowMode layoutOf(std::string_view name) {
    constexpr std::string_view kNames[] = {"compact", "simple", "mixed", "formatted"};
    const auto found = std::find(std::begin(kNames), std::end(kNames), name);
    if (found == std::end(kNames)) throw UsageError();
    return ShowMode(static_cast<int>(found - std::begin(kNames)) + ShowMode::COMPACT);
}

ShowPattern patternOf(std::string_view parts) {
    ShowPattern pattern(ShowPattern::NONE);
    for (const char part : parts) {
        switch (part) {
            case 'p':
                pattern.show_path(true);
                break;
            case 'n':
                pattern.show_name(true);
                break;
            case 't':
                pattern.show_type(true);
                break;
            case 'v':
                pattern.show_value(true);
                break;
            default:
                throw UsageError();
        }
    }
    return pattern;
}

void showTree(const std::string& path, ShowMode layout, ShowPattern pattern) {
    if (!qor::pml::format(qor::pml::File(path), std::cout, layout, pattern)) {
        throw std::runtime_error("cannot read it");
    }
    std::cout << '\n';
}

void showDirectory(const std::string& path) {
    const std::wstring name = qor::String(path).toWstring();
    if (qor::Directory::isDirectory(name) != 1) throw std::runtime_error("no directory");
    std::cout << qor::Directory(name).files() << '\n';
}

void showPml(const std::string& path, bool compact) {
    showTree(path, compact ? ShowMode::COMPACT : ShowMode::FORMATTED, ShowPattern::ALL);
}

void showJson(const std::string& path, bool compact) {
    std::cout << qor::json::JsonParser::from(readFile(path))->encode(!compact, false, 0) << '\n';
}

std::unique_ptr<qor::XMLNode> readElement(const std::string& path) {
    qor::XMLParser parser{qor::istr(readFile(path))};
    std::unique_ptr<qor::XMLNode> root(parser.release());
    if (root == nullptr) throw std::runtime_error("no element in it");
    return root;
}

void showXml(const std::string& path, bool compact) {
    std::cout << readElement(path)->str(!compact, 0) << '\n';
}

AddressBook readNbr(const std::string& path) {
    AddressBook book;
    qor::nbr::decode(qor::istr(readFile(path)), book);
    return book;
}

AddressBook readPml(const std::string& path) {
    AddressBook book;
    qor::pml::decode(qor::pml::stream(path, qor::pml::from_file(), false), book);
    return book;
}

AddressBook readJson(const std::string& path) {
    AddressBook book;
    qor::json::decode(qor::istr(readFile(path)), book);
    return book;
}

AddressBook readXml(const std::string& path) {
    const std::unique_ptr<qor::XMLNode> root = readElement(path);
    AddressBook book;
    qor::xml::decode(qor::XMLInStream(*root), book);
    return book;
}

qor::String toNbr(const AddressBook& book) {
    qor::nbr::CodecStream out;
    qor::nbr::encode(out, book);
    return qor::istr(out.str());
}

qor::String toPml(const AddressBook& book) {
    qor::pml::stream out;
    qor::pml::encode(out, book);
    return out.toPml(true);
}

qor::String toJson(const AddressBook& book) {
    qor::json::JsonOutputStream out;
    qor::json::encode(out, book);
    return out.str(true, true, 0);
}

qor::String toXml(const AddressBook& book) {
    qor::XMLStream out;
    qor::xml::encode(out, book);
    return out.str(true, 0);
}

struct Format {
    std::string_view extension;
    void (*show)(const std::string& path, bool compact);
    AddressBook (*read)(const std::string& path);
    qor::String (*write)(const AddressBook& book);
};
constexpr Format kFormats[] = {
    {".nbr", showMessage, readNbr, toNbr},
    {".pml", showPml, readPml, toPml},
    {".json", showJson, readJson, toJson},
    {".xml", showXml, readXml, toXml},
};

// Null for a name that tells none.
const Format* formatOf(const std::string& path) {
    const auto* const found =
        std::find_if(std::begin(kFormats), std::end(kFormats),
                     [&path](const Format& format) { return path.ends_with(format.extension); });
    return found != std::end(kFormats) ? found : nullptr;
}

void showFile(const std::string& path, bool compact) {
    const Format* const format = formatOf(path);
    (format != nullptr ? format->show : showMessage)(path, compact);
}

// The formats of text have six digits of a fraction, and times to the millisecond: whether that was
// enough for this book is seen when it is read again.
void convert(const std::string& from, const std::string& to) {
    const Format* const source = formatOf(from);
    const Format* const target = formatOf(to);
    if (source == nullptr || target == nullptr) throw UsageError();
    readFile(from);
    const AddressBook book = source->read(from);
    std::ofstream file(to, std::ios::binary);
    file << target->write(book);
    if (!file.flush()) throw std::runtime_error("cannot write it");
    if (!(target->read(to) == book)) throw std::runtime_error("the book has changed on its way");
    std::cout << book.contacts.size() << " contacts from " << from << " to " << to
              << ", the same when read back\n";
}

void inspect(const std::vector<std::string>& arguments) {
    const std::size_t count = arguments.size();
    const std::string first = count > 0 ? arguments.front() : std::string();
    if (count == 2 && first == "--compact") {
        showFile(arguments[1], true);
    } else if (count == 4 && first == "--pml") {
        showTree(arguments[3], layoutOf(arguments[1]), patternOf(arguments[2]));
    } else if (count == 2 && first == "--tree") {
        showDirectory(arguments[1]);
    } else if (count == 3 && first == "--convert") {
        convert(arguments[1], arguments[2]);
    } else if (count == 1 && !first.starts_with("--")) {
        showFile(first, false);
    } else {
        throw UsageError();
    }
    if (!std::cout) throw std::runtime_error("the output cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
    const std::vector<std::string> arguments(argv + 1, argv + argc);
    const char* const subject = argc > 1 ? argv[argc - 1] : "";
    try {
        inspect(arguments);
        return 0;
    } catch (const UsageError&) {
        std::cerr << kUsage;
        return 2;
    } catch (const qor::Exception& e) {
        std::cerr << "inspect: " << subject << ": " << e.msg() << '\n';
    } catch (const qor::XMLRuntimeException& e) {
        std::cerr << "inspect: " << subject << ": " << e.msg() << '\n';
    } catch (const std::exception& e) {
        std::cerr << "inspect: " << subject << ": " << e.what() << '\n';
    }
    return 1;
}
