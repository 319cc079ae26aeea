#include <benchmark/benchmark.h>

#include <string>

#include "nbr_messages.h"
#include "nbr_messages.pb.h"

namespace {

using namespace messages;

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

template <class Message>
void encodeProtobuf(benchmark::State& state, const Message& message) {
    std::string out;
    for (auto _ : state) {
        forget(message);
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

BENCHMARK_CAPTURE(encodeProtobuf, Login, protobufLogin());
BENCHMARK_CAPTURE(decodeProtobuf, Login, protobufLogin());
BENCHMARK_CAPTURE(encodeProtobuf, Contacts100, protobufContacts());
BENCHMARK_CAPTURE(decodeProtobuf, Contacts100, protobufContacts());

}  // namespace
