// The cost of writing a message, and of reading it into objects, compared with msgpack-cxx and
// protobuf. Writing reuses a buffer; reading creates new objects each time. Each peer has its own
// source, so that the compiler optimizes all of them in the same way.

#include <benchmark/benchmark.h>

#include "nbr_messages.h"
#include "qor/nbr/binding.h"

namespace {

using namespace messages;

template <class Message>
void encodeQor(benchmark::State& state, const Message& message) {
    qor::nbr::CodecStream out;
    for (auto _ : state) {
        forget(message);
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

BENCHMARK_CAPTURE(encodeQor, Login, makeLogin());
BENCHMARK_CAPTURE(decodeQor, Login, makeLogin());
BENCHMARK_CAPTURE(encodeQor, Contacts100, makeContacts());
BENCHMARK_CAPTURE(decodeQor, Contacts100, makeContacts());

}  // namespace
