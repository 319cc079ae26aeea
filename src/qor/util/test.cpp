#include "qor/util/test.h"

#include <algorithm>
#include <iostream>
#include <new>
#include <utility>

#include "base/text_stream.h"
#include "log/own_log.h"
#include "nuv_guard.h"
#include "platform/first_use.h"
#include "qor/base/mlcheck.h"
#include "qor/log/console.h"
#include "qor/log/log_dumper.h"
#include "qor/log/log_factory.h"
#include "qor/string/string_ref.h"
#include "util/guarded_step.h"

namespace qor::test {

namespace {

// A cancellation inside the stream would leave it bad; during an exception, it would end the
// process.
void show(const std::string& text) {
    const nuv_uncancelled whole;
    std_out() << text << std::flush;
}

// Writes to the log, and to the console if the menu is interactive.
void say(const std::string& text) {
    own_log::toolkit().write(istr(text));
    if (Context::instance().interactive()) show(text);
}

// Shows a failure on the console too.
template <class Step>
void showFailure(Step step) {
    try {
        step();
    } catch (const std::exception& e) {
        const nuv_uncancelled whole;
        std_out() << "failed: " << e.what() << std::endl;
        throw;
    }
}

// Lets the stream raise what it would only note, while it exists.
struct Raising {
    explicit Raising(std::istream& stream) : in(stream), before(stream.exceptions()) {
        in.exceptions(std::ios::badbit);
    }
    ~Raising() {
        if ((in.rdstate() & before) == 0) in.exceptions(before);
    }
    std::istream& in;
    const std::ios::iostate before;
};

// Returns false at the end of the input, and if it cannot be read. After a lack of memory, the next
// call reads on.
bool readLine(std::istream& in, std::string& line) {
    if (!in.good()) return false;
    const Raising scope(in);
    try {
        return static_cast<bool>(std::getline(in, line));
    } catch (const std::bad_alloc&) {
        in.clear();
        throw;
    } catch (const std::ios_base::failure&) {
        return false;
    }
}

// Makes menus non-interactive while it exists. It keeps the code of the last failure, and at its
// end passes the code to the enclosing object: so a menu gets the failures of the menus that its
// functions opened.
class Unattended : noncopyable {
public:
    Unattended() noexcept
        : before_(Context::instance().interactive()), around_(std::exchange(innermost, this)) {
        Context::instance().interactive(false);
    }
    ~Unattended() {
        Context::instance().interactive(before_);
        innermost = around_;
        if (around_ != nullptr) around_->note(failure_);
    }

    template <class Step>
    void attempt(Step step) {
        note(guardedStep([&] { showFailure(step); }));
    }
    void passTo(UnitOfWork& unit) const noexcept {
        if (failure_ != 0) unit.result(failure_);
    }

private:
    void note(int failure) noexcept {
        if (failure != 0) failure_ = failure;
    }

    static constinit thread_local Unattended* innermost;

