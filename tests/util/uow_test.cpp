#include "qor/util/uow.h"

#include "support/test.h"

namespace qor {
namespace {

// Records its calls, and calls the functions that the test sets.
struct Unit : UnitOfWork {
    explicit Unit(UnitOfWork* parent = nullptr, const char* name = "unit")
        : UnitOfWork(name, parent) {}
    void on_init() override {
        done += "init ";
        init();
    }
    void on_loop() override {
        done += "loop ";
        loop(++passes);
    }
    void on_fini() override { done += "fini"; }

    std::function<void()> init = [] {};
    std::function<void(int)> loop = [](int) {};
    std::string done;
    int passes = 0;
};

TEST(UnitOfWork, RunsUntilItIsStopped) {
    const struct {
        std::function<void(Unit&, int)> loop;
        const char* done;
        int result;
        const char* logged = "";
    } cases[] = {
        {[](Unit& u, int) { u.stop(5); }, "init loop fini", 5},
        // Raises, and then stops.
        {[](Unit& u, int n) {
             if (n == 1) QOR_THROW(InvalidDataException, "f", "meant");
             u.stop(0);
         },
         "init loop loop fini", 0, "[EXCEPTION]"},
        {[](Unit& u, int) {
             u.stop(0);
             throw std::runtime_error("meant");
         },
         "init loop fini", 2, "<ERROR>"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(&c - cases);
        LogFile log("QOR");
        Unit unit;
        unit.loop = [&](int pass) { c.loop(unit, pass); };
        EXPECT_EQ(unit.start(), c.result);
        EXPECT_EQ(unit.done, c.done);
        EXPECT_FALSE(unit.running());
        EXPECT_TRUE(contains(log.entries(), c.logged));
    }
    Unit other;
    other.init = [&] { other.stop(3); };
    EXPECT_EQ(other.start(), 3);
    EXPECT_EQ(other.done, "init fini");
    other.init = [] {};
    other.loop = [](int) { throw 7; };
    EXPECT_THROW(other.start(), int);
    EXPECT_FALSE(other.running());
}

TEST(UnitOfWork, IsStoppedByAnotherThreadThoughEachPassRaises) {
    Unit unit;
    std::atomic<int> passes{0};
    unit.loop = [&](int) {
        ++passes;
        throw std::runtime_error("for ever");
    };
    std::thread stopper([&] {
        while (passes < 3)
            std::this_thread::yield();
        unit.stop(9);
    });
    unit.start();
    stopper.join();
    EXPECT_FALSE(unit.running());
}

TEST(UnitOfWork, IsPartOfATree) {
    Unit root(nullptr, "main");
    Unit a(&root, "a"), b(&a, "b");
    EXPECT_EQ(b.path(), "main/a/b");
    EXPECT_EQ(b.root(), &root);
    EXPECT_TRUE(root.children().empty());
    root.loop = [&](int) { a.start(); };
    a.loop = [&](int) { b.stopAll(4); };
    EXPECT_EQ(root.start(), 4);
}

TEST(UnitOfWork, DeletesItsChildren) {
    struct Child : Unit {
        explicit Child(int& n) : count(n) {}
        ~Child() override { ++count; }
        int& count;
    };
    int deleted = 0;
    const auto newChild = [&] { return checkedNew<Child>(__FILE__, __LINE__, "test", deleted); };
    auto* parent = checkedNew<Unit>(__FILE__, __LINE__, "test");
    parent->children() = {newChild(), newChild()};
    parent->children().front()->children().push_back(nullptr);
    EXPECT_EQ(
        raisedIn<NullPointerException>([&] { checkedDelete(parent, __FILE__, __LINE__, "test"); }),
        "qor::UnitOfWork::~UnitOfWork");
    EXPECT_EQ(deleted, 2);
    // A child may take itself out of the list, and one that raises does not keep its siblings.
    struct Leaving : Child {
        using Child::Child;
        ~Leaving() override { around->children().remove(this); }
        Unit* around = nullptr;
    };
    struct Raising : Unit {
        ~Raising() noexcept(false) override { throw 7; }
    };
    parent = new Unit;
    auto* const leaving = checkedNew<Leaving>(__FILE__, __LINE__, "test", deleted);
    leaving->around = parent;
    parent->children() = {checkedNew<Raising>(__FILE__, __LINE__, "test"), leaving, newChild()};
    EXPECT_THROW(delete parent, int);
    EXPECT_EQ(deleted, 4);
}

TEST(UowMain, HasTheCommandLine) {
    EXPECT_THROW(app(), NullPointerException);
    const char* const narrow[] = {"/bin/dir/program", "one", "tw\xC3\xB6", ""};
    const WideArgs wide(4, narrow);
    EXPECT_EQ(wide.argv()[4], nullptr);
    {
        UowMain main(wide.argc(), wide.argv());
        EXPECT_EQ(app(), &main);
        EXPECT_EQ(main.cmdline().cmd(), L"program");
        EXPECT_EQ(main.path(), "main");
        EXPECT_EQ(main.argCount(), 3U);
        EXPECT_EQ(main.argAt(1), "tw\xC3\xB6");
        EXPECT_EQ(main.argAt(3), "");
        std::string walked = main.argCurrent() + ":" + std::to_string(main.argLeft());
        for (int i = 0; i < 4; ++i) {
            walked += " " + main.argNext();
            walked += ":" + std::to_string(main.argLeft());
        }
        EXPECT_EQ(walked, "one:3 tw\xC3\xB6:2 :1 :0 :0");
        UowMain alone(1, wide.argv());
        EXPECT_EQ(alone.argCount(), 0U);
        EXPECT_EQ(app(), &alone);
    }
    EXPECT_THROW(app(), NullPointerException);
}

}  // namespace
}  // namespace qor
