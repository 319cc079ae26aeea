#include "qor/util/gzlib.h"

#include "support/test.h"
#include "util/output_area.h"

namespace {

using Text = std::string;

// Size and out show success: the result is always false.
template <class Char>
Text result(bool (*convert)(const char*, Char*&, int&), const char* data, int size) {
    Char* out = nullptr;
    EXPECT_FALSE(convert(data, out, size));
    EXPECT_NE(out, nullptr);
    const Text content(out, out + size);
    delete[] out;
    return content;
}
Text gzip(const Text& data) {
    return result(qor::gzlib::comp, data.data(), static_cast<int>(data.size()));
}
Text gunzip(const Text& data) {
    return result(qor::gzlib::uncomp, data.data(), static_cast<int>(data.size()));
}

TEST(Gzlib, FrameAndSizes) {
    const Text head("\x1F\x8B\x08\0\0\0\0\0\0\x0A", 10);
    const Text empty = head + Text("\x03\0\0\0\0\0\0\0\0\0", 10);
    const Text ab = head + Text("\x4B\x4C\x02\0\x6D\x48\x83\x9E\x02\0\0\0", 12);
    EXPECT_EQ(gzip("ab"), ab);
    EXPECT_EQ(result(qor::gzlib::comp, "ab", -1), ab);
    for (const auto& [data, size] : {std::pair("ab", 0), {"ab", -2}, {nullptr, -1}, {nullptr, 7}}) {
        EXPECT_EQ(result(qor::gzlib::comp, data, size), empty);
        EXPECT_EQ(result(qor::gzlib::uncomp, data, size), "");
    }
}

TEST(Gzlib, Unpacks) {
    const Text one = gzip("one"), two = gzip("two");
    for (const Text& data : {Text("A"), Text("\x1F\x8C"), Text(9000, '\x8B')})
        EXPECT_EQ(gunzip(data), data);
    for (const auto& [at, byte] : {std::pair(2U, '\x07'), {3U, '\x20'}, {3U, '\x80'}})
        EXPECT_EQ(gunzip(Text(one).replace(at, 1, 1, byte)), "") << at;
    EXPECT_EQ(gunzip("\x1F"), "");
    // One member is read, and its checksum is not.
    EXPECT_EQ(gunzip(Text(one).replace(15, 4, "\1\2\3\4") + two), "one");
    const Text extra("\x02\x01" + Text(258, '\0')), name("n\0", 2), comment("a comment\0", 10);
    const std::pair<char, Text> fields[] = {
        {1, ""},   {2, "\x12\x34"}, {4, extra},
        {8, name}, {16, comment},   {31, extra + name + comment + "\x12\x34"}};
    for (const auto& [flags, field] : fields) {
        const Text packed = Text(one).replace(3, 1, 1, flags).insert(10, field);
        EXPECT_EQ(gunzip(packed), "one") << +flags;
        for (std::size_t n = 2; n < 10 + field.size(); ++n)
            EXPECT_EQ(gunzip(packed.substr(0, n)), "") << +flags << "/" << n;
    }
}

TEST(Gzlib, OthersAgreeAndDamageCutsShort) {
    std::mt19937 random(3);
    Text data(100000, 'x');
    while (data.size() < 300000)
        data += static_cast<char>(random());
    const Text packed = gzip(data);
    EXPECT_TRUE(gunzip(packed) == data);
    for (const std::size_t n : {5000U, 100000U}) {
        const Text content = gunzip(packed.substr(0, n));
        EXPECT_TRUE(data.starts_with(content) && content.size() > n && content != data) << n;
    }
    if (std::system("gzip --version >/dev/null 2>&1") != 0) GTEST_SKIP() << "there is no gzip";
    const support::TempDir dir;
    dir.file("packed.gz", packed);
    dir.file("plain", data);
    const Text command = "cd '" + dir.path() + "' && gzip -dc packed.gz >unpacked && gzip plain";
    ASSERT_EQ(std::system(command.c_str()), 0);
    EXPECT_TRUE(support::contentOf(dir.path("unpacked")) == data);
    EXPECT_TRUE(gunzip(support::contentOf(dir.path("plain.gz"))) == data);
}

TEST(Gzlib, MemoryAndSizesEnd) {
    char unset = 0, *out = &unset;
    int size = 4;
    const support::FailAllocations failing(1);
    EXPECT_EQ(GZlibCompressor::uncomp("text", out, size), 0);
    EXPECT_TRUE(out == nullptr && size == 0);

    const unsigned char bytes[2000] = {1};
    qor::util::OutputArea area(3000);
    EXPECT_TRUE(area.append(bytes));
    EXPECT_FALSE(area.append(bytes));
    while (!area.room().empty())
        area.written(area.room().size());
    EXPECT_EQ(area.content().size(), 3000U);
    EXPECT_EQ(area.content()[0], 1);
}

}  // namespace
