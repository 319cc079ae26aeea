// Logging at the edges of the library's life: each case in a process of its own.

#include "support/fork.h"
#include "support/test.h"

namespace qor {
namespace {

// The entries, a line each, without what differs from thread to thread and from build to build.
std::vector<std::string> linesOf(const LogFile& file) {
    std::vector<std::string> lines;
    std::istringstream entries(file.entries());
    for (std::string line; std::getline(entries, line);) {
        if (!line.empty() && line.back() == '\r') line.pop_back();
        for (const char* const varying :
             {" qor version", " qor compiled at", " revision", " build"}) {
            if (line.starts_with(varying)) line = varying;
        }
        for (const char* const name : {"screen{", "timer{"}) {
            const std::size_t id = line.find(name);
            if (id == std::string::npos) continue;
            const std::size_t brace = line.find('{', id);
            line.erase(brace, line.find('}', brace) + 1 - brace);
        }
        // A thread may be stopped before it has looked up from its birth.
        if (line.find("thread begin failure") == std::string::npos) lines.push_back(line);
    }
    return lines;
}

TEST(Lifecycle, RunsItsStepsInOrder) {
    LogFile file("QOR");
    EXPECT_EXIT(
        {
            console::setOn(true);
            {
                const InitFini library("test", false, 0);
                shutdown();
            }
            file.log().write("behind the end");  // it is closed
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
    const std::vector<std::string> lines = linesOf(file);
    const std::vector<std::string> expected = {
        "",
        " qor initializing...",
        " qor version",
        " qor compiled at",
        " revision",
        " build",
        "",
        " qor startup...",
        " num of timers = 5000",
        "[INFO]{timer}run_i() thread begin.",
        "[INFO]{screen}run_i() thread begin.",
        " qor shutdown...",
        "",
        "[INFO]onStop_i() timer thread stopping...",
        "[INFO]{timer}run_i() thread end.",
        "[INFO]stop() timer thread stopped.",
        "[INFO]~SimpleThread() timer thread finalized.",
        "[INFO]onStop_i() screen thread stopping...",
        "[INFO]{screen}run_i() thread end.",
        "[INFO]stop() screen thread stopped.",
        "[INFO]~SimpleThread() screen thread finalized.",
        " qor shutdown...",
        "",
        "[INFO]~ThreadOwner() thread owner timerManager finalized",
        " qor finalized.",
        ""};
    EXPECT_EQ(lines, expected);
}

TEST(Lifecycle, MayEndWhileALoggerIsInUse) {
    EXPECT_EXIT(
        {
            LogFile file("used");
            logger& log = file.log();
            std::atomic<bool> begun{false};
            std::atomic<bool> ended{false};
            std::thread user([&] {
                while (!ended) {
                    writeInfoLog(log, __FILE__, __LINE__, "f", "text");
                    writeErrorLog(log, __FILE__, __LINE__, "f", "text");
                    begun = true;
                    begun.notify_all();
                }
            });
            begun.wait(false);
            init("test", false, 0);
            fini();
            init("test", false, 0);
            fini();
            ended = true;
            user.join();
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
}

TEST(Lifecycle, LetsStaticDestructorsLog) {
    LogFile file("static");
    EXPECT_EXIT(
        {
            static logger* log = &file.log();
            static const std::string path = file.path();
            struct Last {
                ~Last() {
                    log->open(path.c_str());
                    writeInfoLog(*log, __FILE__, __LINE__, "f", "at the very end");
                    try {
                        QOR_THROW(OutOfRangeException, "f");
                    } catch (const OutOfRangeException&) {
                    }
                }
            };
            static const Last last;
            { const InitFini library("test", false, 0); }
            std::exit(0);
        },
        testing::ExitedWithCode(0), "");
    EXPECT_EQ(linesOf(file), std::vector<std::string>{"[INFO]f() at the very end"});
}

TEST(Lifecycle, LogsOnBothSidesOfAFork) {
    LogFile file("fork");
    EXPECT_EXIT(
        {
            logger& log = file.log();
            std::atomic<bool> ended{!support::forksBesideAllocations};
            const auto useAll = [&] {
                QOR_TRACE(log, "busy");
                log.write("busy");
                log.appLog("A", logger_factory::instance("other").appLog("B"));
                dumper d(true);
                d << TRACER() << LOGGER_FACTORY() << THREAD_FACTORY();
                return d.str();
            };
            // The forks come while another thread is in the middle of it all.
            QOR_TRACE(log, "parent");
            std::thread busy([&] {
                while (!ended)
                    useAll();
            });
            int status = 0;
            for (int i = 0; i < 20 && status == 0; ++i) {
                const pid_t child = fork();
                if (child == 0) {
                    alarm(30);
                    const std::string all = useAll();
                    const bool alone =
                        all.find("_v.func()='busy'") == all.rfind("_v.func()='busy'");
                    const bool known = all.find("_v.func()='parent'") != std::string::npos;
                    writeErrorLog(log, __FILE__, __LINE__, "f", "child");
                    _exit(alone && known ? 0 : 1);
                }
                waitpid(child, &status, 0);
            }
            writeInfoLog(log, __FILE__, __LINE__, "f", "parent");
            ended = true;
            busy.join();
            std::exit(status == 0 ? 0 : 1);
        },
        testing::ExitedWithCode(0), "");
    const std::string entries = file.entries();
    EXPECT_NE(entries.find("     CAUSE: child\n"), std::string::npos);
    EXPECT_NE(entries.find("[INFO]f() parent"), std::string::npos);
}

}  // namespace
}  // namespace qor
