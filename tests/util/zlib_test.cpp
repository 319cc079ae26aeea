#include "qor/util/zlib.h"

#include <zlib.h>  // zlib's own, not the header above

#include "support/test.h"

namespace qor {
namespace {

static_assert(Z_OK == 0);

TEST(Zlib, ComesBackWhereItFits) {
    const std::string run(100000, 'x');
    for (const istr data : {istr(nullptr, 5), istr(""), istr("ab"), istr("a\0b", 3), istr(run)}) {
        Bytes packed, out;
        const unsigned long size = data.empty() ? 0 : data.size();
        EXPECT_TRUE(zlib::compress(data, packed));
        EXPECT_TRUE(zlib::uncompress(packed, out, std::max(size, 1UL)));
        EXPECT_EQ(out, data.leftstr(size));
        // The limit holds although there is more room; without a limit the capacity is it.
        out.resize(200000);
        EXPECT_EQ(zlib::uncompress(packed, out, std::max(size, 2UL) - 1), size == 0);
        EXPECT_TRUE(out.empty());
        EXPECT_TRUE(zlib::uncompress(packed, out, 0));
        EXPECT_EQ(out.size(), size);
    }
}

TEST(Zlib, DamageIsFalse) {
    const Bytes packed = bytes("789C4BCC4A0400025B012D");
    Bytes out;
    EXPECT_TRUE(zlib::uncompress(packed, out, 9));
    EXPECT_EQ(out, "aja");
    for (unsigned long n = 0; n < packed.size(); ++n) {
        Bytes damaged(packed);
        damaged[n] ^= 0x55;
        EXPECT_FALSE(zlib::uncompress(istr(packed, n), out, 9) || out.size() != 0) << n;
        EXPECT_FALSE(zlib::uncompress(damaged, out, 9) || out.size() != 0) << n;
    }
}

TEST(Zlib, SizesAndMemoryEnd) {
    Bytes out(istr("old"));
    // Only the sizes are read. 11 times the second is above 32 bits, its room is not.
    EXPECT_FALSE(zlib::compress(istr("data", 0xE8BA2E8CUL), out) || out.size() != 0);
    const FailAllocations failing(1);
    EXPECT_THROW(std::ignore = zlib::compress(istr("data", 0x20000000UL), out), std::bad_alloc);
    EXPECT_FALSE(zlib::uncompress("data", out, std::max(0xFFFFFFFFUL, kTooLarge)));
}

}  // namespace
}  // namespace qor
