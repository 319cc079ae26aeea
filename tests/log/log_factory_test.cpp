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

TEST(Logger, NamedSwitchesAndTheirOppositesAreNotTheSame) {
    logger& log = logger_factory::instance("names");
    log.debugOn(true);
    log.msgLogOn(true);
    log.appLog("on", true);
    log.appLog("off", false);
    log.msgLog("on", true);
    log.msgLog("off", false);
    const struct {
        const char* name;
        bool on;
        bool off;
    } known[] = {{"on", true, false}, {"off", false, true}, {"unknown", false, false}};
    for (const auto& row : known) {
        EXPECT_EQ(log.appLog(row.name), row.on) << row.name;
        EXPECT_EQ(log.appLogOff(row.name), row.off) << row.name;
        EXPECT_EQ(log.msgLog(row.name), row.on) << row.name;
        EXPECT_EQ(log.msgLogOff(row.name), row.off) << row.name;
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
    const std::string before =
        "(infoOn(1)debugOn(0)traceOn(0)dataLogOn(0)debugLogOn(0)traceLogOn(0)diagLogOn(0)cmdLogOn("
        "0)"
        "commLogOn(0)hbLogOn(0)appLogOn(1)appLogs:map()msgLogOn(0)msgLogs:map()maxStringSize(256)"
        "consoleOn(0))";
    pml::stream out;
    log.codec(out);
    EXPECT_EQ(out.toPml(false), before);

    pml::stream in("(infoOn(false)appLogs(A(1)B(0))maxStringSize(9)consoleOn(true))", false);
    log.codec(in);
    EXPECT_TRUE(!log.infoOn() && log.appLog("A") && log.appLogOff("B") && console::isOn());
    EXPECT_EQ(log.maxStringSize(), 9u);
    std::ostringstream shown;
    log.dump(shown);
    EXPECT_NE(shown.str().find("@qor::loggerImpl{\n    infoOn_ = false\n    debugOn_ = false\n"),
              std::string::npos)
        << shown.str();
    EXPECT_NE(shown.str().find("    maxStringSize_ = 9\n    console::isOn() = true\n"
                               "    inited_ = true\n}"),
              std::string::npos)
        << shown.str();

    // What a codec raises is logged by the logger that it is of.
    pml::stream twice;
    log.codec(twice);
    EXPECT_THROW(log.codec(twice), DuplicatedUnitException);

    logger_factory::destroy();
    EXPECT_TRUE(log.infoOn());
    EXPECT_FALSE(log.appLog("A"));
    EXPECT_EQ(&logger_factory::instance("codec"), &log);
    console::setOn(false);
}

TEST(Writers, GiveLinesTheirShapes) {
    LogFile file("lines");
    logger& log = file.log();
    writeDataLog(log, __FILE__, __LINE__, "DATA", "as it is %s%n");
    writeDebugLog(log, __FILE__, __LINE__, "qor::TimerQueue::kill", "timer 7", "TIMER.DEBUG");
    writeInfoLog(log, __FILE__, __LINE__, "qor::Pump::open", "started %d");
    writeInfoLog(log, __FILE__, __LINE__, nullptr, istr(), nullptr);
    writeEntryLog(log, "left", "middle", "right", '.');
    writeEntryLog(log, std::string(60, 'l'), std::string(50, 'm'), "1234567", '.');
    writeEntryLog(log, std::string(60, 'l'), std::string(50, 'm'), "123456", '.');
    EXPECT_EQ(file.entries(),
              "as it is %s%n\n"
              "[TIMER.DEBUG][qor::TimerQueue::kill] timer 7\n"
              "[INFO]open() started %d\n"
              "[]() \n" +
                  row("left middle", "right", '.') + std::string(60, 'l') + " " +
                  std::string(50, 'm') + " 1234567\n" + std::string(60, 'l') + " " +
                  std::string(50, 'm') + ".123456\n");
}

TEST(Writers, GiveFailuresTheShapeOfBlocks) {
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

TEST(Writers, KeepBlocksToTheirWidth) {
    LogFile file("width");
    const std::string wide(130, 'w');
    writeLog(file.log(), nullptr, wide, "text", "sub", "end");
    writeLog(file.log(), nullptr, "", "text", "", nullptr);
    EXPECT_EQ(file.entries(), std::string(118, 'w') + "\n" + std::string(118, '=') + "\ntext\n" +
                                  row("", "___", ' ') + row("", "sub", ' ') + row("", "end", '-') +
                                  "\n" + "text\n\n");
}

TEST(Logger, IsOpenedClosedAndOpenedAgain) {
    LogFile file("open");
    logger& log = file.log();
    log.open("elsewhere.log");  // it has a file
    log.write("one");
    log.close();
    log.write("lost");
    log.level(3);
    log.open(file.path().c_str());
    log.level(1);
    log.write("above the level");
    log.level(2);
    log.write(istr("two and more", 3));
    // Between them stands the banner of the file that was opened again.
    const std::string entries = file.entries();
    EXPECT_TRUE(entries.starts_with("one\r\nScrivo(v3.0) Begin Time:")) << entries;
    EXPECT_TRUE(entries.ends_with("\ntwo\n")) << entries;
    EXPECT_EQ(entries.find("lost") + 1, 0u);
    EXPECT_EQ(entries.find("above") + 1, 0u);
}

TEST(Logger, LogsThrows) {
    LogFile file("QOR");
    EXPECT_THROW(QOR_THROW(OutOfRangeException, "qor::f", "too far"), OutOfRangeException);
    EXPECT_NE(file.entries().find("     CAUSE: OutOfRangeException: too far\n        AT: qor::f("),
              std::string::npos)
        << file.entries();
}

// Of a worker its name stands in each line.
TEST(Writers, NameTheWorker) {
    class Worker : public SimpleThread {
    public:
        explicit Worker(logger& log) : SimpleThread(nullptr, "pump"), log_(log) {}

    private:
        bool onLoop() override {
            writeDebugLog(log_, __FILE__, __LINE__, "f", "text");
            return false;
        }
        logger& log_;
    };
    LogFile file("worker");
    const Handle<Worker> worker(new Worker(file.log()));
    worker->startAndWait();
    worker->join();
    EXPECT_EQ(file.entries(), "[DEBUG]{pump}[f] text\n");
}

TEST(Logger, TakesWritesAndSwitchesOfManyThreads) {
    LogFile file("many");
    logger& log = file.log();
    std::vector<std::thread> threads;
    for (int t = 0; t < 4; ++t) {
        threads.emplace_back([&log, t] {
            for (int i = 0; i < 200; ++i) {
                log.appLog(t % 2 == 0 ? "A" : "B", i % 2 == 0);
                log.debugOn(log.appLog("A"));
                writeInfoLog(log, __FILE__, __LINE__, "f", "line");
                if (i % 50 == 0) writeErrorLog(log, __FILE__, __LINE__, "f", "block");
                if (t == 0 && i == 100) logger_factory::destroy();
                if (t == 0 && i == 101) {
                    log.close();
                }
            }
        });
    }
    for (std::thread& thread : threads)
        thread.join();
    EXPECT_EQ(&logger_factory::instance("many"), &log);
}

}  // namespace
}  // namespace qor
