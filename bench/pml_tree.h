#ifndef QOR_BENCH_PML_TREE_H
#define QOR_BENCH_PML_TREE_H

#include <string>

// The tree of the pml benchmarks, for all formats: settings with 5,000 nodes, in sections and
// entries.

namespace bench {

constexpr int kSections = 50;
constexpr int kEntries = 11;
constexpr int kSettings = 8;  // the number of settings of an entry

// Calls begin(name), leaf(name, value) and end() in the order of the tree.
template <class Builder>
void buildTree(Builder& builder) {
    builder.begin("settings");
    for (int s = 0; s < kSections; ++s) {
        builder.begin("section" + std::to_string(s));
        for (int e = 0; e < kEntries; ++e) {
            builder.begin("entry" + std::to_string(e));
            for (int i = 0; i < kSettings; ++i) {
                const std::string number = std::to_string((s * kEntries + e) * 37 + i);
                builder.leaf("setting" + std::to_string(i),
                             i % 2 == 0 ? number : "host" + number + ".example.org");
            }
            builder.end();
        }
        builder.end();
    }
    builder.end();
}

}  // namespace bench

#endif  // QOR_BENCH_PML_TREE_H
