#include "qor/util/directory.h"

#include "support/test.h"

namespace qor {
namespace {

namespace fs = std::filesystem;

// Each item's text, without regard to the order of the system.
using Shown = std::set<std::string>;
Shown itemsOf(const Directory& directory) {
    Shown all;
    for (const DirItem& item : directory.items()) {
        EXPECT_TRUE(all.insert(dumped(item)).second);
        EXPECT_EQ(item.isDir, !item.unit->simple());
    }
    return all;
}

TEST(Directory, EmptyDirectoriesAreEmptyLists) {
    const TempDir dir;
    const Directory directory(dir.wide());
    EXPECT_EQ(directory.homeDir(), dir.wide());
    EXPECT_EQ(directory.numof() + directory.files().numofChildren(), 0U);
    EXPECT_FALSE(directory.files().simple() || Directory().files().simple());
    EXPECT_EQ(raisedIn<OutOfRangeException>([&] { directory.at(0); }), "qor::Directory::at");
    EXPECT_EQ(raisedIn<NullPointerException>([] { Directory::setupDirTree(L".", nullptr); }),
              "qor::Directory::setupDirTree");
    std::vector<DirItem> items;
    EXPECT_FALSE(Directory::recurseDirTree(L"", pml::ntv::Unit(), items));
}

TEST(Directory, SnapshotsAreATreeAndAList) {
    const TempDir dir;
    dir.file("a.txt", "abc");
    dir.file("[0]", "");
    fs::create_directories(dir.path("é/none"));
    dir.file("é/b", "12345");
    Directory directory;
    EXPECT_TRUE(directory.setup(dir.wide()));
    EXPECT_EQ(itemsOf(directory),
              (Shown{"a.txt, 3", "[0], 0", "é, <dir>", "é\\b, 5", "é\\none, <dir>"}));
    EXPECT_EQ(directory.totalSize(), 8);
    EXPECT_EQ(directory.at(4).unit->root(), &directory.files());
    const pml::ntv::Unit* const inner = directory.files().find("é/b");
    ASSERT_NE(inner, nullptr);
    EXPECT_EQ(DirItem(*inner, L"x").size, 5);
    // Each directory comes before its entries.
    const std::vector<DirItem>& items = directory.items();
    EXPECT_TRUE(std::is_sorted(items.begin(), items.end(), [](const auto& left, const auto& right) {
        return iwstr(right.name).beginWith(left.name + L"\\");
    }));
    for (const DirItem& item : items) {
        const std::wstring path = dir.wide() + L"\\" + item.name;
        EXPECT_EQ(Directory::getFileSize(path), item.size);
        EXPECT_EQ(Directory::isDirectory(path), item.isDir);
    }

    EXPECT_FALSE(directory.setup(dir.wide(), {L"\u00e9", L"absent", L"\u00e9/b", L"absent"}));
    EXPECT_EQ(itemsOf(directory),
              (Shown{"é, <dir>", "é\\b, 5", "é\\none, <dir>", "é/b, 5", "absent, -1"}));
    EXPECT_EQ(directory.totalSize(), 10);
    EXPECT_FALSE(directory.setup(dir.wide(L"absent")));
    EXPECT_EQ(directory.numof(), 0U);
}

TEST(Directory, LinksPipesAndStrangeNamesAreShownAndNotFollowed) {
    const TempDir dir;
    dir.file("file", "abc");
    dir.file("\xFF", "1");
    fs::create_directory(dir.path("dir"));
    fs::create_symlink("..", dir.path("dir/up"));
    fs::create_symlink("loop", dir.path("loop"));
    fs::create_symlink("file", dir.path("link"));
    ASSERT_EQ(::mkfifo(dir.path("pipe").c_str(), 0600), 0);
    Directory directory;
    EXPECT_TRUE(directory.setup(dir.wide()));
    const Shown all{"file, 3",  "\uFFFD, 1", "dir, <dir>", "dir\\up, <dir>",
                    "loop, -1", "link, 3",   "pipe, 0"};
    EXPECT_EQ(itemsOf(directory), all);
    EXPECT_EQ(directory.totalSize(), 7);
    // Its name reads as that of the file.
    fs::create_directory(dir.path("\xFE"));
    EXPECT_TRUE(directory.setup(dir.wide()));
    EXPECT_EQ(directory.numof(), all.size());
    EXPECT_LE(directory.totalSize(), 7);
    // A name that the caller gives may be a link.
    EXPECT_TRUE(directory.setup(dir.wide(), {L"dir/up"}));
    EXPECT_EQ(directory.numof(), 1 + all.size());
    EXPECT_TRUE(directory.setup(dir.wide(L"dir/up")));
    EXPECT_EQ(directory.numof(), all.size());
}

TEST(Directory, NeitherDepthNorTheLengthOfPathsMatters) {
    const TempDir dir;
    constexpr int depth = 100;
    const std::string name = "a name that makes the whole path longer than the system takes";
    const fs::path around = fs::current_path();
    fs::current_path(dir.path());
    for (int i = 0; i < depth; ++i) {
        // Beside the next level, before or after it.
        const std::string other = "other" + std::to_string(i);
        fs::create_directory(other);
        std::ofstream(other + "/file").close();
        fs::create_directory(name);
        fs::current_path(name);
    }
    fs::current_path(around);
    rlimit before;
    ASSERT_EQ(::getrlimit(RLIMIT_NOFILE, &before), 0);
    rlimit few = before;
    few.rlim_cur = openDescriptors() + 32;
    ASSERT_EQ(::setrlimit(RLIMIT_NOFILE, &few), 0);
    const unsigned open = openDescriptors();
    Directory directory;
    EXPECT_TRUE(directory.setup(dir.wide()));
    EXPECT_EQ(openDescriptors(), open);
    ::setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_EQ(directory.numof(), 3U * depth);
}

TEST(Directory, TreesThatChangeWhileTheyAreReadAreShownInPart) {
    const TempDir dir;
    const unsigned open = openDescriptors();
    std::atomic<bool> done = false;
    std::atomic<int> changes = 0;
    std::thread changing([&] {
        while (!done) {
            fs::create_directory(dir.path("x"));
            dir.file("x/f", "1");
            ::rename(dir.path("x").c_str(), dir.path("y").c_str());
            ::unlink(dir.path("y/f").c_str());
            ::rmdir(dir.path("y").c_str());
            ++changes;
        }
    });
    Directory directory;
    while (changes < 20) {
        EXPECT_TRUE(directory.setup(dir.wide()));
        EXPECT_LE(directory.numof(), 4U);
        EXPECT_LE(directory.totalSize(), 2);
    }
    done = true;
    changing.join();
    EXPECT_EQ(openDescriptors(), open);
}

TEST(Directory, MemoryThatRunsOutLeavesTheSnapshot) {
    const TempDir dir;
    fs::create_directory(dir.path("inner"));
    dir.file("inner/\xC3\xA9 with a name that is allocated", "12");
    dir.file("inner/\xFF", "");
    const unsigned open = openDescriptors();
    Directory directory;
    EXPECT_GT(failEachAllocation([&] { directory.setup(dir.wide()); },
                                 [&] { EXPECT_EQ(directory.numof(), 0U); }),
              10U);
    EXPECT_EQ(directory.totalSize(), 2);
    pml::ntv::Unit tree("name");
    tree << "value";
    EXPECT_GT(failEachAllocation([&] { Directory::setupDirTree(dir.wide(), &tree); },
                                 [&] { EXPECT_EQ(tree.getStringValue(), "value"); }),
              10U);
    std::vector<DirItem> items(1);
    EXPECT_GT(failEachAllocation([&] { Directory::recurseDirTree(L"in", tree, items); },
                                 [&] { EXPECT_EQ(items.size(), 1U); }),
              3U);
    EXPECT_EQ(items.size(), 4U);
    EXPECT_TRUE(items.back().name.starts_with(L"in\\inner\\"));
    EXPECT_EQ(openDescriptors(), open);
}

TEST(DirectoryFiles, AreReadAndWrittenAtPositions) {
    const TempDir dir;
    const std::wstring name = dir.wide(L"a");
    EXPECT_TRUE(Directory::createFile(name, false) && Directory::isEmptyFile(name));
    EXPECT_TRUE(Directory::writeTo(name, 2, "abc") && Directory::writeTo(name, 0, "x"));
    EXPECT_TRUE(Directory::createFile(name, false));
    Bytes bytes(10UL);
    EXPECT_TRUE(Directory::readFrom(name, 0, bytes));
    EXPECT_EQ(bytes, istr("x\0abc", 5));
    EXPECT_TRUE(Directory::readFrom(name, 9, bytes) && bytes.empty());
    EXPECT_FALSE(Directory::readFrom(name, -1, bytes) || Directory::writeTo(name, -1, "x"));
    Bytes none;
    EXPECT_FALSE(Directory::readFrom(name, 0, none));
    constexpr long long far = 5LL << 30;
    EXPECT_TRUE(Directory::writeTo(name, far, "x"));
    EXPECT_EQ(Directory::getFileSize(name), far + 1);

    void* const handle = Directory::openFileForWrite(name, true);
    EXPECT_TRUE(Directory::isEmptyFile(name));
    EXPECT_TRUE(Directory::writeFileAt(handle, 0, "ab"));
    EXPECT_TRUE(Directory::readFileAt(handle, 1, bytes) && bytes == "b");
    EXPECT_TRUE(Directory::closeFile(handle));
    EXPECT_FALSE(Directory::writeFileAt(handle, 0, "") || Directory::closeFile(handle));
    void* const reading = Directory::openFileForRead(name);
    EXPECT_FALSE(Directory::writeFileAt(reading, 0, "x"));
    EXPECT_TRUE(Directory::closeFile(reading));
    EXPECT_TRUE(Directory::createFile(name, true) && Directory::isEmptyFile(name));
}

TEST(DirectoryFiles, FailuresAreResultsAndLeaveNoHandle) {
    const TempDir dir;
    const std::wstring present = dir.file("present", "x");
    void* const invalid = Directory::openFileForRead(L"");
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(invalid), ~std::uintptr_t{0});
    EXPECT_EQ(Directory::isDirectory(dir.wide()), 1);
    EXPECT_EQ(Directory::isDirectory(present), 0);
    const unsigned open = openDescriptors();
    for (const std::wstring& name : {dir.wide(L"absent/x"), present + std::wstring(1, L'\0')}) {
        EXPECT_EQ(Directory::isDirectory(name), -1);
        EXPECT_EQ(Directory::getFileSize(name), -1);
        EXPECT_FALSE(Directory::isEmptyFile(name) || Directory::createFile(name, false));
        Bytes bytes(istr("old"));
        EXPECT_FALSE(Directory::readFrom(name, 0, bytes) || Directory::writeTo(name, 0, ""));
        EXPECT_TRUE(bytes.empty());
        Directory directory;
        EXPECT_FALSE(directory.setup(name));
        EXPECT_EQ(directory.numof(), 0U);
    }
    EXPECT_EQ(Directory::getFileSize(dir.wide()), -1);
    EXPECT_FALSE(Directory::createFile(dir.wide(), false));
    EXPECT_EQ(openDescriptors(), open);
}

}  // namespace
}  // namespace qor
