#ifndef QOR_UTIL_TEST_H
#define QOR_UTIL_TEST_H

#include <functional>
#include <iosfwd>
#include <map>
#include <memory>
#include <type_traits>
#include <utility>
#include <vector>

#include "qor/api.h"
#include "qor/base/base_type_number.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/base/exception.h"
#include "qor/base/mlcheck.h"
#include "qor/util/BinaryStream.h"
#include "qor/util/uow.h"

// A menu of functions, for interactive use and for scripts:
//
//     qor::test::UowTest menu(argc, argv);
//     menu.add("ping", "measure a round trip", qor::test::function(ping));
//     menu.add("files", "files and directories", qor::test::function(fileMenu));
//     return menu.start();
//
// Without arguments it shows the menu, reads keys from the standard input, and ends at "exit" or at
// the end of the input. Arguments are keys that are run first; "files/list" runs the item "list" of
// the menu that the function "files" opens:
//
//     void fileMenu(qor::test::TestCase& top) {
//         qor::test::UowTest menu("files", &top);
//         menu.add(...);
//         menu.start();
//     }
//
// For a program that ends by itself, pass "exit" as the last argument, or turn Context::interactive
// off. If it is off, each choice is run once, even if others raise, and start() returns 0 if no
// function raised, otherwise the code of the last failure (see UnitOfWork::start), including
// failures in menus that a function opened. "all" ends at the first function that raises.
//
// The menu is shown on the standard output if it is interactive, and always written to the logger
// "QOR". Use a menu from one thread only.

namespace qor::test {

class TestCase;

// The function of an item. Before a call, its TestCase is set by bind. All items with the function
// share it: a call in a menu that the function starts binds it to the TestCase of that menu.
class QOR_API TestFnBase {
public:
    TestFnBase() = default;
    TestFnBase(const TestFnBase&) = delete;
    TestFnBase& operator=(const TestFnBase&) = delete;
    virtual ~TestFnBase();
    virtual void operator()() = 0;

    TestFnBase& bind(TestCase* testCase) noexcept { return tc_ = testCase, *this; }
    TestCase* tc() const noexcept { return tc_; }

private:
    TestCase* tc_ = nullptr;
};

// A shared owner of a function, or of none.
class QOR_API TestCaseFn {
public:
    TestCaseFn() = default;
    // Owns `fn`, which must have been created by checkedNew.
    explicit TestCaseFn(TestFnBase* fn);

    void operator()() const;
    void operator()(TestCase* testCase) const;
    // Raises NullPointerException if there is no function.
    const TestCaseFn& bind(TestCase* testCase) const;
    bool empty() const noexcept { return fn_ == nullptr; }
    // Releases the function; the last owner deletes it.
    void destroy() noexcept { fn_.reset(); }

private:
    std::shared_ptr<TestFnBase> fn_;
};

// A key and its function. Items are compared by their keys.
class QOR_API TestItem {
public:
    TestItem(istr key, istr msg, const TestCaseFn& fn, bool internal)
        : key_(key), msg_(msg), fn_(fn), internal_(internal) {}

    const String& key() const noexcept { return key_; }
    const String& msg() const noexcept { return msg_; }
    const TestCaseFn& fn() const noexcept { return fn_; }
    bool internal() const noexcept { return internal_; }
    bool empty() const noexcept { return fn_.empty(); }

    void operator()() const { fn_(); }
    void operator()(TestCase* testCase) const { fn_(testCase); }
    // Writes the item's line of the menu.
    void operator()(std::ostream& os) const;

    bool operator==(const TestItem& other) const { return key_ == other.key_; }
    bool operator<(const TestItem& other) const { return key_ < other.key_; }

private:
    String key_;
    String msg_;
    TestCaseFn fn_;
    Bit internal_;
};

// The items of a menu. Operations that need the unit raise NullPointerException if there is none.
class QOR_API TestCase {
public:
    // `uow` is the unit whose loop shows the menu. It is not owned and may be null.
    explicit TestCase(UnitOfWork* uow);
    TestCase(const TestCase&) = default;
    TestCase& operator=(const TestCase&) = default;
    virtual ~TestCase();

    void add(const char* key, const char* msg, const TestCaseFn& fn, bool internal);
    void del(const char* key);
    void clear() noexcept { items_.clear(); }
    // Adds the items of `other`; "all" does not run them.
    void appendAddons(const TestCase& other);
    void removeAddons() noexcept { addons_.clear(); }

    // Shows the menu and runs one choice; if it is empty, an interactive menu reads one from the
    // input. "a/b" runs b in the menu that a opens, and leaves that menu.
    void run() { run(String()); }
    void run(const String& choice);
    // Runs all choices without reading from the input. Without choices, an interactive menu calls
    // run(), and a non-interactive one runs all its items. A non-interactive call stops the unit;
    // later calls do not run anything.
    void run(const std::vector<String>& args);

