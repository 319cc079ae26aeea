#include "common/failure.h"
#include "log/filter.h"
#include "log/log_files.h"
#include "log/record.h"
#include "support/test.h"

namespace tools {
namespace {

const std::string kHead = "[2021-03-04 05:06:07.008][P:12/T:34][Inf][l:0 f]";
const std::string kRule = "-----2021-03-04 05:06:07.008<12.34>[doc]";

const struct {
    std::string text;
    const char* tag;
    const char* name;
    Severity severity;
} kRecords[] = {
    {kHead + "[INFO]open() ready", "INFO", "", Severity::Info},
    {kHead + "[INFO]{pump}open() ready {x}", "INFO", "pump", Severity::Info},
    {kHead + "[TCP.DEBUG]{a b}[T::k] x", "TCP.DEBUG", "a b", Severity::Debug},
    {kHead + "[<TCP.ERROR>]x", "<TCP.ERROR>", "", Severity::Error},
    {kHead + "[<WARNING>]x", "<WARNING>", "", Severity::Warning},
    {kHead + "plain [X]", "", "", Severity::Info},
    {kHead + "2021-03-04 05:06:07.008<12.34>[doc] TRACE  .... Pump::open()..", "TRACE", "",
     Severity::Debug},
    {kHead + "\n" + kRule + "[THROWING]{pump}\n  THROWING\n  ========\n     CAUSE: c\n---",
     "THROWING", "pump", Severity::Error},
    {kHead + "\n" + kRule + "[NEWS]\n  NEWS\n  ====\nall well\n---", "NEWS", "", Severity::Info},
    {"[2021-03-04 05:06:07.008][P:12/T:34][Err][mod [1]][pump.cpp:40 Pump::open]bad", "", "",
     Severity::Error},
    {"[2021-03-04 05:06:07.008][P:12/T:34][Dbg][mod][pump.cpp:40 Pump::open][Enter]", "Enter", "",
     Severity::Debug},
};

TEST(Record, HeadTagThreadAndSeverity) {
    for (const auto& c : kRecords) {
        SCOPED_TRACE(c.text);
        const std::string text = c.text + "\r\n";
        const Record record = parseRecord(text);
        EXPECT_EQ(record.text, c.text);
        EXPECT_EQ(record.time, "2021-03-04 05:06:07.008");
        EXPECT_EQ(record.thread, "34");
        EXPECT_EQ(record.severity, c.severity);
        if (c.text.find("mod [1]") != std::string::npos) continue;
        EXPECT_EQ(record.tag, c.tag);
        EXPECT_EQ(record.name, c.name);
    }
    for (const char* text : {"", "plain", "Scrivo(v3.0) Begin Time:2021", "[2021-03-04]", "[x"})
        EXPECT_FALSE(parseRecord(text).isEntry()) << text;
}

TEST(Record, BlocksFoldToOneLine) {
    EXPECT_EQ(folded(parseRecord(kRecords[7].text)), kHead + "[THROWING]{pump} CAUSE: c (6 lines)");
    EXPECT_EQ(folded(parseRecord(kRecords[8].text)), kHead + "[NEWS] all well (6 lines)");
    EXPECT_EQ(folded(parseRecord(kRecords[0].text)), kRecords[0].text);
}

// The entries do not depend on the sizes of the pieces.
TEST(RecordSplitter, PiecesOfAnySize) {
    std::string text = "Scrivo(v3.0) Begin Time:x\r\n";
    for (const auto& c : kRecords)
        text += c.text + "\r\n";
    std::vector<std::string> expected;
    for (std::size_t size : {text.size(), std::size_t(1), std::size_t(7), std::size_t(64)}) {
        std::vector<std::string> found;
        const auto take = [&](std::string_view record) { found.emplace_back(record); };
        RecordSplitter splitter;
        for (std::size_t at = 0; at < text.size(); at += size)
            splitter.feed(std::string_view(text).substr(at, size), take);
        splitter.flush(true, take);
        if (expected.empty()) expected = found;
        EXPECT_EQ(found, expected) << size;
    }
    EXPECT_EQ(expected.size(), 1 + std::size(kRecords));
}

// An entry after a text that is passed on in parts is found, also if its head arrives later.
TEST(RecordSplitter, EntryAfterALongText) {
    const std::string text(RecordSplitter::kMostRecord, 'x');
    const std::string entry = kRecords[0].text + "\n";
    std::vector<std::string> found;
    const auto take = [&](std::string_view record) { found.emplace_back(record); };
    RecordSplitter splitter;
    for (const std::string& piece :
         {text + "\n[2", entry.substr(2), text + "\ncut ", "line\n" + entry})
        splitter.feed(piece, take);
    splitter.flush(true, take);
    const std::vector<std::string> expected = {text + "\n", entry + text + "\n", "cut line\n",
                                               entry};
    EXPECT_TRUE(found == expected);
}

TEST(LogFilter, EachCondition) {
    const auto passing = [](const LogFilter& filter) {
        unsigned bits = 0;
        for (unsigned i = 0; i < 8; ++i)
            bits |= filter.passes(parseRecord(kRecords[i].text)) ? 1U << i : 0;
        return bits;
    };
    EXPECT_EQ(passing({}), 0xFFU);
    EXPECT_EQ(passing({.level = Severity::Error}), 0x88U);
    EXPECT_EQ(passing({.level = Severity::Warning}), 0x98U);
    EXPECT_EQ(passing({.tags = {"TCP.*"}}), 0x0CU);
    EXPECT_EQ(passing({.tags = {"<*", "INFO"}}), 0x1BU);
    EXPECT_EQ(passing({.threads = {"pump"}}), 0x82U);
    EXPECT_EQ(passing({.threads = {"34"}}), 0xFFU);
    EXPECT_EQ(passing({.threads = {"35"}}), 0U);
    const struct {
        const char *since, *until;
        bool passes;
    } kTimes[] = {{"2021-03-04", "2021-03-04", true},
                  {"2021-03-04 05:06:07.008", "2021-03-04 05:06:07.008", true},
                  {"2021-03-04 05:06:07.009", "", false},
                  {"", "2021-03-04 05:06:07.007", false}};
    for (const auto& c : kTimes) {
        const LogFilter filter{.since = c.since, .until = c.until};
        EXPECT_EQ(passing(filter) != 0, c.passes) << c.since << " to " << c.until;
        // A line that is no entry has no time.
        EXPECT_FALSE(filter.passes(parseRecord("Scrivo(v3.0)")));
    }
}

TEST(LogFilter, Moments) {
    ::setenv("TZ", "UTC", 1);
    constexpr std::int64_t kNow = 1614834367;  // 2021-03-04 05:06:07
    const struct {
        const char *text, *moment;
    } kMoments[] = {{"2021-03-04", "2021-03-04"},  {"2021-03-04T05:06", "2021-03-04 05:06"},
                    {"05:06", "2021-03-04 05:06"}, {"7s", "2021-03-04 05:06:00"},
                    {"6m", "2021-03-04 05:00:07"}, {"6h", "2021-03-03 23:06:07"},
                    {"4d", "2021-02-28 05:06:07"}, {"400000d", "1970-01-01 00:00:00"}};
    for (const auto& [text, moment] : kMoments)
        EXPECT_EQ(parseMoment("since", text, kNow), moment);
    for (const char* bad : {"", "x", "m", "-5m", "2021/03/04", "5:06"})
        EXPECT_THROW(parseMoment("since", bad, kNow), UsageError) << bad;
}

TEST(TagCounts, MostFrequentFirst) {
    TagCounts counts;
    for (const auto& c : kRecords)
        counts.add(parseRecord(c.text));
    const std::string table = counts.table();
    EXPECT_TRUE(table.starts_with("         2  ")) << table;
    EXPECT_NE(table.find("         2  INFO\n"), std::string::npos);
    EXPECT_TRUE(table.ends_with("        11  in all\n"));
}

class LogFilesTest : public testing::Test {
protected:
    void write(const std::string& name, const std::string& text) {
        std::ofstream(directory_.path(name), std::ios::app) << text;
    }
    void move(const std::string& from, const std::string& to) {
        ASSERT_EQ(std::rename(directory_.path(from).c_str(), directory_.path(to).c_str()), 0);
    }
    LogFiles open(const std::string& name, bool all = true) {
        return {directory_.path(name), all,
                [this](const std::string& fault) { faults_ += fault + "\n"; }};
    }
    // Everything up to the present end.
    static std::string drain(LogFiles& files) {
        std::string text;
        std::string bytes;
        for (;;) {
            switch (files.read(bytes)) {
                case LogFiles::Read::Bytes:
                    text += bytes;
                    break;
                case LogFiles::Read::FileEnd:
                    text += '|';
                    break;
                case LogFiles::Read::End:
                    return text;
            }
        }
    }

