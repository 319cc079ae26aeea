#include "qor/util/uow.h"

#include <algorithm>
#include <exception>
#include <new>

#include "log/own_log.h"
#include "nuv_guard.h"
#include "platform/first_use.h"
#include "qor/base/base_type_convert.h"
#include "qor/base/exception.h"
#include "qor/base/mlcheck.h"
#include "qor/log/log_dumper.h"
#include "qor/log/log_factory.h"
#include "qor/util/util_func.h"
#include "util/guarded_step.h"

namespace qor {

namespace {

constexpr const char* kPathSeparator = "/";

}  // namespace

// CmdLine, WideArgs

void CmdLine::init(int argc, wchar_t** const argv) {
    std::wstring cmd = argc > 0 ? Filename(iwstr(argv[0])).file() : cmd_;
    std::vector<String> args;
    for (int i = 1; i < argc; ++i)
        args.emplace_back(iwstr(argv[i]));
    argc_ = argc;
    argv_ = argv;
    cmd_.swap(cmd);
    args_.swap(args);
}

dumper& CmdLine::dump(dumper& d) const {
    const dumper::_Entry entry(d, "qor::CmdLine");
    return d.member("argc", argc_).member("cmd", cmd_).member("args", args_);
}

WideArgs::WideArgs(int argc, const char* const* argv) {
    for (int i = 0; i < argc; ++i)
        texts_.push_back(String(argv[i]).toWstring());
    for (std::wstring& text : texts_)
        pointers_.push_back(text.data());
    pointers_.push_back(nullptr);
}

// UnitOfWork

int guardedStep(const std::function<void()>& step) {
    constexpr const char* func = "qor::UnitOfWork::start";
    try {
        step();
        return 0;
    } catch (const Exception& e) {
        writeExcptLog(own_log::toolkit(), __FILE__, __LINE__, func, istr(e.what()));
        return 1;
    } catch (const std::exception& e) {
        writeErrorLog(own_log::toolkit(), __FILE__, __LINE__, func, istr(e.what()), log_tag::Error);
        return 2;
    }
}

UnitOfWork::UnitOfWork(const char* name, UnitOfWork* parent) : parent_(parent), name_(name) {}

UnitOfWork::~UnitOfWork() noexcept(false) {
    const nuv_uncancelled whole;
    constexpr const char* func = "qor::UnitOfWork::~UnitOfWork";
    std::exception_ptr failure;
    bool hadNull = false;
    // A child may take itself out of the list.
    while (!children_.empty()) {
        UnitOfWork* const child = children_.front();
        children_.erase(children_.begin());
        if (child == nullptr) {
            hadNull = true;
            continue;
        }
        objectReleased(child, __FILE__, __LINE__, func);
        try {
            delete child;
        } catch (const NullPointerException&) {
            hadNull = true;
        } catch (...) {
            if (failure == nullptr) failure = std::current_exception();
        }
    }
    if (std::uncaught_exceptions() != 0) return;
    if (failure != nullptr) std::rethrow_exception(failure);
    if (hadNull) QOR_THROW(NullPointerException, func, "null child");
}

int UnitOfWork::start() {
    // Also if an exception ends it.
    struct Idle {
        ~Idle() { running = false; }
        decltype(running_)& running;
    } const idle{running_};
    result_ = 0;
    running_ = true;
    on_init();
    while (running_) {
        const int failure = guardedStep([this] { on_loop(); });
        if (failure != 0) result_ = failure;
    }
    on_fini();
    return result_;
}

void UnitOfWork::stop(int code) noexcept {
    result_ = code;
    running_ = false;
}

void UnitOfWork::stopAll(int code) noexcept {
    for (UnitOfWork* unit = this; unit != nullptr; unit = unit->parent_)
        unit->stop(code);
}

UnitOfWork* UnitOfWork::root() noexcept {
    UnitOfWork* unit = this;
    while (unit->parent_ != nullptr)
        unit = unit->parent_;
    return unit;
}

String UnitOfWork::path() const {
    std::vector<const UnitOfWork*> units;
    for (const UnitOfWork* unit = this; unit != nullptr; unit = unit->parent_)
        units.push_back(unit);
    String path = units.back()->name_;
    for (auto unit = units.rbegin() + 1; unit != units.rend(); ++unit)
        path += kPathSeparator + (*unit)->name_;
    return path;
}

void UnitOfWork::run(const String&) {}

// UowMain, main_uow

UowMain::UowMain(int argc, wchar_t** const argv) : UnitOfWork("main", nullptr) {
    try {
        cmdline().init(argc, argv);
    } catch (const std::exception&) {
        return;
    }
    main_uow::instance().set(this);
}

UowMain::~UowMain() {
    if (main_uow::instance().get() == this) main_uow::instance().set(nullptr);
}

const String& UowMain::argAt(unsigned long i) const noexcept {
    return i < args().size() ? args()[i] : empty_;
}

unsigned long UowMain::argLeft() const noexcept {
    return args().size() - std::min<unsigned long>(cursor_, args().size());
}

const String& UowMain::argNext() noexcept {
    if (cursor_ < args().size()) ++cursor_;
    return argCurrent();
}

main_uow& main_uow::instance() noexcept {
    alignas(main_uow) static unsigned char room[sizeof(main_uow)];
    static main_uow* const main = new (room) main_uow;
    return *main;
}

namespace {
const platform::MadeAtLoad madeAtLoad([] { main_uow::instance(); });
}  // namespace

UnitOfWork* app() {
    UnitOfWork* const unit = main_uow::instance().get();
    if (unit == nullptr) QOR_THROW(NullPointerException, "qor::app", "null main unit of work");
    return unit;
}

}  // namespace qor
