#include "qor/log/log_tracer.h"

#include "support/test.h"

namespace qor {
namespace {

std::string stackText() {
    std::ostringstream os;
    tracer::instance()->separator(" < ");
    printTraceStack(os);
    return os.str();
}

// A line of 118 columns.
std::string filled(const std::string& text, char fill) {
    const std::size_t head = std::string("2026-11-24 10:20:30.123").size() +
                             SimpleThread::current().sThreadId_.size() - sizeof "TIME<ID>" + 1;
    return text + std::string(118 - head - text.size(), fill) + "\n";
}

TEST(TraceEntry, IsTwoLinesAndAFrameOfTheStack) {
    LogFile file("trace");
    logger& log = file.log();
    {
        const TraceEntry silent(log, "a.cpp", 1, "silent");  // traceOn is off
        log.debugOn(true);
        log.traceOn(true);
        const TraceEntry outer(log, "dir/b.cpp", 2, "outer", LogType::Both, "why");
        TraceEntry middle(log, nullptr, 3, "middle", LogType::Enter);
        {
            const TraceEntry inner(log, "c.cpp", 4, "inner", LogType::Leave);
            EXPECT_EQ(stackText(), "inner(c.cpp:4) < middle < outer(b.cpp:2) < silent(a.cpp:1)");
            const Exception raised("x.cpp", 1, "f", "name", "message");
            EXPECT_EQ(raised.stack().container().size(), 4u);
        }
        const TraceEntry none(log, "d.cpp", 5, "none", LogType::None);
        const TraceEntry copy(middle);  // logs its own end as the original does
        EXPECT_EQ(stackText(),
                  "none(d.cpp:5) < none(d.cpp:5) < middle < outer(b.cpp:2) < "
                  "silent(a.cpp:1)");
    }
    EXPECT_EQ(stackText(), "");
    EXPECT_EQ(file.entries(), filled("TIME<ID>[trace] TRACE  .... outer( why )", '.') +
                                  filled("TIME<ID>[trace] TRACE  ........ middle()", '.') +
                                  filled("TIME<ID>[trace] TRACE~ ____________ inner()", '_') +
                                  filled("TIME<ID>[trace] TRACE~ ____ outer( why )", '_') +
                                  filled("TIME<ID>[trace] TRACE~ silent()", '_'));
}

TEST(TraceEntry, EndsWhenAnExceptionPasses) {
    logger& log = logger_factory::instance("unwound");
    try {
        QOR_TRACE(log, "f");
        const TraceEntry entry(log, "a.cpp", 1, "g", LogType::Leave, "info");
        const TraceEntry copy(entry);
        EXPECT_EQ(copy.info(), "info");
        EXPECT_EQ(copy.logType(), LogType::Leave);
        EXPECT_EQ(tracer::instance()->container().size(), 3u);
        throw 1;
    } catch (int) {
    }
    EXPECT_TRUE(tracer::instance()->container().empty());
}

TEST(TraceEntry, IsUntracedWithoutMemory) {
    logger& log = logger_factory::instance("short");
    std::thread([&] {
        const FailAllocations failing(1);
        const TraceEntry first(log, "a.cpp", 1, "first", LogType::Both,
                               "an info that is too long for the object itself");
        EXPECT_TRUE(failing.happened());
        EXPECT_EQ(first.info(), "");
    }).join();
}

// The stacks of all threads.
std::string all() {
    return dumped(TRACER());
}

TEST(Tracer, KeepsAStackForEachRunningThread) {
    logger& log = logger_factory::instance("threads");
    const TraceEntry here(log, "a.cpp", 1, "here");
    std::thread([&] {
        const TraceEntry there(log, "b.cpp", 2, "there");
        EXPECT_EQ(stackText(), "there(b.cpp:2)");
        EXPECT_TRUE(contains(all(), "_v.func()='here'") && contains(all(), "_v.func()='there'"));
    }).join();
    EXPECT_FALSE(contains(all(), "_v.func()='there'"));

    tracer& own = *tracer::instance();
    own.destroy_current_stack();
    EXPECT_FALSE(contains(all(), "_v.func()='here'"));
    own.pop();  // nothing to take
    own.push("c.cpp", 3, "again");
    EXPECT_EQ(stackText(), "again(c.cpp:3)");
    tracer::destroy();
    EXPECT_EQ(stackText(), "");
    own.pop();
}

// Destructors of thread_local objects may trace, too, and nothing of it remains.
TEST(Tracer, ForgetsAThreadThatTracesAtItsEnd) {
    struct Last {
        ~Last() { const TraceEntry late(logger_factory::instance("late"), "a.cpp", 1, "late"); }
    };
    std::thread([] {
        thread_local const Last last;
        QOR_TRACE(logger_factory::instance("late"), "early");
        static_cast<void>(&last);
    }).join();
    EXPECT_FALSE(contains(all(), "late"));
}

// A stream of which each write is a traced call.
struct TracingBuffer : std::stringbuf {
    std::streamsize xsputn(const char* text, std::streamsize n) override {
        QOR_TRACE(logger_factory::instance("buffer"), "xsputn");
        return std::stringbuf::xsputn(text, n);
    }
};

TEST(Tracer, IsShownOnAStreamThatTraces) {
    logger& log = logger_factory::instance("shown");
    const TraceEntry here(log, "a.cpp", 1, "here");
    TracingBuffer buffer;
    std::ostream os(&buffer);
    dumper d(os);
    d << TRACER() << LOGGER_FACTORY();
    EXPECT_TRUE(contains(buffer.str(), "here"));
}

}  // namespace
}  // namespace qor
