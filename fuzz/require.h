#ifndef QOR_FUZZ_REQUIRE_H
#define QOR_FUZZ_REQUIRE_H

// Aborts the process if the condition is false, in every build; the fuzzer reports this.
inline void require(bool holds) {
    if (!holds) __builtin_trap();
}

#endif  // QOR_FUZZ_REQUIRE_H
