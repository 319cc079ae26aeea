// Reads an address book from a text file, carries it through nbr and other formats, and shows an
// entry.

#include <fstream>
#include <iostream>
#include <iterator>
#include <stdexcept>

#include "address_book.h"
#include "qor/base/base_type_convert.h"
#include "qor/base/library.h"
#include "qor/log/log_dumper.h"
#include "qor/nbr/binding.h"
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

std::size_t throughXml(const AddressBook& book) {
    qor::XMLStream out;
    qor::xml::encode(out, book);
    const qor::String text = out.str(true, 0);
    AddressBook again;
    qor::xml::decode(qor::XMLInStream(qor::istr(text)), again);
    if (!(again == book)) throw std::runtime_error("the book has changed on its way through XML");
    return text.size();
}

void run(const char* textPath, const char* nbrPath) {
    const AddressBook book = readBook(textPath);

    qor::nbr::CodecStream out;
    qor::nbr::encode(out, book);
    writeFile(nbrPath, out.str());

    AddressBook again;
    qor::nbr::decode(qor::istr(readFile(nbrPath)), again);
    if (!(again == book)) throw std::runtime_error("the book has changed on its way");

    std::cout << book.contacts.size() << " contacts from " << textPath << ", " << out.str().size()
              << " bytes in " << nbrPath << ", the same when read back\n";
    std::cout << "XML: " << throughXml(book) << " bytes, the same when read back\n";
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
