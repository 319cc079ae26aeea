// What does a message cost, written and read back into objects, beside msgpack-cxx and protobuf?
// Writing goes into a buffer that is used again; reading makes new objects each time.

#include <benchmark/benchmark.h>

#include <string>
#include <vector>

#include "nbr_bench.pb.h"
#include "qor/nbr/binding.h"

#include <msgpack.hpp>

namespace {

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

Login makeLogin() {
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

Contacts makeContacts() {
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

// The same messages as the peers hold them.

struct MsgpackLogin {
    std::string account;
    std::vector<char> token;
    std::uint32_t version = 0;
    std::uint16_t protocol = 0;
    std::uint8_t flags = 0;
    std::uint64_t sequence = 0;
    std::int64_t time = 0;
    bool automatic = false;
    double latency = 0;
    std::string nickname;
    MSGPACK_DEFINE(account, token, version, protocol, flags, sequence, time, automatic, latency,
                   nickname)
};

struct MsgpackContact {
    std::uint32_t id = 0;
    std::string name;
    std::string email;
    std::string phone;
    std::int64_t birthday = 0;
    bool favourite = false;
    std::uint16_t group = 0;
    std::string note;
    MSGPACK_DEFINE(id, name, email, phone, birthday, favourite, group, note)
};

struct MsgpackContacts {
    std::vector<MsgpackContact> contacts;
    MSGPACK_DEFINE(contacts)
};

MsgpackLogin msgpackLogin() {
    const Login login = makeLogin();
    return {login.account,
            std::vector<char>(login.token.begin(), login.token.end()),
            login.version,
            login.protocol,
            login.flags,
            login.sequence,
            login.time.toMicroSeconds(),
            login.automatic,
            login.latency,
            login.nickname};
}

MsgpackContacts msgpackContacts() {
    MsgpackContacts made;
    for (const Contact& contact : makeContacts().contacts) {
        made.contacts.push_back({contact.id, contact.name, contact.email, contact.phone,
                                 contact.birthday.toMicroSeconds(), contact.favourite,
                                 contact.group, contact.note});
    }
    return made;
}

bench::Login protobufLogin() {
    const Login login = makeLogin();
    bench::Login made;
    made.set_account(login.account);
    made.set_token(login.token.data(), login.token.size());
    made.set_version(login.version);
    made.set_protocol(login.protocol);
    made.set_flags(login.flags);
    made.set_sequence(login.sequence);
    made.set_time(login.time.toMicroSeconds());
    made.set_automatic(login.automatic);
    made.set_latency(login.latency);
    made.set_nickname(login.nickname);
    return made;
}

bench::Contacts protobufContacts() {
    bench::Contacts made;
    for (const Contact& contact : makeContacts().contacts) {
        bench::Contact& added = *made.add_contacts();
        added.set_id(contact.id);
        added.set_name(contact.name);
        added.set_email(contact.email);
        added.set_phone(contact.phone);
        added.set_birthday(contact.birthday.toMicroSeconds());
        added.set_favourite(contact.favourite);
        added.set_group(contact.group);
        added.set_note(contact.note);
    }
    return made;
}

// One way of writing and reading a message; Message is the program's own class.

template <class Message>
void encodeQor(benchmark::State& state, const Message& message) {
    qor::nbr::CodecStream out;
    for (auto _ : state) {
        out.bos().reset();
        qor::nbr::encode(out, message);
        benchmark::DoNotOptimize(out.str().data());
    }
    state.counters["bytes"] = static_cast<double>(out.str().size());
}

template <class Message>
void decodeQor(benchmark::State& state, const Message& message) {
    qor::nbr::CodecStream out;
    qor::nbr::encode(out, message);
    for (auto _ : state) {
        Message read;
        qor::nbr::decode(out.str(), read);
        benchmark::DoNotOptimize(read);
    }
}

template <class Message>
void encodeMsgpack(benchmark::State& state, const Message& message) {
    msgpack::sbuffer out;
    for (auto _ : state) {
        out.clear();
        msgpack::pack(out, message);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["bytes"] = static_cast<double>(out.size());
}

template <class Message>
void decodeMsgpack(benchmark::State& state, const Message& message) {
    msgpack::sbuffer out;
    msgpack::pack(out, message);
    for (auto _ : state) {
        Message read;
        msgpack::unpack(out.data(), out.size()).get().convert(read);
        benchmark::DoNotOptimize(read);
    }
}

template <class Message>
void encodeProtobuf(benchmark::State& state, const Message& message) {
    std::string out;
    for (auto _ : state) {
        out.clear();
        message.AppendToString(&out);
        benchmark::DoNotOptimize(out.data());
    }
    state.counters["bytes"] = static_cast<double>(out.size());
}

template <class Message>
void decodeProtobuf(benchmark::State& state, const Message& message) {
    const std::string out = message.SerializeAsString();
    for (auto _ : state) {
        Message read;
        read.ParseFromString(out);
        benchmark::DoNotOptimize(read);
    }
}

BENCHMARK_CAPTURE(encodeQor, Login, makeLogin());
BENCHMARK_CAPTURE(encodeMsgpack, Login, msgpackLogin());
BENCHMARK_CAPTURE(encodeProtobuf, Login, protobufLogin());
BENCHMARK_CAPTURE(decodeQor, Login, makeLogin());
BENCHMARK_CAPTURE(decodeMsgpack, Login, msgpackLogin());
BENCHMARK_CAPTURE(decodeProtobuf, Login, protobufLogin());
BENCHMARK_CAPTURE(encodeQor, Contacts100, makeContacts());
BENCHMARK_CAPTURE(encodeMsgpack, Contacts100, msgpackContacts());
BENCHMARK_CAPTURE(encodeProtobuf, Contacts100, protobufContacts());
BENCHMARK_CAPTURE(decodeQor, Contacts100, makeContacts());
BENCHMARK_CAPTURE(decodeMsgpack, Contacts100, msgpackContacts());
BENCHMARK_CAPTURE(decodeProtobuf, Contacts100, protobufContacts());

}  // namespace
