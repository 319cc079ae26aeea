#ifndef QOR_BENCH_JSON_DOCUMENTS_H
#define QOR_BENCH_JSON_DOCUMENTS_H

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

// The documents that qor and its peers read and write.

namespace bench {

// 0: search results with much text; 1: a catalogue of small objects; 2: coordinates; 3: a short
// message.
inline constexpr int kDocuments = 4;

struct Document {
    const char* name;
    std::string text;
};

// The document with this index. 0 to 2 are the files twitter.json, citm_catalog.json and
// canada.json. Their directory is named by the environment variable QOR_BENCH_JSON, or was found by
// CMake. For a missing file, a similar document is generated.
const Document& document(std::size_t index);

// The object of the benchmark JsonDecode: qor reads it with the codec, a peer with its own
// conversion.
struct Contact {
    std::string name;
    std::vector<std::string> phones;
    bool active = false;
    double score = 0;
    long id = 0;

    template <class Stream>
    void codec(Stream& s) {
        s.enter("Contact", "contact", "", "");
        field(s, {"name", 1}, name);
        field(s, {"phones", 2}, phones);
        field(s, {"active", 3}, active);
        field(s, {"score", 4}, score);
        field(s, {"id", 5}, id);
        s.leave();
    }
};

// An array of 100 contacts.
const std::string& contacts();

// Runs `decode`, which reads contacts() into a new vector.
template <class Decode>
void decodeContacts(benchmark::State& state, Decode decode) {
    for (auto _ : state) {
        const std::vector<Contact> decoded = decode(contacts());
        benchmark::DoNotOptimize(decoded.data());
    }
    const std::vector<Contact> decoded = decode(contacts());
    double scores = 0;
    for (const Contact& contact : decoded)
        scores += contact.score + static_cast<double>(contact.phones.size());
    state.counters["scores"] = scores;
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(contacts().size()));
}

inline std::string keyOf(std::size_t number) {
    return std::string("key").append(std::to_string(number));
}

// Bytes that the process has allocated.
std::size_t heapInUse();

// The memory of a tree in bytes. First creates as many trees as are needed to use up the spare
// memory of the library and of the allocator.
template <class Parse>
double bytesOfTree(const std::string& text, Parse parse) {
    const std::size_t count = (16U << 20) / text.size() + 1;
    std::vector<decltype(parse(text))> trees;
    trees.reserve(count * 2);
    std::size_t before = 0;
    for (std::size_t i = 0; i < count * 2; ++i) {
        if (i == count) before = heapInUse();
        trees.push_back(parse(text));
    }
    return static_cast<double>(heapInUse() - before) / static_cast<double>(count);
}

// Parses a document and destroys the tree.
template <class Parse>
void parseEach(benchmark::State& state, Parse parse) {
    const Document& doc = document(static_cast<std::size_t>(state.range(0)));
    state.counters["tree"] = bytesOfTree(doc.text, parse);
    for (auto _ : state) {
        const auto tree = parse(doc.text);
        benchmark::DoNotOptimize(&tree);
    }
    state.SetLabel(doc.name);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(doc.text.size()));
}

// The results of reading every key and value of a tree: the sum of all numbers as double, and the
// sum of the sizes of all texts.
struct Visited {
    double numbers = 0;
    std::size_t bytes = 0;
    std::size_t others = 0;
};

// Parses a document, and reads all keys and values.
template <class Parse, class Visit>
void visitEach(benchmark::State& state, Parse parse, Visit visit) {
    const Document& doc = document(static_cast<std::size_t>(state.range(0)));
    const auto parseAndVisit = [&](const std::string& text) {
        auto tree = parse(text);
        Visited visited;
        visit(tree, visited);
        benchmark::DoNotOptimize(visited);
        return tree;
    };
    state.counters["tree"] = bytesOfTree(doc.text, parseAndVisit);
    for (auto _ : state)
        parseAndVisit(doc.text);
    Visited visited;
    const auto tree = parse(doc.text);
    visit(tree, visited);
    state.counters["numbers"] = visited.numbers;
    state.counters["texts"] = static_cast<double>(visited.bytes);
    state.SetLabel(doc.name);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(doc.text.size()));
}

template <class Parse, class Write>
void writeEach(benchmark::State& state, Parse parse, Write write) {
    const Document& doc = document(static_cast<std::size_t>(state.range(0)));
    const auto tree = parse(doc.text);
    for (auto _ : state) {
        const std::string text = write(tree);
        benchmark::DoNotOptimize(text.data());
    }
    state.SetLabel(doc.name);
    state.SetBytesProcessed(state.iterations() * static_cast<std::int64_t>(doc.text.size()));
}

}  // namespace bench

#endif  // QOR_BENCH_JSON_DOCUMENTS_H
