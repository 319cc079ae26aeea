#ifndef QOR_BENCH_NBR_MESSAGES_H
#define QOR_BENCH_NBR_MESSAGES_H

#include <benchmark/benchmark.h>

#include <vector>

#include "qor/base/base_type_bytes.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/base/field.h"

// The messages that qor and its peers write and read.

namespace messages {

// The compiler must assume that the content of the message is unknown.
template <class Message>
void forget(const Message& message) {
    benchmark::DoNotOptimize(&message);
    benchmark::ClobberMemory();
}

struct Login {
    qor::String account;
    qor::Bytes token;
    qor::Ulong version;
    qor::Ushort protocol;
    qor::Byte flags;
    qor::Ulonglong sequence;
    qor::Time time;
    qor::Bit automatic;
    qor::Double latency;
    qor::String nickname;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Login", "login", "", "");
        field(s, {"account", 1}, account);
        field(s, {"token", 2}, token);
        field(s, {"version", 3}, version);
        field(s, {"protocol", 4}, protocol);
        field(s, {"flags", 5}, flags);
        field(s, {"sequence", 6}, sequence);
        field(s, {"time", 7}, time);
        field(s, {"automatic", 8}, automatic);
        field(s, {"latency", 9}, latency);
        field(s, {"nickname", 10}, nickname);
        s.leave();
    }
};

struct Contact {
    qor::Ulong id;
    qor::String name;
    qor::String email;
    qor::String phone;
    qor::Time birthday;
    qor::Bit favourite;
    qor::Ushort group;
    qor::String note;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Contact", "contact", "", "");
        field(s, {"id", 1}, id);
        field(s, {"name", 2}, name);
        field(s, {"email", 3}, email);
        field(s, {"phone", 4}, phone);
        field(s, {"birthday", 5}, birthday);
        field(s, {"favourite", 6}, favourite);
        field(s, {"group", 7}, group);
        field(s, {"note", 8}, note);
        s.leave();
    }
};

struct Contacts {
    std::vector<Contact> contacts;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Contacts", "contacts", "", "");
        field(s, {"contacts", 1}, contacts);
        s.leave();
    }
};

inline Login makeLogin() {
    Login login;
    login.account = "ann.larsson@example.org";
    login.token = "0123456789abcdef0123456789abcdef";
    login.version = 20050;
    login.protocol = 7;
    login.flags = 0x25;
    login.sequence = 81985529216486895ULL;
    login.time = qor::Time::microSeconds(1440584430123456LL);
    login.automatic = true;
    login.latency = 0.0425;
    login.nickname = "Ann Ångström 安";
    return login;
}

inline Contacts makeContacts() {
    Contacts made;
    for (unsigned i = 0; i < 100; ++i) {
        const std::string number = std::to_string(i);
        Contact& contact = made.contacts.emplace_back();
        contact.id = 1000 + i;
        contact.name = "Nguyễn Văn " + number;
        contact.email = "contact." + number + "@mail.example.org";
        contact.phone = "+46 8 123 45 " + number;
        contact.birthday = qor::Time::seconds(500000000LL + 86400LL * i);
        contact.favourite = i % 3 == 0;
        contact.group = i % 12;
        contact.note = i % 4 == 0 ? "met at the spring fair in Örebro" : "";
    }
    return made;
}

}  // namespace messages

#endif  // QOR_BENCH_NBR_MESSAGES_H
