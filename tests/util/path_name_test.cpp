#include "qor/util/path_name.h"

#include "support/test.h"

namespace qor {
namespace {

namespace fs = std::filesystem;

TEST(PathName, FilesAndDirectoriesTakePaths) {
    const TempDir home;
    const fs::path dir(home.path());
    const fs::path path = dir / u8"na\u00efve \U0001F600";
    EXPECT_TRUE(FileWriter(path, true).write("12345"));
    EXPECT_EQ(fs::file_size(path), 5U);
    File file;
    EXPECT_TRUE(file.open(path));
    EXPECT_EQ(file.filename(), home.wide(L"na\u00efve \U0001F600"));
    EXPECT_TRUE(FileAppender(path).append("6"));
    EXPECT_TRUE(FileReader(path).valid() && FileReadWriter(path, false).valid());

    EXPECT_EQ(Directory::getFileSize(path), 6);
    EXPECT_TRUE(Directory::isDirectory(dir).isTrue());
    EXPECT_TRUE(Directory::createFile(dir / "empty", false));
    EXPECT_TRUE(Directory::isEmptyFile(dir / "empty"));
    Bytes read(2);
    EXPECT_TRUE(Directory::readFrom(path, 4, read) && read == "56");
    Directory snapshot(dir);
    EXPECT_EQ(snapshot.numof(), 2U);
    EXPECT_TRUE(snapshot.setup(dir, {L"empty"}));
    EXPECT_EQ(snapshot.homeDir(), home.wide());
}

// None of them may find or create another file.
TEST(PathName, RefusesInvalidNames) {
    const TempDir home;
    const std::string names[] = {"bad\xff", "cut\xe2\x82", "long\xc1\x81", "half\xed\xa0\x80",
                                 std::string("a\0b", 3)};
    for (const std::string& name : names) {
        SCOPED_TRACE(name);
        const fs::path path = fs::path(home.path()) / name;
        EXPECT_FALSE(FileWriter(path, true).valid());
        EXPECT_FALSE(Directory::createFile(path, false));
        EXPECT_EQ(Directory::getFileSize(path), -1);
    }
    EXPECT_TRUE(fs::is_empty(home.path()));
    EXPECT_FALSE(File(fs::path()).valid());
}

}  // namespace
}  // namespace qor
