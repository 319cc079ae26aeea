#ifndef QOR_FUZZ_REQUIRE_H
#define QOR_FUZZ_REQUIRE_H

// What a target checks holds in every build: a failure ends the process, which the fuzzer reports.
inline void require(bool holds) {
    if (!holds) __builtin_trap();
}

#endif  // QOR_FUZZ_REQUIRE_H
