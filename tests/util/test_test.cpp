#include "qor/util/test.h"

#include "support/test.h"

namespace qor::test {
namespace {

// A menu of a, b and a nested one with b and c, whose functions note that they run; what is typed
// and shown is the test's.
class Menu : public testing::Test {
protected:
    Menu() : out_(std::cout.rdbuf(output_.rdbuf())), in_(std::cin.rdbuf(input_.rdbuf())) {}
    ~Menu() override {
        std::cout.rdbuf(out_);
        std::cin.rdbuf(in_);
        std::cin.clear();
        Context::instance().interactive(true);
    }

    static void fill(UowTest& menu, std::string& ran) {
        const auto note = [&ran](const char* what) {
            return function([&ran, what] { ran += what; });
        };
        menu.add("a", "first", note("a ")).add("b", "second", note("b "), true);
        menu.add("raise", "", function([] { throw std::runtime_error("meant"); }));
        menu.add("n", "nested", function([&ran](TestCase& top) {
                     ran += "( ";
                     UowTest nested("nested", &top);
                     nested.add("b", "inner b", function([&ran] { ran += "nb "; }));
                     nested.add("raise", "", function([] { TestCaseFn().bind(nullptr); }));
                     nested.add("n", "deeper", function([&ran](TestCase& middle) {
                                    UowTest deeper("deeper", &middle);
                                    deeper.add("c", "", function([&ran] { ran += "c "; }));
                                    deeper.start();
                                }));
                     nested.start();
                     ran += ") ";
                 }));
    }
    // What runs by the arguments and what is typed, and the result.
    std::string runs(std::vector<const char*> arguments, const char* typed) {
        arguments.insert(arguments.begin(), "program");
        const WideArgs wide(static_cast<int>(arguments.size()), arguments.data());
        UowTest menu(wide.argc(), wide.argv());
        std::string ran;
        fill(menu, ran);
        std::cin.clear();
        input_.str(typed);
        output_.str("");
        const int result = menu.start();
        return ran + std::to_string(result);
    }