    // The built-in items "all", "quit", "top" and "exit".
    void do_all();
    void do_up();
    void do_top();
    void do_exit();

    static constexpr char separator() noexcept { return '/'; }
    // Choices for the menu that the running function opens.
    std::vector<String>& args() noexcept { return args_; }
    const std::vector<String>& args() const noexcept { return args_; }
    UnitOfWork* uow() noexcept { return uow_; }
    const UnitOfWork* uow() const noexcept { return uow_; }
    void uow(UnitOfWork* unit) noexcept { uow_ = unit; }
    // Rebuilds the table of keys. If several items have the same key, an add-on replaces a built-in
    // item, which replaces an item of the program.
    void initMap();

private:
    friend QOR_API std::ostream& operator<<(std::ostream& os, const TestCase& testCase);

    UnitOfWork& unitFor(const char* func) const;
    void show_menu() const;
    // False at the end of the input.
    bool get_choice(const String& preset);
    void runUnattended(const std::vector<String>& choices);
    void exec_case();
    void exec_path(const String& key, unsigned long at);

    std::vector<TestItem> items_;
    std::vector<TestItem> builtin_;
    std::vector<TestItem> addons_;
    std::map<String, TestCaseFn> map_;
    std::vector<String> args_;
    long32 depth_ = 1;
    String prompt_;
    String choice_;
    UnitOfWork* uow_;
};

// Writes the lines of the program's items.
QOR_API std::ostream& operator<<(std::ostream& os, const TestCase& testCase);

// A member function of a class that derives from TestCase.
template <class T, class N = null_type>
class TestFnMember : public TestFnBase {
public:
    using Function = void (T::*)();
    explicit TestFnMember(Function function) noexcept : function_(function) {}

    // Raises NullPointerException without a test case, or with one of another class.
    void operator()() override {
        T* const testCase = dynamic_cast<T*>(tc());
        if (testCase == nullptr) {
            QOR_THROW(NullPointerException, "qor::test::TestFnMember::operator ()",
                      "null test case");
        }
        (testCase->*function_)();
    }

private:
    const Function function_;
};

// A callable object, which is called with the test case.
class QOR_API TestFnCall : public TestFnBase {
public:
    explicit TestFnCall(std::function<void(TestCase&)> call) : call_(std::move(call)) {}
    // Raises NullPointerException without a test case.
    void operator()() override;

private:
    const std::function<void(TestCase&)> call_;
};

template <class T>
TestCaseFn function(void (T::*member)()) {
    return TestCaseFn(
        checkedNew<TestFnMember<T>>(__FILE__, __LINE__, "qor::test::function", member));
}
template <class F>
TestCaseFn function(F call) {
    std::function<void(TestCase&)> wrapped;
    if constexpr (std::is_invocable_v<F&, TestCase&>) {
        wrapped = std::move(call);
    } else {
        wrapped = [call = std::move(call)](TestCase&) mutable { call(); };
    }
    return TestCaseFn(
        checkedNew<TestFnCall>(__FILE__, __LINE__, "qor::test::function", std::move(wrapped)));
}

// Whether menus are interactive: true by default, for a person at the terminal.
class QOR_API Context : noncopyable {
public:
    static Context& instance() noexcept;
    bool interactive() const noexcept { return interactive_; }
    void interactive(bool on) noexcept { interactive_ = on; }
    dumper& dump(dumper& d) const;

private:
    Context() = default;

    bool interactive_ = true;
};

// A unit whose loop is a menu.
class QOR_API UowTest : public UnitOfWork {
public:
    UowTest();
    UowTest(const char* name, UnitOfWork* parent);
    // A menu that a function of `source` opens: a child of that menu's unit. It begins with the
    // choices in source->args().
    UowTest(const char* name, TestCase* source);
    // The root menu, with the name "main".
    UowTest(int argc, wchar_t** const argv);
    ~UowTest() override;
    // A menu for the whole process, never destroyed.
    static UowTest& instance();

    UowTest& add(const char* key, const char* msg, const TestCaseFn& fn, bool internal = false);
    UowTest& del(const char* key);
    UowTest& clear() noexcept;
    UowTest& appendAddons(const TestCase& other);
    UowTest& removeAddons() noexcept;
    TestCase& testCase() noexcept { return testCase_; }

    void on_init() override;
    void on_loop() override;
    void on_fini() override {}
    void run(const String& choice) override;

private:
    TestCase testCase_;
};

namespace tester {

// Writes the begin and the end of a test to the logger "QOR", with the elapsed time.
class QOR_API _Entry : public String {
public:
    [[nodiscard]] explicit _Entry(istr name);
    _Entry(const _Entry&) = delete;
    _Entry& operator=(const _Entry&) = delete;
    ~_Entry();

private:
    Stopwatch stopwatch_;
};

}  // namespace tester

}  // namespace qor::test

#endif  // QOR_UTIL_TEST_H
