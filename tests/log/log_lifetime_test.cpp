// Logging at the edges of the library's life: each case in a process of its own.

#include <regex>

#include "support/child.h"
#include "support/recorder.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

// The lines without what differs from run to run, such as the id in "timer{12.34}".
std::string linesOf(const LogFile& file) {
    static const std::regex varying(
        "\r|(timer|screen)\\{[^}]*\\}|( qor version| qor compiled at| revision| build)[^\n]*");
    return std::regex_replace(file.entries(), varying, "$1$2");
}

TEST(Lifecycle, RunsItsStepsInOrder) {
    LogFile file("QOR");
    const int status = statusOf([&] {
        console::setOn(true);
        {
            const InitFini library("test", false, 0);
            shutdown();
        }
        file.log().write("after the end");  // it is closed
        std::exit(0);
    });
    EXPECT_EQ(status, 0);
    // A thread may be stopped before it has begun.
    const std::regex failure("[^\n]*thread begin failure[^\n]*\n");
    EXPECT_EQ(std::regex_replace(linesOf(file), failure, ""),
              "\n qor initializing...\n qor version\n qor compiled at\n revision\n build\n\n"
              " qor startup...\n num of timers = 5000\n"
              "[INFO]{timer}run_i() thread begin.\n[INFO]{screen}run_i() thread begin.\n"
              " qor shutdown...\n\n"
              "[INFO]onStop_i() timer thread stopping...\n[INFO]{timer}run_i() thread end.\n"
              "[INFO]stop() timer thread stopped.\n"
              "[INFO]~SimpleThread() timer thread finalized.\n"
              "[INFO]onStop_i() screen thread stopping...\n[INFO]{screen}run_i() thread end.\n"
              "[INFO]stop() screen thread stopped.\n"
              "[INFO]~SimpleThread() screen thread finalized.\n"
              " qor shutdown...\n\n"
              "[INFO]~ThreadOwner() thread owner timerManager finalized\n qor finalized.\n\n");
}

// Uses all of logging, and returns what the registries show.
std::string useAll(logger& log) {
    QOR_TRACE(log, "busy");
    log.appLog("A", logger_factory::instance("other").appLog("B"));
    log.debugOn(log.appLog("A"));
    log.write("busy");
    writeInfoLog(log, __FILE__, __LINE__, "f", "busy");
    return dumped(TRACER()) + dumped(LOGGER_FACTORY()) + dumped(THREAD_FACTORY());
}

TEST(Lifecycle, MayEndWhileInUse) {
    LogFile file("used");
    const int status = statusOf([&] {
        logger& log = file.log();
        std::atomic<int> rounds{0};
        std::atomic<bool> ended{false};
        std::thread users([&] {
            inThreads(3, [&] {
                while (!ended) {
                    useAll(log);
                    writeErrorLog(log, __FILE__, __LINE__, "f", "block");
                    ++rounds;
                }
            });
        });
        while (rounds < 10)
            std::this_thread::yield();
        for (int i = 0; i < 2; ++i) {
            init("test", false, 0);
            logger_factory::destroy();
            log.close();
            fini();
        }
        ended = true;
        users.join();
        std::exit(0);
    });
    EXPECT_EQ(status, 0);
}

TEST(Lifecycle, LetsStaticDestructorsLog) {
    LogFile file("static");
    const int status = statusOf([&] {
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
    });
    EXPECT_EQ(status, 0);
    EXPECT_EQ(linesOf(file), "[INFO]f() at the very end\n");
}

TEST(Lifecycle, LogsOnBothSidesOfAFork) {
    LogFile file("fork");
    const int status = statusOf([&] {
        logger& log = file.log();
        // Another thread logs during the forks.
        QOR_TRACE(log, "parent");
        std::optional<Busy> busy, showing;
        busy.emplace([&] { useAll(log); });
        // The C library has a lock for the time zone.
        showing.emplace([s = 0LL]() mutable { Time::seconds(s += 7200).toDateTime(); });
        int failure = 0;
        for (int i = 0; i < 60 && failure == 0; ++i) {
            failure = statusOf([&] {
                alarm(30);
                const std::string all = useAll(log);
                const bool alone = all.find("_v.func()='busy'") == all.rfind("_v.func()='busy'");
                const bool known = all.find("_v.func()='parent'") != std::string::npos;
                writeErrorLog(log, __FILE__, __LINE__, "f", "child");
                _exit(alone && known ? 0 : 1);
            });
        }
        writeInfoLog(log, __FILE__, __LINE__, "f", "parent");
        busy.reset();
        showing.reset();
        std::exit(failure == 0 ? 0 : 1);
    });
    EXPECT_EQ(status, 0);
    const std::string entries = file.entries();
    EXPECT_TRUE(contains(entries, "     CAUSE: child\n") && contains(entries, "[INFO]f() parent"));
}

TEST(Lifecycle, ReadsSwitchesInAForkedChild) {
    logger& log = logger_factory::instance("fork");
    const auto use = [&] {
        pml::stream switches("switches(traceOn(1)appLogs:map(A(1)B(0)))", false);
        log.codec(switches);
        return true;
    };
    EXPECT_EQ(statusBesideThread(use, true), 0);
    log.traceOn(false);
}

// The records of threads need one of the process's keys for thread-local data.
TEST(Lifecycle, NeedsNoRecordsOfThreads) {
    const int status = statusOf([] {
        for (pthread_key_t key; pthread_key_create(&key, nullptr) == 0;) {
        }
        std::promise<void> fired;
        Recorder object;
        object.onFire = [&](TimerId, unsigned long) {
            fired.set_value();
            return OnTimerResult();
        };
        const InitFini library("test", false, 0);
        TimerId id;
        TimerManager::instance()->setTimer(id, "t", 0, 0, &object, 1, nullptr);
        TimerManager::instance()->start();
        fired.get_future().wait();
    });
    EXPECT_EQ(status, 0);
}

// Although the threads of the parent do not exist in the child.
TEST(Lifecycle, EndsInAForkedChild) {
    const int status = statusOf([] {
        const InitFini library("test", false, 0);
        int failure = 0;
        const auto end = [&] {
            alarm(30);
            fini();
        };
        // At least one of the forks finds the thread of the timers waiting, and one finds it inside
        // a callback.
        for (int i = 0; i < 10 && failure == 0; ++i)
            failure = statusOf(end);
        std::promise<void> firing, ended;
        Recorder object;
        object.onFire = [&](TimerId, unsigned long) {
            firing.set_value();
            ended.get_future().wait();
            return OnTimerResult();
        };
        TimerId id;
        TimerManager::instance()->setTimer(id, "t", 0, 0, &object, 1, nullptr);
        TimerManager::instance()->start();
        firing.get_future().wait();
        if (failure == 0) failure = statusOf(end);
        ended.set_value();
        std::exit(failure == 0 ? 0 : 1);
    });
    EXPECT_EQ(status, 0);
}

}  // namespace
}  // namespace qor