    support::TempDir directory_;
    std::string faults_;
};

TEST_F(LogFilesTest, OldFilesFirst) {
    for (const char* name :
         {"a.log", "a_1.log", "a_2.log", "a_10.log", "a_x.log", "a_0.log", "a_01.log", "b_1.log"})
        write(name, name);
    LogFiles all = open("a.log");
    EXPECT_EQ(drain(all), "a_10.log|a_2.log|a_1.log|a.log");
    EXPECT_EQ(all.totalSize(), all.position());
    LogFiles one = open("a.log", false);
    EXPECT_EQ(drain(one), "a.log");
    std::filesystem::create_symlink("loop.log", directory_.path("loop.log"));
    const struct {
        std::string name;
        const char* reason;
    } kFailures[] = {{"none.log", "No such file or directory"},
                     {"", "Is a directory"},
                     {"a.log/b.log", "Not a directory"},
                     {"loop.log", "Too many levels of symbolic links"},
                     {std::string(300, 'x'), "File name too long"}};
    for (const auto& [file, reason] : kFailures) {
        for (const bool isAll : {true, false})
            EXPECT_EQ(support::whatOf<Failure>([&, &name = file] { open(name, isAll); }),
                      directory_.path(file) + ": " + reason);
    }
    EXPECT_EQ(faults_, "");
    // Old files that cannot be opened or read are reported, and the others are read.
    std::filesystem::create_directory(directory_.path("a_9.log"));
    std::filesystem::create_symlink("/proc/self/mem", directory_.path("a_8.log"));
    std::filesystem::create_symlink("/missing", directory_.path("a_7.log"));
    LogFiles some = open("a.log");
    EXPECT_EQ(drain(some), "a_10.log||a_2.log|a_1.log|a.log");
    EXPECT_EQ(faults_, directory_.path("a_9.log") + ": Is a directory\n" +
                           directory_.path("a_8.log") + ": Input/output error\n" +
                           directory_.path("a_7.log") + ": No such file or directory\n");
}

// The files of /proc have the size 0.
TEST_F(LogFilesTest, FileWithoutSize) {
    LogFiles files("/proc/version", false, {});
    std::string bytes;
    EXPECT_EQ(files.read(bytes), LogFiles::Read::Bytes);
    EXPECT_EQ(files.read(bytes), LogFiles::Read::End);
}

// Each line is read once, however often the files move between two reads.
TEST_F(LogFilesTest, FollowsThroughRotations) {
    write("a.log", "1");
    LogFiles files = open("a.log");
    EXPECT_EQ(drain(files), "1");
    write("a.log", "2");
    EXPECT_EQ(drain(files), "2");
    // One rotation, with a last line after the last read.
    write("a.log", "3");
    move("a.log", "a_1.log");
    write("a.log", "4");
    EXPECT_EQ(drain(files), "3|4");
    // Two at once.
    move("a_1.log", "a_2.log");
    move("a.log", "a_1.log");
    write("a.log", "5");
    move("a_2.log", "a_3.log");
    move("a_1.log", "a_2.log");
    move("a.log", "a_1.log");
    EXPECT_EQ(drain(files), "|5");
    write("a.log", "6");
    EXPECT_EQ(drain(files), "|6");
    // The file itself is removed, or emptied.
    std::remove(directory_.path("a.log").c_str());
    for (const char* name : {"a_1.log", "a_2.log", "a_3.log"})
        std::remove(directory_.path(name).c_str());
    EXPECT_EQ(drain(files), "");
    write("a.log", "77");
    EXPECT_EQ(drain(files), "|77");
    std::ofstream(directory_.path("a.log"), std::ios::trunc) << "8";
    EXPECT_EQ(drain(files), "|8");
    // Only the file itself is removed.
    write("a_1.log", "old");
    std::filesystem::last_write_time(
        directory_.path("a_1.log"),
        std::filesystem::file_time_type::clock::now() - std::chrono::hours(1));
    std::remove(directory_.path("a.log").c_str());
    EXPECT_EQ(drain(files), "");
    write("a.log", "9");
    EXPECT_EQ(drain(files), "|9");
}

// What the library itself writes.
TEST_F(LogFilesTest, RealLog) {
    qor::logger& log = qor::logger_factory::instance("tools_test");
    log.open(directory_.path("real.log"));
    log.maxFileSize(1);
    log.maxFileCount(100);
    constexpr int kEntries = 100;
    for (int i = 0; i < kEntries; ++i) {
        qor::writeInfoLog(log, __FILE__, __LINE__, "Pump::open", "ready");
        qor::writeErrorLog(log, "src/pump.cpp", 40, "Pump::open", "no pressure");
    }
    log.close();
    LogFiles files = open("real.log");
    RecordSplitter splitter;
    int info = 0;
    int errors = 0;
    const auto take = [&](std::string_view text) {
        const Record record = parseRecord(text);
        info += record.tag == "INFO" ? 1 : 0;
        errors += record.tag == "ERROR" && record.isBlock &&
                          folded(record).ends_with("[ERROR] CAUSE: no pressure (8 lines)")
                      ? 1
                      : 0;
    };
    std::string text = drain(files);
    EXPECT_GT(std::erase(text, '|'), 2u) << "there are several files";
    splitter.feed(text, take);
    splitter.flush(true, take);
    EXPECT_EQ(info, kEntries);
    EXPECT_EQ(errors, kEntries);
}

}  // namespace
}  // namespace tools
