#include <benchmark/benchmark.h>

#include <msgpack.hpp>
#include <string>
#include <vector>

#include "nbr_messages.h"

namespace {

using namespace messages;

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

template <class Message>
void encodeMsgpack(benchmark::State& state, const Message& message) {
    msgpack::sbuffer out;
    for (auto _ : state) {
        forget(message);
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

BENCHMARK_CAPTURE(encodeMsgpack, Login, msgpackLogin());
BENCHMARK_CAPTURE(decodeMsgpack, Login, msgpackLogin());
BENCHMARK_CAPTURE(encodeMsgpack, Contacts100, msgpackContacts());
BENCHMARK_CAPTURE(decodeMsgpack, Contacts100, msgpackContacts());

}  // namespace