    const bool before_;
    Unattended* const around_;
    int failure_ = 0;
};

constinit thread_local Unattended* Unattended::innermost = nullptr;

// Runs one case: an item, or a choice.
class Run1Case__ {
public:
    explicit Run1Case__(TestCase& testCase) noexcept : testCase_(testCase) {}
    void operator()(const TestItem& item) const { item(&testCase_); }
    void operator()(const String& choice) const { testCase_.run(choice); }

private:
    TestCase& testCase_;
};

void showItems(std::ostream& os, const char* title, const std::vector<TestItem>& items) {
    os << title << '\n';
    for (const TestItem& item : items) {
        item(os);
        os << '\n';
    }
}

}  // namespace

// TestFnBase, TestFnCall, TestCaseFn, TestItem

TestFnBase::~TestFnBase() = default;

void TestFnCall::operator()() {
    if (tc() == nullptr) {
        QOR_THROW(NullPointerException, "qor::test::TestFnCall::operator ()", "null test case");
    }
    call_(*tc());
}

TestCaseFn::TestCaseFn(TestFnBase* fn)
    : fn_(fn, [](TestFnBase* old) {
          checkedDelete(old, __FILE__, __LINE__, "qor::test::TestCaseFn::destroy");
      }) {}

// Keeps a copy: the function may delete the item that calls it.
void TestCaseFn::operator()() const {
    const std::shared_ptr<TestFnBase> fn = fn_;
    if (fn == nullptr) {
        QOR_THROW(NullPointerException, "qor::test::TestCaseFn::operator ()", "null function");
    }
    (*fn)();
}

void TestCaseFn::operator()(TestCase* testCase) const {
    bind(testCase)();
}

const TestCaseFn& TestCaseFn::bind(TestCase* testCase) const {
    if (fn_ == nullptr) {
        QOR_THROW(NullPointerException, "qor::test::TestCaseFn::bind", "null function");
    }
    fn_->bind(testCase);
    return *this;
}

void TestItem::operator()(std::ostream& os) const {
    os << "    " << key_ << ": " << msg_;
    if (internal_) os << " (*)";
}

// TestCase

TestCase::TestCase(UnitOfWork* uow) : prompt_(">>> "), uow_(uow) {
    const struct {
        const char* key;
        const char* msg;
        void (TestCase::*member)();
    } items[] = {{"all", "test all cases", &TestCase::do_all},
                 {"top", "to top level", &TestCase::do_top},
                 {"quit", "to up level", &TestCase::do_up},
                 {"exit", "exit program", &TestCase::do_exit}};
    for (const auto& item : items)
        builtin_.emplace_back(item.key, item.msg, function(item.member), true);
}

TestCase::~TestCase() = default;

void TestCase::add(const char* key, const char* msg, const TestCaseFn& fn, bool internal) {
    items_.emplace_back(key, msg, fn, internal);
}

void TestCase::del(const char* key) {
    std::erase_if(items_, [key](const TestItem& item) { return item.key() == istr(key); });
}

void TestCase::appendAddons(const TestCase& other) {
    const std::vector<TestItem> added(other.items_);
    addons_.insert(addons_.end(), added.begin(), added.end());
}

void TestCase::initMap() {
    std::map<String, TestCaseFn> map;
    for (const auto* const items : {&items_, &builtin_, &addons_}) {
        for (const TestItem& item : *items)
            map.insert_or_assign(item.key(), item.fn());
    }
    map_.swap(map);
}

void TestCase::run(const std::vector<String>& args) {
    const bool attended = Context::instance().interactive();
    if (attended && (depth_ == 0 || args.empty())) return run();
    if (depth_ != 0) {
        // First of all: after a failure, the next pass must not run "all" instead of the arguments.
        const struct Counted {
            ~Counted() { --depth; }
            long32& depth;
        } counted{depth_};
        runUnattended(args.empty() ? std::vector<String>{"all", "quit"} : args);
    }
    // A menu that is not interactive has no further choices.
    if (UnitOfWork& unit = unitFor("qor::test::TestCase::run"); !attended && unit.running()) {
        unit.stop(unit.result());
    }
}

// After a failure the next choices are still run, and "exit" does not hide the failure.
void TestCase::runUnattended(const std::vector<String>& choices) {
    const Run1Case__ runOne(*this);
    UnitOfWork& unit = unitFor("qor::test::TestCase::show_menu");
    Unattended scope;
    for (const String& choice : choices)
        scope.attempt([&] { runOne(choice); });
    scope.passTo(unit);
}

void TestCase::run(const String& choice) {
    show_menu();
    if (get_choice(choice)) exec_case();
}

UnitOfWork& TestCase::unitFor(const char* func) const {
    if (uow_ == nullptr) QOR_THROW(NullPointerException, func, "null unit of work");
    return *uow_;
}

void TestCase::show_menu() const {
    const UnitOfWork& unit = unitFor("qor::test::TestCase::show_menu");
    say("\nmenu:\n");
    say("(/" + unit.path() + ") ");
    TextStream text;
    for (const String& arg : args_)
        text << arg << ' ';
    text << '\n';
    say(text.text());
    text.restart();
    text << *this;
    say(text.text());
    if (!addons_.empty()) {
        text.restart();
        showItems(text, "addon:", addons_);
        say(text.text());
    }
    text.restart();
    showItems(text, "builtin:", builtin_);
    say(text.text());
}

// The end of the input ends the program with the root's present code.
bool TestCase::get_choice(const String& preset) {
    choice_ = preset;
    if (preset.empty() && Context::instance().interactive()) {
        show(prompt_);
        std::string line;
        if (readLine(std_in(), line)) {
            choice_ = line;
        } else {
            uow_->stopAll(uow_->root()->result());
            return false;
        }
    }
    own_log::toolkit().write(istr(prompt_ + choice_));
    return true;
}

void TestCase::exec_case() {
    constexpr const char* func = "qor::test::TestCase::exec_case";
    unitFor(func);
    initMap();
    const String key = choice_;
    const auto found = map_.find(key);
    if (found != map_.end()) return found->second(this);
    const std::size_t at = static_cast<const std::string&>(key).find(separator());
    if (at != std::string::npos && at != 0) return exec_path(key, at);
    const std::string text = "Function not found for ==> " + key;
    own_log::error(
        func, [&] { return text; }, log_tag::Error);
    show(text + '\n');
}

// The part after the separator, and "quit", are the choices for the menu that the first part opens.
void TestCase::exec_path(const String& key, unsigned long at) {
    struct Emptied {
        ~Emptied() { args.clear(); }
        std::vector<String>& args;
    } const scope{args_};
    const std::string& text = key;
    args_.emplace_back(text.substr(at + 1));
    args_.emplace_back("quit");
    run(String(text.substr(0, at)));
}

void TestCase::do_all() {
    const Unattended scope;
    // A copy, since a case may change the list.
    const std::vector<TestItem> items(items_);
    std::for_each(items.begin(), items.end(), Run1Case__(*this));
    if (uow_ != nullptr) scope.passTo(*uow_);
}

void TestCase::do_up() {
    UnitOfWork& unit = unitFor("qor::test::TestCase::do_up");
    if (unit.parent() == nullptr) return say("At top level already.\n");
    unit.stop(0);
}

void TestCase::do_top() {
    UnitOfWork* unit = &unitFor("qor::test::TestCase::do_top");
    for (; unit->parent() != nullptr; unit = unit->parent())
        unit->stop(0);
}

void TestCase::do_exit() {
    unitFor("qor::test::TestCase::do_exit").stopAll(0);
}

std::ostream& operator<<(std::ostream& os, const TestCase& testCase) {
    for (const TestItem& item : testCase.items_) {
        item(os);
        os << '\n';
    }
    return os;
}

// Context, UowTest

Context& Context::instance() noexcept {
    alignas(Context) static unsigned char room[sizeof(Context)];
    static Context* const context = new (room) Context;
    return *context;
}

dumper& Context::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::test::Context");
    return d.member("interactive_", interactive_);
}

