// Reads an address book from a text file, carries it through each format, and shows an entry.

#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>
#include <string>

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
    contact.symbol = (column++)->toWstring().front();
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

AddressBook readBook(const char* path) {
    std::ifstream file(path);
    if (!file) throw std::runtime_error(std::string("cannot read ") + path);
    AddressBook book;
    book.title = path;
    for (std::string line; std::getline(file, line);) {
        if (!line.starts_with('#')) book.contacts.push_back(readContact(line));
    }
    return book;
}

void writeFile(const char* path, qor::istr data) {
    std::ofstream file(path, std::ios::binary);
    file << data;
    if (!file.flush()) throw std::runtime_error(std::string("cannot write ") + path);
}

std::string readFile(const char* path) {
    std::ifstream file(path, std::ios::binary);
    if (!file) throw std::runtime_error(std::string("cannot read ") + path);
    return {std::istreambuf_iterator<char>(file), {}};
}

void show(const Contact& contact, bool compact) {
    qor::dumper d(std::cout, compact);
    d << contact;
    d.nl();
}

// Each format carries the book and gives back what it has read.

AddressBook throughNbr(const AddressBook& book, std::string& text) {
    qor::nbr::CodecStream out;
    qor::nbr::encode(out, book);
    text = out.str();
    AddressBook again;
    qor::nbr::decode(qor::istr(text), again);
    return again;
}

AddressBook throughPml(const AddressBook& book, std::string& text) {
    qor::pml::stream out;
    qor::pml::encode(out, book);
    text = out.str();
    AddressBook again;
    qor::pml::decode(qor::pml::stream(qor::istr(text), false), again);
    return again;
}

AddressBook throughJson(const AddressBook& book, std::string& text) {
    qor::json::JsonOutputStream out;
    qor::json::encode(out, book);
    text = out.str(true, true, 0);
    AddressBook again;
    qor::json::decode(qor::istr(text), again);
    return again;
}

AddressBook throughXml(const AddressBook& book, std::string& text) {
    qor::XMLStream out;
    qor::xml::encode(out, book);
    text = out.str(true, 0);
    AddressBook again;
    qor::xml::decode(qor::XMLInStream(qor::istr(text)), again);
    return again;
}

void run(const char* textPath, const char* nbrPath) {
    const AddressBook book = readBook(textPath);
    std::cout << book.contacts.size() << " contacts from " << textPath << '\n';

    const struct {
        const char* name;
        AddressBook (*carry)(const AddressBook&, std::string&);
    } formats[] = {
        {"nbr", throughNbr}, {"pml", throughPml}, {"JSON", throughJson}, {"XML", throughXml}};
    for (const auto& format : formats) {
        std::string text;
        if (!(format.carry(book, text) == book))
            throw std::runtime_error(
                std::string("the book has changed on its way through ").append(format.name));
        std::cout << format.name << ": " << text.size() << " bytes, the same when read back\n";
        if (format.carry == throughNbr) writeFile(nbrPath, text);
    }

    AddressBook again;
    qor::nbr::decode(qor::istr(readFile(nbrPath)), again);
    if (!(again == book)) throw std::runtime_error("the file holds another book");
    if (book.contacts.empty()) return;
    show(again.contacts.front(), false);
    show(again.contacts.front(), true);
    if (!std::cout) throw std::runtime_error("the output cannot be written");
}

}  // namespace

int main(int argc, char** argv) {
    if (argc != 3) {
        std::cerr << "usage: contacts TEXTFILE NBRFILE\n";
        return 2;
    }
    try {
        const qor::InitFini library("contacts", false, 0);
        run(argv[1], argv[2]);
        return 0;
    } catch (const std::exception& e) {
        std::cerr << "contacts: " << e.what() << '\n';
        return 1;
    }
}
