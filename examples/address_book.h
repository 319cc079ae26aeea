#ifndef QOR_EXAMPLES_ADDRESS_BOOK_H
#define QOR_EXAMPLES_ADDRESS_BOOK_H

#include <set>
#include <string>
#include <vector>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/base/field.h"
#include "qor/util/optional.h"

// An address book. The codec of each class lists its fields, which is all that the formats and the
// dumper need. When you add or remove fields, never reuse a tag.

struct Phone {
    qor::String kind;
    qor::String number;
    qor::Ushort extension;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Phone", "phone", "", "");
        field(s, {"kind", 1}, kind);
        field(s, {"number", 2}, number);
        field(s, {"extension", 3}, extension);
        s.leave();
    }
    bool operator==(const Phone&) const = default;
};

struct Contact {
    qor::Ulong id;
    qor::String name;
    std::wstring sortName;
    qor::Byte group;
    qor::Char category;
    qor::Bit favourite;
    qor::Sbyte zone;  // quarters of an hour
    qor::Short points;
    qor::Ushort extension;
    qor::Long score;
    qor::Longlong credit;  // cents
    qor::Ulonglong account;
    qor::Float latitude;
    qor::Float longitude;
    qor::Double distance;  // kilometres
    qor::Wchar symbol;
    qor::Bytes key;
    qor::Time born;
    qor::Time seen;
    qor::Optional<qor::String> email;
    qor::Optional<qor::Time> married;
    std::set<qor::String> labels;
    std::vector<Phone> phones;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Contact", "contact", "", "");
        field(s, {"id", 1}, id);
        field(s, {"name", 2}, name);
        field(s, {"sortName", 3}, sortName);
        field(s, {"group", 4}, group);
        field(s, {"category", 5}, category);
        field(s, {"favourite", 6}, favourite);
        field(s, {"zone", 7}, zone);
        field(s, {"points", 8}, points);
        field(s, {"extension", 9}, extension);
        field(s, {"score", 10}, score);
        field(s, {"credit", 11}, credit);
        field(s, {"account", 12}, account);
        field(s, {"latitude", 13}, latitude);
        field(s, {"longitude", 14}, longitude);
        field(s, {"distance", 15}, distance);
        field(s, {"symbol", 16}, symbol);
        field(s, {"key", 17}, key);
        field(s, {"born", 18}, born);
        field(s, {"seen", 19}, seen);
        field(s, {"email", 20}, email);
        field(s, {"married", 21}, married);
        field(s, {"labels", 22}, labels);
        field(s, {"phones", 23}, phones);
        s.leave();
    }
    bool operator==(const Contact&) const = default;
};

struct AddressBook {
    qor::String title;
    std::vector<Contact> contacts;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("AddressBook", "book", "", "");
        field(s, {"title", 1}, title);
        field(s, {"contacts", 2}, contacts);
        s.leave();
    }
    bool operator==(const AddressBook&) const = default;
};

#endif  // QOR_EXAMPLES_ADDRESS_BOOK_H
