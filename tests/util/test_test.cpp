#include "qor/util/test.h"

#include "support/terminal.h"
#include "support/test.h"

namespace qor::test {
namespace {

// A menu of a, b and a nested one with b and c, whose functions record that they run.
class Menu : public testing::Test {
protected:
    ~Menu() noexcept override { Context::instance().interactive(true); }

    TestCaseFn note(const char* what) {
        return function([this, what] { ran += what; });
    }
    void fill(UowTest& empty) {
        empty.add("a", "first", note("a ")).add("b", "second", note("b "), true);
        empty.add("raise", "", function([] { throw std::runtime_error("meant"); }));
        empty.add("n", "nested", function([this](TestCase& top) {
                      ran += "( ";
                      UowTest nested("nested", &top);
                      nested.add("b", "inner b", note("nb "));
                      nested.add("raise", "", function([] { TestCaseFn().bind(nullptr); }));
                      nested.add("n", "deeper", function([this](TestCase& middle) {
                                     UowTest("deeper", &middle).add("c", "", note("c ")).start();
                                 }));
                      nested.start();
                      ran += ") ";
                  }));
    }
    // What runs by the arguments and what is typed, and the result.
    std::string runs(std::vector<const char*> arguments, const char* typed) {
        arguments.insert(arguments.begin(), "program");
        const WideArgs wide(static_cast<int>(arguments.size()), arguments.data());
        UowTest main(wide.argc(), wide.argv());
        fill(main);
        type(typed);
        terminal_.output.str("");
        const int result = main.start();
        return std::exchange(ran, "") + std::to_string(result);
    }
    void type(const char* text) {
        std::cin.clear();
        terminal_.input.str(text);
    }
    std::string shown() const { return terminal_.output.str(); }

