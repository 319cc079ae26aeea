// Reads an address book from a text file, writes it to a file in each format (PREFIX.nbr and so
// on), reads each file back, and shows an entry. Or converts a book from one format to another.

#include <filesystem>
#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>
#include <string_view>

#include "address_book.h"
#include "qor/base/base_type_convert.h"
#include "qor/base/library.h"
#include "qor/json/json_T.h"
#include "qor/log/log_dumper.h"
#include "qor/nbr/binding.h"
#include "qor/pml/pml_T.h"
#include "qor/string/multi_string.h"
#include "qor/xml/xml_T.h"

namespace {

std::vector<qor::String> split(const qor::String& text, const char* separator) {
    const qor::MultiString parts(text, separator);
    return {parts.list().begin(), parts.list().end()};
}

Phone readPhone(const qor::String& text) {
    const std::vector<qor::String> parts = split(text, "/");
    if (parts.size() != 3) throw std::runtime_error("no phone: " + text);
    return {parts[0], parts[1], parts[2]};
}

// The columns in the order of the file's first line.
Contact readContact(const qor::String& line) {
    const std::vector<qor::String> columns = split(line, "\t");
    if (columns.size() != 23) throw std::runtime_error("no contact: " + line);
    auto column = columns.begin();
    Contact contact;
    contact.id.fromString(*column++);
    contact.name = *column++;
    contact.sortName = (column++)->toWstring();
    contact.group.fromString(*column++);
    contact.category.fromString(*column++);
    contact.favourite.fromString(*column++);
    contact.zone.fromString(*column++);
    contact.points.fromString(*column++);
    contact.extension.fromString(*column++);
    contact.score.fromString(*column++);
    contact.credit.fromString(*column++);
    contact.account.fromString(*column++);
    contact.latitude.fromString(*column++);
    contact.longitude.fromString(*column++);
    contact.distance.fromString(*column++);
    const std::wstring symbol = (column++)->toWstring();
    if (symbol.empty()) throw std::runtime_error("no contact: " + line);
    contact.symbol = symbol.front();
    contact.key = qor::hexstr2bytes(*column++);
    contact.born = qor::Time::fromString(*column++);
    contact.seen = qor::Time::fromString(*column++);
    if (!column->empty()) contact.email = *column;
    ++column;
    if (!column->empty()) contact.married = qor::Time::fromString(*column);
    ++column;
    for (const qor::String& label : split(*column++, ";"))
        contact.labels.insert(label);
    for (const qor::String& phone : split(*column++, ";")) {
        contact.phones.push_back(readPhone(phone));
    }
    return contact;
}

AddressBook readBook(const std::string& path) {
    std::ifstream file(path);
    // Some standard libraries read a directory as an empty file.
    if (!file || std::filesystem::is_directory(path))
        throw std::runtime_error("cannot read " + path);
    AddressBook book;
    book.title = path;
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with('#')) book.contacts.push_back(readContact(line));
    }
    if (file.bad()) throw std::runtime_error("cannot read " + path);
    return book;
}

void writeFile(const std::string& path, qor::istr data) {
    std::ofstream file(path, std::ios::binary);
    file << data;
    if (!file.flush()) throw std::runtime_error("cannot write " + path);
}

std::string readFile(const std::string& path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error("cannot read " + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

void show(const Contact& contact, bool compact) {
    qor::dumper d(std::cout, compact);
    d << contact;
    d.nl();
}

// Each format has two functions: one writes a book, the other reads it.

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
    AddressBook book;
    qor::xml::decode(qor::XMLInStream(qor::istr(readFile(path))), book);
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
    AddressBook (*read)(const std::string& path);
    qor::String (*write)(const AddressBook& book);
};
constexpr Format kFormats[] = {{".nbr", readNbr, toNbr},
                               {".pml", readPml, toPml},
                               {".json", readJson, toJson},
                               {".xml", readXml, toXml}};

// The text formats have six significant digits, and times in milliseconds. Reading the file back
// shows whether this is enough for the book.
void writeBook(const AddressBook& book, const Format& format, const std::string& path) {
    writeFile(path, format.write(book));
    if (!(format.read(path) == book)) {
        throw std::runtime_error("the book has changed on its way through " + path);
    }
}

const Format& formatOf(const std::string& path) {
    for (const Format& format : kFormats) {
        if (path.ends_with(format.extension)) return format;
    }
    throw std::runtime_error(path + " ends in none of .nbr, .pml, .json and .xml");
}

void convert(const std::string& from, const std::string& to) {
    readFile(from);
    const AddressBook book = formatOf(from).read(from);
    writeBook(book, formatOf(to), to);
    std::cout << book.contacts.size() << " contacts from " << from << " to " << to
              << ", the same when read back\n";
}

void run(const std::string& textPath, const std::string& prefix) {
    const AddressBook book = readBook(textPath);
    std::cout << book.contacts.size() << " contacts from " << textPath << '\n';

    for (const Format& format : kFormats) {
        const std::string path = prefix + std::string(format.extension);
        writeBook(book, format, path);
        std::cout << path << ": " << readFile(path).size() << " bytes, the same when read back\n";
    }
    if (book.contacts.empty()) return;
    show(book.contacts.front(), false);
    show(book.contacts.front(), true);
}

}  // namespace

int main(int argc, char** argv) {
    const bool isConversion = argc == 4 && argv[1] == std::string_view("--convert");
    if (argc != 3 && !isConversion) {
        std::cerr << "usage: contacts TEXTFILE PREFIX\n"
                     "       contacts --convert BOOK OTHER\n";
        return 2;
    }
    try {
        const qor::InitFini library("contacts", false, 0);
        if (isConversion) {
            convert(argv[2], argv[3]);
        } else {
            run(argv[1], argv[2]);
        }
        if (!std::cout) throw std::runtime_error("the output cannot be written");
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "contacts: " << e.what() << '\n';
        return 1;
    }
}
