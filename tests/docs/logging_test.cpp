// Compares docs/logging.md with the code: its examples are the test data.

#include "support/document.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

const Document& loggingPage() {
    static const Document document("docs/logging.md");
    return document;
}

// Cuts long runs of a character to the same length: they depend on the ids of process and thread.
std::string squeezed(const std::string& text) {
    constexpr std::size_t kMost = 12;
    std::string result;
    std::size_t run = 0;
    for (const char c : text) {
        run = !result.empty() && result.back() == c ? run + 1 : 1;
        if (run <= kMost || c == ' ') result += c;
    }
    return result;
}

void runIn(const char* name, const std::function<void()>& work) {
    const Handle<Worker> worker(new Worker(nullptr, name));
    worker->work = [&] { return work(), false; };
    worker->startAndWait();
    worker->join();
}

TEST(Logging, LinesAreAsDocumented) {
    LogFile file("doc");
    logger& log = file.log();
    const auto debug = [&] {
        writeDebugLog(log, __FILE__, __LINE__, "qor::TimerQueue::kill", "timer 7", "TIMER.DEBUG");
    };
    const auto info = [&] { writeInfoLog(log, __FILE__, __LINE__, "qor::Pump::open", "ready"); };
    const std::function<void()> calls[] = {
        [&] { writeDataLog(log, __FILE__, __LINE__, "DATA", "any text"); },
        debug,
        [&] { runIn("timer", debug); },
        info,
        [&] { runIn("pump", info); },
    };
    const std::vector<Row> rows = loggingPage().tablesOf("Call");
    ASSERT_EQ(rows.size(), std::size(calls));
    std::string expected;
    for (std::size_t i = 0; i < rows.size(); ++i) {
        calls[i]();
        expected += unquoted(rows[i].at(1)) + "\n";
    }
    EXPECT_EQ(file.entries(), expected);
}

TEST(Logging, BlocksAreAsDocumented) {
    const auto entriesOf = [](const std::function<void(logger&)>& write) {
        LogFile file("doc");
        write(file.log());
        return squeezed(file.entries());
    };
    const std::function<void(logger&)> examples[] = {
        [](logger& log) { writeEntryLog(log, "left", "middle", "right", '.'); },
        [](logger& log) {
            const TraceEntry start(log, "src/plant.cpp", 7, "Plant::start");
            const TraceEntry open(log, "src/pump.cpp", 38, "Pump::open");
            writeErrorLog(log, "src/pump.cpp", 40, "Pump::open", "no pressure");
        },
        [](logger& log) {
            log.debugOn(true);
            log.traceOn(true);
            QOR_TRACE(log, "Plant::start");
            QOR_TRACE(log, "Pump::open", LogType::Both, "fast");
        },
    };
    const std::vector<std::string> shown = loggingPage().blocksOf("log");
    ASSERT_EQ(shown.size(), std::size(examples));
    for (std::size_t i = 0; i < shown.size(); ++i)
        EXPECT_EQ(entriesOf(examples[i]), squeezed(shown[i]));
}

TEST(Logging, KeysAreAsDocumented) {
    logger& log = logger_factory::instance("keys");
    pml::stream out;
    log.codec(out);
    const std::vector<Row> rows = loggingPage().tablesOf("Key");
    ASSERT_EQ(rows.size(), out.unit().numofChildren());
    for (std::size_t i = 0; i < rows.size(); ++i) {
        const pml::ntv::Unit& child = out.unit()[i];
        EXPECT_EQ(child.name(), unquoted(rows[i].at(0)));
        EXPECT_EQ(child.simple() ? String(child.getStringValue()) : String("none"),
                  unquoted(rows[i].at(1)));
    }

    const std::vector<std::string> settings = loggingPage().blocksOf("pml");
    ASSERT_EQ(settings.size(), 1u);
    pml::stream in(settings[0], false);
    log.codec(in);
    EXPECT_TRUE(log.traceOn() && log.appLog("TIMER.DEBUG") && log.appLogOff("TCP.DEBUG"));
}

}  // namespace
}  // namespace qor