    UowTest menu{"menu", static_cast<UnitOfWork*>(nullptr)};
    std::string ran;

private:
    Terminal terminal_;
};

// getline reports a lack of memory, and a failure of the stream, as the end of the input.
TEST_F(Menu, ReadsOnAfterALackOfMemory) {
    struct Scarce : std::streambuf {
        int_type underflow() override {
            if (at == 2 && std::exchange(lacks, false)) throw std::bad_alloc();
            if (at == 9) throw std::ios_base::failure("meant");
            if (at == text.size()) return traits_type::eof();
            setg(&text[at], &text[at], &text[at] + 1);
            return traits_type::to_int_type(text[at++]);
        }
        std::string text = "a\nb\nraise\n";
        std::size_t at = 0;
        bool lacks = true;
    } scarce;
    fill(menu);
    std::cin.rdbuf(&scarce);
    menu.start();
    EXPECT_EQ(ran, "a b ");
    EXPECT_TRUE(std::cin.bad());
}

TEST_F(Menu, RunsTheChosenItems) {
    using Arguments = std::vector<const char*>;
    const std::tuple<Arguments, const char*, const char*> cases[] = {
        {Arguments(), "a\nb\nexit\na\n", "a b 0"},
        {{}, "quit\na\nexit\n", "a 0"},
        {{}, "n\nb\nquit\na\nexit\n", "( nb ) a 0"},
        {{}, "n\nn\nc\ntop\na\nexit\n", "( c ) a 0"},
        {{}, "n\nn\nexit\na\n", "( ) 0"},
        {{"a"}, "b\nexit\n", "a b 0"},
        {{"n/b", "b", "exit"}, "a\n", "( nb ) b 0"},
        {{"n/n/c", "exit"}, "", "( c ) 0"},
        {{"x/b", "/a", "", "exit"}, "", "0"},
        {{}, "raise\na\n", "a 2"},
        {{}, "raise\nexit\n", "0"},
        // Each argument is run, and the result says whether one raised.
        {{"raise", "a", "exit"}, "b\n", "a 2"},
        {{"n/raise", "raise", "n/b", "exit"}, "", "( ) ( nb ) 2"},
        {{"n/raise"}, "a\n", "( ) a 1"},
        {{"n", "exit"}, "", "( nb ) 1"},
        // The functions run in their order; a case that raises ends the run.
        {{"all", "exit"}, "", "a b 2"},
        {{}, "all\nn/raise\na\n", "a b ( ) a 2"},
    };
    for (const auto& [arguments, typed, all] : cases)
        EXPECT_EQ(runs(arguments, typed), all) << testing::PrintToString(arguments) << typed;
}

TEST_F(Menu, ShowsItselfAtATerminal) {
    LogFile log("QOR");
    runs({}, "n\nquit\nnone\nquit\n");
    const std::string builtin =
        "builtin:\n    all: test all cases (*)\n    top: to top level (*)\n"
        "    quit: to up level (*)\n    exit: exit program (*)\n>>> ";
    const std::string outer =
        "\nmenu:\n(/main) \n    a: first\n    b: second (*)\n    raise: \n    n: nested\n" +
        builtin;
    const std::string nested =
        "\nmenu:\n(/main/nested) \n    b: inner b\n    raise: \n    n: deeper\n" + builtin;
    EXPECT_EQ(shown(), outer + nested + outer + "Function not found for ==> none\n" + outer +
                           "At top level already.\n" + outer);
    for (const char* const logged :
         {"\n>>> none", "CAUSE: Function not found for ==> none", "At top level already."})
        EXPECT_TRUE(contains(log.entries(), logged));
    runs({"a", "exit"}, "");
    EXPECT_EQ(shown(), "");
}

TEST_F(Menu, ExcludesAddonsFromAll) {
    UowTest others;
    menu.add("a", "", note("a "));
    others.add("more", "an addon", note("more "));
    menu.appendAddons(others.testCase());
    others.clear();
    type("all\nmore\nexit\n");
    menu.start();
    EXPECT_EQ(ran, "a more ");
    EXPECT_TRUE(contains(
        shown(), "\nmenu:\n(/menu) \n    a: \naddon:\n    more: an addon\nbuiltin:\n    all:"));
    // Of two items with one key the later one counts.
    menu.removeAddons().del("a").add("k", "", note("1 ")).add("k", "", note("2 "));
    type("a\nmore\nk\nexit\n");
    menu.start();
    EXPECT_EQ(ran, "a more 2 ");
}

TEST_F(Menu, EndsWithoutInput) {
    Context::instance().interactive(false);
    EXPECT_EQ(runs({}, "a\n"), "a b 2");
    EXPECT_EQ(runs({"n/b", "none", "a"}, "a\n"), "( nb ) a 0");
    EXPECT_EQ(runs({"n", "top"}, "a\n"), "( nb ) 1");
    EXPECT_EQ(UowTest("inner", &menu).add("a", "", note("a ")).start(), 0);
    EXPECT_EQ(ran, "a ");
    EXPECT_EQ(dumped(Context::instance()), "{interactive_=false}");
}

TEST_F(Menu, RunsNothingButItsArgumentsWithoutMemory) {
    Context::instance().interactive(false);
    failEachAllocation([&] {
        UowTest inner("inner", &menu);
        inner.args() = {"a"};
        inner.add("a", "", function([] {})).add("b", "", note("b ")).start();
    });
    EXPECT_EQ(ran, "");
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
    const std::pair<std::function<void()>, const char*> cases[] = {
        {[&] { other.run("a"); }, "qor::test::TestCase::show_menu"},
        {[&] { other.do_up(); }, "qor::test::TestCase::do_up"},
        {[&] { other.do_top(); }, "qor::test::TestCase::do_top"},
        {[&] { other.do_exit(); }, "qor::test::TestCase::do_exit"},
        {[] { TestCaseFn().bind(nullptr); }, "qor::test::TestCaseFn::bind"},
        {[&] { member(nullptr); }, "qor::test::TestFnMember::operator ()"},
        {[&] { member(&other); }, "qor::test::TestFnMember::operator ()"},
    };
    for (const auto& [call, func] : cases)
        EXPECT_EQ(raisedIn<NullPointerException>(call), func);
    TestCaseFn destroyed = member;
    destroyed.destroy();
    EXPECT_TRUE(destroyed.empty());
    EXPECT_FALSE(member.empty());
}

TEST(Entry, FramesATestInTheLog) {
    LogFile log("QOR");
    { const tester::_Entry entry("the test"); }
    for (const char* const text : {"TEST the test...", "\nelapsed...", "TEST~ the test..."})
        EXPECT_TRUE(contains(log.entries(), text));
}

}  // namespace
}  // namespace qor::test
