#include "support/leak_table.h"
#include "support/test.h"
#include "support/threads.h"

namespace qor {
namespace {

// The checker, off at first, with a console that the test reads.
class LeakChecker : public testing::Test {
protected:
    LeakChecker() { MemLeakChecker::destroy(); }

    static MemLeakChecker& checker() { return *MemLeakChecker::instance(); }
    bool push(int n, const char* func = "here") {
        checker().push(&blocks_[n], "dir/file.cpp", 7, func);
        return true;
    }
    bool pop(int n) { return checker().pop(&blocks_[n], "file.cpp", 9, "there"); }
    // What the console shows, with the blocks by their numbers.
    std::string shown() const {
        std::string text = table_.shown();
        for (const char& block : blocks_) {
            const std::string address = streamed(static_cast<const void*>(&block));
            for (std::size_t at; (at = text.find(address)) != std::string::npos;)
                text.replace(at, address.size(), std::to_string(&block - blocks_));
        }
        return text;
    }

    const LeakTable table_;
    char blocks_[4] = {};
};

TEST_F(LeakChecker, KeepsBlocksPushedWhileItIsOn) {
    push(0);
    EXPECT_TRUE(pop(0));
    EXPECT_TRUE(pop(1));
    EXPECT_FALSE(checker().pop(nullptr, "f", 1, "g"));
    EXPECT_EQ(checker().size(), 0U);
    checker().start();
    push(0);
    push(0);
    push(1);
    EXPECT_EQ(checker().size(), 2U);
    EXPECT_TRUE(pop(0));
    EXPECT_EQ(shown(), "");
    EXPECT_FALSE(pop(0));
    EXPECT_FALSE(checker().pop(nullptr, "f", 1, "g"));
    EXPECT_EQ(shown(), "[NOTICE] not found pointer there(file.cpp:9)\n");
    MemLeakChecker::destroy();
    EXPECT_FALSE(MemLeakChecker::isStarted());
    EXPECT_EQ(checker().size(), 0U);
}

TEST_F(LeakChecker, ShowsEventsInTheScopeOfADumpEntry) {
    checker().start();
    {
        const MemLeakChecker::DumpEntry events;
        push(2);
        pop(2);
        pop(3);
        // The allocations for showing them are not shown.
        const CharBuffer text("xxx");
    }
    const std::string text = shown();
    const std::string first =
        "+++ 2 here(file.cpp:7)\n"
        "--- 2 here(file.cpp:7) (there(file.cpp:9))\n"
        "--- 3 (there(file.cpp:9))\n"
        "[NOTICE] not found pointer there(file.cpp:9)\n";
    EXPECT_EQ(text.substr(0, first.size()), first);
    const std::string rest = text.substr(first.size());
    EXPECT_EQ(rest.find("+++ "), 0U) << rest;
    EXPECT_EQ(std::count(rest.begin(), rest.end(), '\n'), 2) << rest;
    push(2);
    EXPECT_EQ(shown(), text);
}

TEST_F(LeakChecker, ReportsWhatIsLeftByItsPlace) {
    LogFile log("QOR");
    {
        const MemLeakChecker::Helper leaks;
        push(0, "twice");
        push(1, "twice");
        push(2, "once");
    }
    const std::string entries = log.entries();
    EXPECT_TRUE(contains(entries, "[INFO]") && contains(entries, "stop() "));
    EXPECT_TRUE(contains(entries,
                         "sorted = @qor::multimap{\n        1 : once(file.cpp:7)\n"
                         "        2 : twice(file.cpp:7)\n    }\n"
                         "    sorting = @qor::map{\n        once(file.cpp:7) : 1\n"
                         "        twice(file.cpp:7) : 2\n    }\n"));
    EXPECT_FALSE(MemLeakChecker::isStarted());
    EXPECT_EQ(checker().size(), 0U);
    { const MemLeakChecker::Helper leaks; }
    EXPECT_TRUE(
        contains(log.entries(), "@qor::MemLeakChecker{\n\tCongratulations! No memory leaked."));
    // With the level off nothing is written; the table is emptied all the same.
    const std::string before = log.entries();
    log.log().infoOn(false);
    checker().start();
    push(0);
    checker().stop();
    log.log().infoOn(true);
    EXPECT_EQ(log.entries(), before);
    EXPECT_EQ(checker().size(), 0U);
}

TEST_F(LeakChecker, AlignsObjects) {
    struct alignas(256) Wide : Shared {
        char content[256];
    };
    for (int i = 0; i < 4; ++i) {
        const Handle<Wide> wide = makeHandle<Wide>("maker");
        EXPECT_EQ(reinterpret_cast<std::uintptr_t>(wide.get()) % alignof(Wide), 0u);
    }
}

TEST_F(LeakChecker, NamesThePlaceThatCreatesAHandle) {
    struct Counted : Shared {
        explicit Counted(std::unique_ptr<int> content) : number(*content) {
            if (number < 0) throw std::runtime_error("meant");
        }
        const int number;
    };
    LogFile log("QOR");
    checker().start();
    EXPECT_THROW(std::ignore = makeHandle<Counted>("refused", std::make_unique<int>(-1)),
                 std::runtime_error);
    EXPECT_EQ(checker().size(), 0U);
    const Handle<Counted> kept = makeHandle<Counted>("maker", std::make_unique<int>(7));
    const std::string place = "maker(mem_leak_checker_test.cpp:" + std::to_string(__LINE__ - 1);
    EXPECT_EQ(kept->number, 7);
    checker().stop();
    EXPECT_TRUE(contains(log.entries(), place));
}

TEST_F(LeakChecker, WorksWithManyThreads) {
    console::setOn(false);
    const auto work = [] {
        for (int i = 0; i < 300; ++i) {
            std::vector<std::unique_ptr<CharBuffer>> texts;
            for (int n = 0; n < 50; ++n)
                texts.push_back(std::make_unique<CharBuffer>("xxx"));
        }
    };
    checker().start();
    inThreads(8, work);
    EXPECT_EQ(checker().size(), 0U);
    // A block that another thread releases, and a stop while others are at work.
    auto* const text = new CharBuffer("xxx");
    std::thread([text] { delete text; }).join();
    EXPECT_EQ(checker().size(), 0U);
    inThreads(5, [&work](int thread) {
        if (thread != 0) work();
        for (int i = 0; thread == 0 && i < 100; ++i) {
            const MemLeakChecker::Helper again;
        }
    });
    EXPECT_EQ(checker().size(), 0U);
}

}  // namespace
}  // namespace qor
