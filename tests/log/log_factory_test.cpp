#include "qor/log/log_factory.h"

#include "support/test.h"

namespace qor {
namespace {

const std::string kRule(118, '-');

// A row of 118 columns, each text flush to its side.
std::string row(const std::string& left, const std::string& right, char fill) {
    return left + std::string(118 - left.size() - right.size(), fill) + right + "\n";
}

TEST(Logger, SwitchesDependOnTheirMasters) {
    logger& log = logger_factory::instance("switches");
    EXPECT_TRUE(log.infoOn() && log.appLogOn());
    EXPECT_FALSE(log.debugOn() || log.traceOn() || log.msgLogOn());
    EXPECT_EQ(log.maxStringSize(), 256u);
    EXPECT_EQ(log.name(), "switches");
    EXPECT_EQ(&logger_factory::instance("switches"), &log);

    log.traceOn(true);
    log.msgLogOn(true);
    pml::stream settings(
        "(dataLogOn(1)debugLogOn(1)traceLogOn(1)diagLogOn(1)cmdLogOn(1)commLogOn(1)"
        "hbLogOn(1))",
        false);
    log.codec(settings);
    const auto all = [&] {
        return std::vector<bool>{log.traceOn(),    log.msgLogOn(),   log.dataLogOn(),
                                 log.debugLogOn(), log.traceLogOn(), log.diagLogOn(),
                                 log.cmdLogOn(),   log.commLogOn(),  log.hbLogOn()};
    };
    EXPECT_EQ(all(), std::vector<bool>(9, false));
    log.debugOn(true);
    EXPECT_EQ(all(), std::vector<bool>(9, true));
}

TEST(Logger, NamedSwitchesDifferFromTheirOpposites) {
    logger& log = logger_factory::instance("names");
    log.debugOn(true);
    log.msgLogOn(true);
    for (const bool on : {true, false}) {
        log.appLog(on ? "on" : "off", on);
        log.msgLog(on ? "on" : "off", on);
    }
    for (const std::string_view name : {"on", "off", "unknown"}) {
        SCOPED_TRACE(name);
        EXPECT_EQ(log.appLog(istr(name)), name == "on");
        EXPECT_EQ(log.appLogOff(istr(name)), name == "off");
        EXPECT_EQ(log.msgLog(istr(name)), name == "on");
        EXPECT_EQ(log.msgLogOff(istr(name)), name == "off");
    }
    log.msgLog("default", true);
    EXPECT_TRUE(log.msgLog("unknown") && !log.msgLogOff("unknown") && !log.msgLog("off"));
    log.appLogOn(false);
    log.msgLogOn(false);
    EXPECT_TRUE(!log.appLog("on") && log.appLogOff("on") && log.appLogOff("unknown"));
    EXPECT_TRUE(!log.msgLog("on") && log.msgLogOff("on"));
}

TEST(Logger, ReadsAndWritesItsSwitches) {
    logger& log = logger_factory::instance("codec");
    pml::stream in("(infoOn(false)appLogs(A(1)B(0))maxStringSize(9)consoleOn(true))", false);
    log.codec(in);
    EXPECT_TRUE(!log.infoOn() && log.appLog("A") && log.appLogOff("B") && console::isOn());
    EXPECT_EQ(log.maxStringSize(), 9u);
    const std::string shown = dumped(log, false);
    EXPECT_TRUE(contains(shown, "@qor::loggerImpl{\n    infoOn_ = false\n    debugOn_ = false\n"));
    EXPECT_TRUE(contains(shown,
                         "    maxStringSize_ = 9\n    console::isOn() = true\n"
                         "    inited_ = true\n}"));
    pml::stream twice;
    log.codec(twice);
    EXPECT_TRUE(contains(twice.toPml(false), "appLogs:map(A(1)B(0))msgLogOn(0)msgLogs:map()"));
    // A codec passes exceptions on.
    EXPECT_THROW(log.codec(twice), DuplicatedUnitException);

    logger_factory::destroy();
    EXPECT_TRUE(log.infoOn());
    EXPECT_FALSE(log.appLog("A"));
    EXPECT_EQ(&logger_factory::instance("codec"), &log);
    console::setOn(false);
}

TEST(Writers, FormatLines) {
    LogFile file("lines");
    logger& log = file.log();
    writeDataLog(log, __FILE__, __LINE__, "DATA", "as it is %s%n");
    writeDebugLog(log, __FILE__, __LINE__, "qor::Pump::open", "pump 7");
    writeInfoLog(log, __FILE__, __LINE__, "qor::Pump::open", "started %d");
    writeInfoLog(log, __FILE__, __LINE__, nullptr, istr(), nullptr);
    writeEntryLog(log, "left", "middle", "right", '.');
    writeEntryLog(log, std::string(60, 'l'), std::string(50, 'm'), "1234567", '.');
    writeEntryLog(log, std::string(60, 'l'), std::string(50, 'm'), "123456", '.');
    EXPECT_EQ(file.entries(),
              "as it is %s%n\n"
              "[DEBUG][qor::Pump::open] pump 7\n"
              "[INFO]open() started %d\n"
              "[]() \n" +
                  row("left middle", "right", '.') + std::string(60, 'l') + " " +
                  std::string(50, 'm') + " 1234567\n" + std::string(60, 'l') + " " +
                  std::string(50, 'm') + ".123456\n");
}

TEST(Writers, FormatFailuresAsBlocks) {
    LogFile file("blocks");
    logger& log = file.log();
    const TraceEntry outer(log, "dir/outer.cpp", 1, "outer");
    const TraceEntry inner(log, "dir/inner.cpp", 2, "inner");
    const std::string origin =
        "\n        AT: qor::f(x.cpp:7)\nCALL STACK: inner(inner.cpp:2)"
        "\n            outer(outer.cpp:1)";
    const struct {
        const char* title;
        std::function<void()> write;
        std::string text;
    } blocks[] = {
        {"ERROR", [&] { writeErrorLog(log, "a/x.cpp", 7, "qor::f", "why%s"); },
         "     CAUSE: why%s" + origin},
        {"OWN", [&] { writeErrorLog(log, "a/x.cpp", 7, "qor::f", "why", "OWN"); },
         "     CAUSE: why" + origin},
        {"EXCEPTION", [&] { writeExcptLog(log, "a/x.cpp", 7, "qor::f", "text"); },
         "     CAUSE: catch a exception." + origin + "\ntext"},
        {"THROWING", [&] { exceptionThrown(log, "a/x.cpp", 7, "qor::f", "text"); },
         "     CAUSE: text" + origin},
        {"ASSERT FAILURE", [&] { assertFailure(log, "a == b", "a/x.cpp", 7, "qor::f", "abort"); },
         " CONDITION: a == b" + origin + "\n   WILL DO: abort"},
        {"ENSURE FAILURE", [&] { ensureFailure(log, "a == b", "a/x.cpp", 7, "qor::f", nullptr); },
         " CONDITION: a == b" + origin},
    };
    std::string expected;
    const std::size_t head =
        std::string("2026-11-24 10:20:30.123").size() + SimpleThread::current().sThreadId_.size();
    for (const auto& block : blocks) {
        block.write();
        const std::string title = block.title;
        const std::string tail = "[blocks][" + title + "]";
        expected += "\n" + std::string(118 - head - tail.size(), '-') + "TIME<ID>" + tail + "\n" +
                    row("", title, ' ') + row("", std::string(title.size(), '='), ' ') +
                    block.text + "\n" + kRule + "\n\n";
    }
    EXPECT_EQ(file.entries(), expected);
}

TEST(Writers, LimitTheWidthOfBlocks) {
    LogFile file("width");
    const std::string wide(130, 'w');
    writeLog(file.log(), nullptr, wide, "text", "sub", "end");
    writeLog(file.log(), nullptr, "", "text", "", nullptr);
    EXPECT_EQ(file.entries(), std::string(118, 'w') + "\n" + std::string(118, '=') + "\ntext\n" +
                                  row("", "___", ' ') + row("", "sub", ' ') + row("", "end", '-') +
                                  "\n" + "text\n\n");
}

TEST(Logger, LetsAWatcherOfAllocationsUseIt) {
    LogFile file("watched");
    logger& log = file.log();
    for (const std::function<void()>& allocates :
         {std::function<void()>([&] { log.appLog("own", true); }),
          std::function<void()>([&] { log.msgLog("own", true); }),
          std::function<void()>([] { logger_factory::instance("new"); })}) {
        log.appLog("seen", false);
        {
            const AtAllocation watching(
                [&] { logger_factory::instance("watched").appLog("seen", true); });
            allocates();
        }
        EXPECT_TRUE(log.appLog("seen"));
    }
}

TEST(Logger, IsOpenedClosedAndOpenedAgain) {
    LogFile file("open");
    logger& log = file.log();
    log.open("elsewhere.log");  // it has a file
    EXPECT_FALSE(std::filesystem::exists("elsewhere.log"));
    log.write("one");
    log.close();
    log.write("lost");
    log.level(3);
    log.open(file.path().c_str());
    log.level(1);
    log.write("above the level");
    log.level(2);
    log.write(istr("two and more", 3));
    // Between them is the banner of the reopened file.
    const std::string entries = file.entries();
    EXPECT_TRUE(entries.starts_with("one\r\nScrivo(v3.0) Begin Time:")) << entries;
    EXPECT_TRUE(entries.ends_with("\ntwo\n")) << entries;
    EXPECT_FALSE(contains(entries, "lost") || contains(entries, "above"));
}

TEST(Logger, LogsThrows) {
    LogFile file("QOR");
    EXPECT_THROW(QOR_THROW(OutOfRangeException, "qor::f", "too far"), OutOfRangeException);
    EXPECT_TRUE(
        contains(file.entries(), "     CAUSE: OutOfRangeException: too far\n        AT: qor::f("));
}

}  // namespace
}  // namespace qor
