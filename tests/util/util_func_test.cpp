#include "qor/util/util_func.h"

#include "support/test.h"

namespace qor {
namespace {

using Parts = std::tuple<std::wstring, std::wstring, std::wstring>;

Parts partsOf(const Filename& name) {
    return {name.full(), name.dir(), name.file()};
}

TEST(Filename, TakesNamesApartAtEitherSeparator) {
    const std::pair<const wchar_t*, Parts> names[] = {
        {L"c:\\a\\b.txt", {L"c:\\a\\b.txt", L"c:\\a", L"b.txt"}},
        {L"b.txt", {L"b.txt", L"", L"b.txt"}},
        {L"c:\\a\\", {L"c:\\a", L"c:", L"a"}},
        {L"a/b\\c/", {L"a/b\\c", L"a/b", L"c"}},
        {L"a//", {L"a/", L"a", L""}},
        {L"/a", {L"/a", L"", L"a"}},
        {L"/", {L"", L"", L""}},
        {L"", {L"", L"", L""}},
    };
    for (const auto& [full, parts] : names)
        EXPECT_EQ(partsOf(Filename(full)), parts);
    EXPECT_EQ(partsOf(Filename(iwstr())), Parts());
}

TEST(Filename, PutsNamesTogetherWithOneSeparator) {
    EXPECT_EQ(partsOf(Filename(L"a", L"b")), Parts(L"a\\b", L"a", L"b"));
    EXPECT_EQ(partsOf(Filename(L"", L"b\\")), Parts(L"b", L"", L"b"));
    EXPECT_EQ(partsOf(Filename(L"a", L"b/")), Parts(L"a\\b/", L"a", L"b/"));
    EXPECT_EQ(partsOf(Filename(L"a", nullptr)), Parts(L"a\\", L"a", L""));
}

TEST(Filename, SettersTakeTheirOwnTextsAndKeepAllThreeConsistent) {
    Filename name(L"a\\b");
    name.dir(name.full());
    EXPECT_EQ(partsOf(name), Parts(L"a\\b\\b", L"a\\b", L"b"));
    name.file(iwstr(name.full()).leftstr(2));
    EXPECT_EQ(partsOf(name), Parts(L"a\\b\\a", L"a\\b", L"a"));
    name.full(name.dir());
    EXPECT_EQ(partsOf(name), Parts(L"a\\b", L"a", L"b"));

    const std::wstring longer(50, L'x');
    EXPECT_GT(failEachAllocation([&] { name.dir(longer); },
                                 [&] { EXPECT_EQ(partsOf(name), Parts(L"a\\b", L"a", L"b")); }),
              0U);
}

TEST(Funcname, NameSpaceIsTheInnermostOne) {
    const std::array<istr, 3> names[] = {{"qor::Time::now", "Time", "now"},
                                         {"Time::now", "Time", "now"},
                                         {"now", "", "now"},
                                         {"::now", "", "now"},
                                         {"Time::", "Time", ""},
                                         {"", "", ""}};
    for (const auto& [full, ns, func] : names) {
        const Funcname name(full);
        EXPECT_EQ(name.full(), full);
        EXPECT_EQ(name.ns(), ns) << full;
        EXPECT_EQ(name.func(), func) << full;
    }
    Funcname name("a::b::c");
    name.func("d");
    EXPECT_EQ(name.full(), "b::d");
    name.ns("");
    EXPECT_EQ(name.full(), "::d");
}

TEST(UtilFunc, NormalizedNamesHaveOnePointForEachRun) {
    EXPECT_EQ(normalizeName("a..b::c"), "a.b.c");
    EXPECT_EQ(normalizeName(":.:qor::Time."), ".qor.Time.");
    EXPECT_EQ(normalizeName(nullptr), "");
}

TEST(UtilFunc, ProgramDirIsWhereTheProgramLies) {
    const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe");
    EXPECT_EQ(getProgramDir(), istr(program.parent_path().native()));
    EXPECT_EQ(getApplicationDir(1), "");
}

}  // namespace
}  // namespace qor