    std::ostringstream output_;
    std::istringstream input_;

private:
    std::streambuf* out_;
    std::streambuf* in_;
};

TEST_F(Menu, RunsWhatIsAskedFor) {
    const struct {
        std::vector<const char*> arguments;
        const char* typed;
        const char* ran;
    } cases[] = {
        {{}, "a\nb\nexit\na\n", "a b 0"},
        {{}, "a\n", "a 0"},
        {{}, "quit\na\nexit\n", "a 0"},
        {{}, "n\nb\nquit\na\nexit\n", "( nb ) a 0"},
        {{}, "n\nn\nc\ntop\na\nexit\n", "( c ) a 0"},
        {{}, "n\nn\nexit\na\n", "( ) 0"},
        {{"a", "exit"}, "b\n", "a 0"},
        {{"a"}, "b\nexit\n", "a b 0"},
        {{"n/b", "b", "exit"}, "a\n", "( nb ) b 0"},
        {{"n/n/c", "exit"}, "", "( c ) 0"},
        {{"x/b", "/a", "", "exit"}, "", "0"},
        {{}, "raise\na\n", "a 2"},
        {{}, "raise\nexit\n", "0"},
        // Each argument has its turn, and what raises is told by the result.
        {{"raise", "a", "exit"}, "b\n", "a 2"},
        {{"n/raise", "a", "exit"}, "b\n", "( ) a 1"},
        {{"n/raise", "raise", "n/b", "exit"}, "", "( ) ( nb ) 2"},
        {{"n/raise"}, "a\n", "( ) a 1"},
        {{"n", "exit"}, "", "( nb ) 1"},
        // The functions run in their order; a case that raises ends the run.
        {{"all", "exit"}, "", "a b 2"},
        {{}, "all\nn/raise\na\n", "a b ( ) a 2"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(runs(c.arguments, c.typed), c.ran)
            << testing::PrintToString(c.arguments) << c.typed;
}

TEST_F(Menu, ShowsItselfToThoseWhoAsk) {
    support::LogFile log("QOR");
    runs({}, "n\nquit\nnone\nquit\n");
    const std::string menu =
        "\nmenu:\n(/main) \n    a: first\n    b: second (*)\n    raise: \n    n: nested\n"
        "builtin:\n    all: test all cases (*)\n    top: to top level (*)\n"
        "    quit: to up level (*)\n    exit: exit program (*)\n>>> ";
    const std::string nested =
        "\nmenu:\n(/main/nested) \n    b: inner b\n    raise: \n    n: deeper\nbuiltin:\n"
        "    all: test all cases (*)\n    top: to top level (*)\n    quit: to up level (*)\n"
        "    exit: exit program (*)\n>>> ";
    EXPECT_EQ(output_.str(), menu + nested + menu + "Function not found for ==> none\n" + menu +
                                 "At top level already.\n" + menu);
    const std::string entries = log.entries();
    EXPECT_NE(entries.find("\n>>> none"), std::string::npos) << entries;
    EXPECT_NE(entries.find("CAUSE: Function not found for ==> none"), std::string::npos);
    EXPECT_NE(entries.find("At top level already."), std::string::npos);
    runs({"a", "exit"}, "");
    EXPECT_EQ(output_.str(), "");
}

TEST_F(Menu, HasAddonsThatAreNoPartOfAll) {
    std::string ran;
    UowTest menu("menu", static_cast<UnitOfWork*>(nullptr));
    UowTest others;
    menu.add("a", "", function([&ran] { ran += "a "; }));
    others.add("more", "an addon", function([&ran] { ran += "more "; }));
    menu.appendAddons(others.testCase());
    others.clear();
    input_.str("all\nmore\nexit\n");
    menu.start();
    EXPECT_EQ(ran, "a more ");
    EXPECT_NE(output_.str().find("addon:\n    more: an addon\nbuiltin:"), std::string::npos);
    menu.removeAddons().del("a").add("k", "", function([&ran] { ran += "1 "; }));
    // Of two items with one key the later one counts.
    menu.add("k", "", function([&ran] { ran += "2 "; }));
    std::cin.clear();
    input_.str("a\nmore\nk\nexit\n");
    menu.start();
    EXPECT_EQ(ran, "a more 2 ");
}

TEST_F(Menu, EndsWithoutPeople) {
    Context::instance().interactive(false);
    EXPECT_EQ(runs({}, "a\n"), "a b 2");
    EXPECT_EQ(runs({"n/b", "none", "a"}, "a\n"), "( nb ) a 0");
    EXPECT_EQ(runs({"n", "top"}, "a\n"), "( nb ) 1");
    std::string ran;
    UowTest top("top", static_cast<UnitOfWork*>(nullptr));
    UowTest menu("menu", &top);
    menu.add("a", "", function([&ran] { ran += "a "; }));
    EXPECT_EQ(menu.start(), 0);
    EXPECT_EQ(ran, "a ");
    dumper d(true);
    EXPECT_EQ(Context::instance().dump(d).str(), "{interactive_=false}");
}

TEST_F(Menu, OpensAHundredBelowEachOther) {
    int opened = 0, ran = 0;
    std::function<void(TestCase&)> open = [&](TestCase& top) {
        ++opened;
        UowTest menu("m", &top);
        menu.add("m", "", function(open)).add("x", "", function([&] { ++ran; }));
        menu.start();
    };
    UowTest menu("m", static_cast<UnitOfWork*>(nullptr));
    menu.add("m", "", function(open));
    std::string path;
    for (int i = 0; i < 100; ++i)
        path += "m/";
    menu.args() = {String(path + "x"), "exit"};
    EXPECT_EQ(menu.start(), 0);
    EXPECT_EQ(opened, 100);
    EXPECT_EQ(ran, 1);
}

TEST(TestCase, RaisesWithoutAUnitOrAFunction) {
    struct Own : TestCase {
        using TestCase::TestCase;
        void member() { ++called; }
        int called = 0;
    };
    Own own(nullptr);
    const TestCaseFn member = function(&Own::member);
    member(&own);
    EXPECT_EQ(own.called, 1);
    TestCase other(nullptr);
    const struct {
        std::function<void()> call;
        const char* func;
    } cases[] = {
        {[&] { other.run("a"); }, "qor::test::TestCase::show_menu"},
        {[&] { other.do_up(); }, "qor::test::TestCase::do_up"},
        {[&] { other.do_top(); }, "qor::test::TestCase::do_top"},
        {[&] { other.do_exit(); }, "qor::test::TestCase::do_exit"},
        {[] { TestCaseFn().bind(nullptr); }, "qor::test::TestCaseFn::bind"},
        {[&] { member(nullptr); }, "qor::test::TestFnMember::operator ()"},
        {[&] { member(&other); }, "qor::test::TestFnMember::operator ()"},
    };
    for (const auto& c : cases) {
        std::string func;
        try {
            c.call();
        } catch (const NullPointerException& e) {
            func = e.func();
        }
        EXPECT_EQ(func, c.func);
    }
    TestCaseFn gone = member;
    gone.destroy();
    EXPECT_TRUE(gone.empty());
    EXPECT_FALSE(member.empty());
}

TEST(Entry, FramesATestInTheLog) {
    support::LogFile log("QOR");
    { const tester::_Entry entry("the test"); }
    const std::string entries = log.entries();
    EXPECT_NE(entries.find("TEST the test..."), std::string::npos) << entries;
    EXPECT_NE(entries.find("\nelapsed..."), std::string::npos);
    EXPECT_NE(entries.find("TEST~ the test..."), std::string::npos);
}

}  // namespace
}  // namespace qor::test