UowTest::UowTest() : UowTest("", static_cast<UnitOfWork*>(nullptr)) {}

UowTest::UowTest(const char* name, UnitOfWork* parent)
    : UnitOfWork(name, parent), testCase_(this) {}

UowTest::UowTest(const char* name, TestCase* source)
    : UowTest(name, source != nullptr ? source->uow() : nullptr) {
    if (source != nullptr) args() = source->args();
}

UowTest::UowTest(int argc, wchar_t** const argv)
    : UowTest("main", static_cast<UnitOfWork*>(nullptr)) {
    cmdline().init(argc, argv);
}

UowTest::~UowTest() = default;

UowTest& UowTest::instance() {
    static UowTest& one = *new UowTest;
    return one;
}

namespace {
const platform::MadeAtLoad madeAtLoad([] {
    Context::instance();
    UowTest::instance();
});
}  // namespace

UowTest& UowTest::add(const char* key, const char* msg, const TestCaseFn& fn, bool internal) {
    return testCase_.add(key, msg, fn, internal), *this;
}

UowTest& UowTest::del(const char* key) {
    return testCase_.del(key), *this;
}

UowTest& UowTest::clear() noexcept {
    return testCase_.clear(), *this;
}

UowTest& UowTest::appendAddons(const TestCase& other) {
    return testCase_.appendAddons(other), *this;
}

UowTest& UowTest::removeAddons() noexcept {
    return testCase_.removeAddons(), *this;
}

void UowTest::on_init() {
    testCase_.uow(this);
}

// A case that raises is not repeated; the unit logs the exception.
void UowTest::on_loop() {
    std::vector<String> choices;
    choices.swap(args());
    showFailure([&] { testCase_.run(choices); });
}

void UowTest::run(const String& choice) {
    testCase_.run(choice);
}

// tester::_Entry

namespace tester {

namespace {
constexpr unsigned long kWidth = 118;
}

_Entry::_Entry(istr name) : String(name) {
    own_log::toolkit().write("");
    writeEntryLog(own_log::toolkit(), "TEST", *this, stopwatch_.begin().toDateTime(), '.');
}

_Entry::~_Entry() {
    stopwatch_.stop();
    try {
        char line[kWidth + 1];
        const String elapsed = stopwatch_.elapsed().toDuration();
        std::fill(line, line + kWidth, '.');
        std::copy_n("elapsed", 7, line);
        const std::size_t size = std::min<std::size_t>(elapsed.size(), kWidth);
        std::copy_n(elapsed.data(), size, line + kWidth - size);
        own_log::toolkit().write(istr("\n" + std::string(line, kWidth)));
        writeEntryLog(own_log::toolkit(), "TEST~", *this, stopwatch_.end().toDateTime(), '.');
    } catch (...) {
        // Without memory the line is dropped.
    }
}

}  // namespace tester

}  // namespace qor::test
