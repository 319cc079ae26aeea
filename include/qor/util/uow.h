#ifndef QOR_UTIL_UOW_H
#define QOR_UTIL_UOW_H

#include <atomic>
#include <list>
#include <string>
#include <vector>

#include "qor/api.h"
#include "qor/base/base_type_string.h"
#include "qor/base/interface.h"

namespace qor {

class dumper;

// The command line of a program, copied from the arguments of main as wide text.
class QOR_API CmdLine {
public:
    CmdLine() = default;
    CmdLine(int argc, wchar_t** const argv) { init(argc, argv); }

    // Raises std::bad_alloc and the exceptions of the conversion to the configured code page.
    void init(int argc, wchar_t** const argv);

    // The arguments after the program's name.
    std::vector<String>& args() noexcept { return args_; }
    const std::vector<String>& args() const noexcept { return args_; }
    // The program's file name, without its directory.
    std::wstring& cmd() noexcept { return cmd_; }
    const std::wstring& cmd() const noexcept { return cmd_; }

    dumper& dump(dumper& d) const;

private:
    int argc_ = 0;
    wchar_t** argv_ = nullptr;
    std::wstring cmd_;
    std::vector<String> args_;
};

// The arguments of a main with narrow text, in the configured code page, as wide text. They are
// valid as long as this object:
//
//     int main(int argc, char** argv) {
//         const WideArgs args(argc, argv);
//         return Program(args.argc(), args.argv()).start();
//     }
class QOR_API WideArgs : noncopyable {
public:
    WideArgs(int argc, const char* const* argv);

    int argc() const noexcept { return static_cast<int>(texts_.size()); }
    wchar_t** argv() const noexcept { return pointers_.data(); }

private:
    std::vector<std::wstring> texts_;
    mutable std::vector<wchar_t*> pointers_;  // followed by a null
};

// A named part of a running program, with a start, a loop until stop is called, and an end. Units
// form a tree; the root is a UowMain or a test::UowTest.
//
//     class Program : public UowMain {
//         using UowMain::UowMain;
//         void on_loop() override { if (!serveOne()) stop(0); }
//     };
//
// A unit runs on the thread that starts it; any thread may stop it.
class QOR_API UnitOfWork : noncopyable {
public:
    // The parent may be null; otherwise it must outlive the unit. The unit does not add itself to
    // the parent's children().
    UnitOfWork(const char* name, UnitOfWork* parent);
    // Deletes the children. Deliberate (compatibility): then raises NullPointerException if a child
    // is null, unless another exception is already propagating.
    virtual ~UnitOfWork() noexcept(false);

    // Runs on_init, then on_loop until stop, then on_fini, and returns the code of the last stop or
    // failure. A std::exception from on_loop is logged and the loop continues; the code is 1 for an
    // exception of the library and 2 for another one. Other exceptions from on_loop, and all from
    // on_init and on_fini, are passed to the caller.
    int start();
    // Ends the loop after its present pass, with this code as the result.
    void stop(int code) noexcept;
    // Stops this unit and all its ancestors.
    void stopAll(int code) noexcept;
    // True during start(), until a stop.
    bool running() const noexcept { return running_; }
    // The present code. start() sets it to 0, a stop or a failure to its own.
    int result() const noexcept { return result_; }
    void result(int code) noexcept { result_ = code; }

    UnitOfWork* parent() noexcept { return parent_; }
    const UnitOfWork* parent() const noexcept { return parent_; }
    UnitOfWork* root() noexcept;
    // The units that this one owns; they must have been created by checkedNew.
    std::list<UnitOfWork*>& children() noexcept { return children_; }
    const std::list<UnitOfWork*>& children() const noexcept { return children_; }
    String& name() noexcept { return name_; }
    const String& name() const noexcept { return name_; }
    // The names from the root to this unit, "main/a/b".
    String path() const;
    CmdLine& cmdline() noexcept { return cmdline_; }
    const CmdLine& cmdline() const noexcept { return cmdline_; }
    std::vector<String>& args() noexcept { return cmdline_.args(); }
    const std::vector<String>& args() const noexcept { return cmdline_.args(); }

    virtual void on_init() = 0;
    virtual void on_loop() = 0;
    virtual void on_fini() = 0;
    // For units that accept commands; does nothing here.
    virtual void run(const String& what);

private:
    std::atomic<bool> running_{false};
    std::atomic<int> result_{0};
    UnitOfWork* const parent_;
    std::list<UnitOfWork*> children_;
    String name_;
    CmdLine cmdline_;
};

// The root of a program's units, with the command line. app() returns the UowMain that was
// constructed last, until that is destroyed. If the command line cannot be copied, the object has
// none and app() does not return it.
class QOR_API UowMain : public UnitOfWork {
public:
    UowMain(int argc, wchar_t** const argv);
    ~UowMain() override;

    unsigned long argCount() const noexcept { return args().size(); }
    // An empty text if i is out of range.
    const String& argAt(unsigned long i) const noexcept;
    // A cursor over the arguments, at first on the first one. argLeft counts the current argument
    // too; argNext moves to the next one and returns it.
    unsigned long argLeft() const noexcept;
    const String& argCurrent() const noexcept { return argAt(cursor_); }
    const String& argNext() noexcept;

    void on_init() override {}
    void on_loop() override {}
    void on_fini() override {}

private:
    const String empty_;
    ulong32 cursor_ = 0;
};

// Holds the program's root.
class QOR_API main_uow : noncopyable {
public:
    static main_uow& instance() noexcept;
    UnitOfWork* get() const noexcept { return uow_; }
    void set(UnitOfWork* uow) noexcept { uow_ = uow; }

private:
    main_uow() = default;

    std::atomic<UnitOfWork*> uow_{nullptr};
};

// The program's root. Raises NullPointerException if there is none.
QOR_API UnitOfWork* app();

}  // namespace qor

#endif  // QOR_UTIL_UOW_H
