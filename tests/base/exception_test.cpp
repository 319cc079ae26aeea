#include "qor/base/exception.h"

#include "support/test.h"

namespace qor {
namespace {

TEST(Current, NamesFunctionAndPlace) {
    EXPECT_EQ(streamed(Current("/a/b/file.cpp", 12, "qor::f")), "qor::f(file.cpp:12)");
    EXPECT_EQ(streamed(Current("a\\b\\file.cpp", 12, nullptr)), "(file.cpp:12)");
    // What does not fit after a prefix continues in the next line, flush right.
    const std::string prefix = "\n        AT: ", fits(119 - prefix.size(), 'f');
    for (const std::size_t extra : {0U, 1U, 30U, 150U}) {
        const std::string name = fits + std::string(extra, 'r');
        const Current frame(nullptr, 0, name.c_str());
        const std::string blanks(extra < 118 ? 118 - extra : 0, ' ');
        const std::string rest = extra == 0 ? "" : "\n" + blanks + std::string(extra, 'r');
        EXPECT_EQ(streamed(frame.prefix(prefix.c_str())), prefix + fits + rest);
    }
}

TEST(Current, IsOrdered) {
    const Current frames[] = {Current(), Current("a", 2, "g"), Current("a", 10, "f"),
                              Current("a", 10, "g"), Current("b", 1, nullptr)};
    for (const Current& left : frames) {
        for (const Current& right : frames)
            EXPECT_EQ(left < right, &left < &right);
    }
}

TEST(CallStack, ShowsTheInnermostCallFirst) {
    CallStack stack;
    for (const char* func : {"main", "outer", "inner"})
        stack.container().push(Current("f.cpp", 1, func));
    EXPECT_EQ(streamed(stack.separator(" < ")), "inner(f.cpp:1) < outer(f.cpp:1) < main(f.cpp:1)");
}

TEST(Exception, HasANameAndDumpsABlock) {
    EXPECT_STREQ(Exception("f.cpp", 1, "f", nullptr, nullptr).name(), "qor::Exception");
    const ToBeDoneException e("src/f.cpp", 7, "qor::f", "");
    EXPECT_STREQ(e.what(),
                 "{\n EXCEPTION: qor::ToBeDoneException \n        AT: qor::f(f.cpp:7)\n"
                 "CALL STACK: \n}");
}

TEST(Exception, KeepsItsFirstText) {
    struct Counting : Exception {
        Counting() : Exception("f.cpp", 1, "f", "E", "m") {}
        void dump(std::ostream& os) const override {
            os << "text " << ++count;
            throw 1;
        }
        mutable int count = 0;
    };
    const Counting e;
    EXPECT_STREQ(e.what(), "text 1");
    EXPECT_STREQ(e.what(), "text 1");
}

TEST(Throw, NamesTheTypeAsWritten) {
    EXPECT_EQ(raised<Exception>([] { QOR_THROW(EmptyDataException, "qor::f"); }),
              "qor::f: EmptyDataException: EmptyDataException");
    EXPECT_EQ(raised<Exception>([] { QOR_THROW(qor::EmptyDataException, "qor::f", "no data"); }),
              "qor::f: qor::EmptyDataException: no data");
    EXPECT_EQ(raised<Exception>([] { QOR_THROW(DeadlockException, "qor::f"); }), "qor::f: ");
    try {
        QOR_THROW(EmptyDataException, "qor::f");
    } catch (const Exception& e) {
        EXPECT_TRUE(std::string_view(e.file()).ends_with("exception_test.cpp"));
    }
}

TEST(ThreadSyscallException, AddsTheTextOfTheSystem) {
    const auto tail = [](int error) {
        const std::string text = ThreadSyscallException("f.cpp", 1, "f", error).what();
        return text.substr(text.find("\n}") + 2);
    };
    EXPECT_EQ(tail(0), "");
    EXPECT_EQ(tail(EAGAIN), std::string(":\nthread syscall exception: ") + std::strerror(EAGAIN));
    EXPECT_EQ(tail(99999), ":\nthread syscall exception: unknown thread error");
}

TEST(NullHandle, AbortsIfConfigured) {
    EXPECT_THROW(QOR_THROW(NullHandleException, "f"), NullHandleException);
    EXPECT_DEATH((nullHandleAbort = true, NullHandleException("f.cpp", 1, "f")), "");
}

TEST(MemberName, HasTheNamesOfClassesAndBuiltInTypes) {
    EXPECT_STREQ(memberName<Exception>("qor::A", "b"), "qor::A<class qor::Exception>::b");
    EXPECT_STREQ(memberName<unsigned long>("qor::A", "b"), "qor::A<unsigned long>::b");
    EXPECT_EQ(className(typeid(char16_t)), "char16_t");
}

TEST(SE_Exception, HasNoTextForCodeZero) {
    EXPECT_STREQ(SE_Exception(0, 1, 2).what(), "");
    // Not as the program's locale shows numbers.
    struct Grouping : std::numpunct<char> {
        std::string do_grouping() const override { return "\3"; }
    };
    const std::locale before =
        std::locale::global(std::locale(std::locale::classic(), new Grouping));
    const SE_Exception grouped(0xC0000005U, 0x12ABUL, 0x7FFF1234UL);
    EXPECT_TRUE(contains(grouped.what(), "0xc0000005, ebp = 0x000012ab"));
    EXPECT_EQ(dumped(std::map<int, int>{{1234567, 7654321}}), "{1234567:7654321}");
    std::locale::global(before);
    EXPECT_STREQ(SE_Exception(0xC0000005U, 0x12ABUL, 0x7FFF1234UL).what(),
                 "SE_Exception  0xc0000005, ebp = 0x000012ab, eip = 0x7fff1234");
    if constexpr (support::kLongHas64Bits) {
        EXPECT_STREQ(SE_Exception(1, 2, static_cast<unsigned long>(0x7FFF12345678)).what(),
                     "SE_Exception  0x00000001, ebp = 0x00000002, eip = 0x7fff12345678");
    }
}

}  // namespace
}  // namespace qor
