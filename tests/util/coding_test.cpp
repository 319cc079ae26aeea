// What the ciphers, Base64 and zlib have in common.

#include "support/test.h"

namespace qor {
namespace {

struct Coding {
    const char* name;
    std::function<void(istr, Bytes&)> code;
    bool sizesGoByTheSource = false;
};

const AES kAes("key", "vector");
const Coding kCodings[] = {
    {"AES::encrypt", [](istr data, Bytes& out) { kAes.encrypt(data, out); }, true},
    {"AES::decrypt", [](istr data, Bytes& out) { kAes.decrypt(data, out); }},
    {"des3::encode", [](istr data, Bytes& out) { des3::encode(data, out, data.leftstr(3)); }, true},
    {"des3::decode", [](istr data, Bytes& out) { des3::decode(data, out, data.leftstr(3)); }},
    {"Base64::decode", [](istr data, Bytes& out) { Base64::decode(data, out); }},
    {"zlib::compress", [](istr data, Bytes& out) { std::ignore = zlib::compress(data, out); }}};

TEST(Coding, ResultMayOwnTheSource) {
    std::string data;
    while (data.size() < 320)
        data += std::to_string(data.size());
    data.resize(320);
    for (const auto& [name, code, ignored] : kCodings) {
        Bytes wanted;
        code(data, wanted);
        for (const unsigned long capacity : {0UL, 5000UL}) {
            for (const unsigned long start : {0UL, 4UL, 16UL}) {
                Bytes bytes(capacity);
                bytes = istr(std::string(start, 'x') + data);
                code(istr(bytes).removeLeft(start), bytes);
                EXPECT_EQ(bytes, wanted) << name << ' ' << capacity << ' ' << start;
            }
        }
    }
}

TEST(Coding, ResultIsUnchangedWithoutMemory) {
    EXPECT_GT(failEachAllocation([] { AES("key", "vector", true); }, [] {}), 2U);
    const std::string data(320, 'x');
    for (const auto& [name, code, sizesGoByTheSource] : kCodings) {
        SCOPED_TRACE(name);
        Bytes out(istr("old"));
        const auto stays = [&out] { EXPECT_EQ(out, "old"); };
        // Only the size of the source is read.
        if (sizesGoByTheSource) {
            EXPECT_THROW(code(istr(data.c_str(), 0xFFFFFFFEUL), out), std::bad_alloc);
        }
        EXPECT_EQ(failEachAllocation([&, &run = code] { run(data, out); }, stays), 1U);
    }
}

}  // namespace
}  // namespace qor
