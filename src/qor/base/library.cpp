#include "qor/base/library.h"

#include <ace/Init_ACE.h>

#include <cstdlib>
#include <iomanip>
#include <ostream>

#include "base/upward.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/build_info.h"

namespace qor {

namespace {

constexpr const char* kVersion = "2.0.5-00[20150826]";
constexpr const char* kCompiledAt = __DATE__ " " __TIME__;

// One line for each setting of the build, in a fixed order.
constexpr const char* kCompileOptions =
#ifdef _WIN32
    "\tWIN32\n"
#endif
#ifdef NDEBUG
    "\tNDEBUG\n"
#endif
    "\t_QOR_UNIT_TEST OFF\n"
    "\t_QOR_DEBUG OFF\n"
    "\t_QOR_TRACE OFF\n"
    "\t_QOR_TRACE_LOG OFF\n"
    "\t_QOR_MEMLEAKCHECK OFF\n"
    "\t_QOR_ASSERT OFF\n"
    "\t_QOR_ASSERT_ABORT OFF\n"
    "\t_QOR_BREAK_ON_EXCEPTION OFF\n";
constexpr int kThrowReally = 1;

void log(const String& line) {
    upward::writeLine(line);
}

void logBuild() {
    log("");
    log(" qor initializing...");
    log(String(" qor version ") + kVersion);
    log(String(" qor compiled at ") + kCompiledAt);
    log(String(" revision ") + QOR_BUILD_REVISION);
    log(String(" build ") + QOR_BUILD_ID);
}

}  // namespace

std::atomic<bool> System::closing_{false};

void init(const char*, bool, int) {
    logBuild();
    std::srand(static_cast<unsigned>(Time::now().toMicroSeconds()));
    ACE::init();
}

void startup(const char*, bool, int) {
    log("");
    log(" qor startup...");
}

void shutdown() {
    log(" qor shutdown...");
    log("");
    System::close();
}

void fini() {
    shutdown();
    log(" qor finalized.");
    log("");
    ACE::fini();
}

InitFini::InitFini(const char* name, bool flag, int value) {
    init(name, flag, value);
    startup(name, flag, value);
}

InitFini::~InitFini() {
    fini();
}

std::ostream& operator<<(std::ostream& os, const Version& version) {
    return os << version.version << '.' << std::setfill('0') << std::setw(2) << version.patch
              << std::setfill(' ');
}

std::ostream& operator<<(std::ostream& os, show_version) {
    os << "QOR(Quick Object Runtime) version " << kVersion << '\n';
    os << "\nCurrent time = " << istr(Time::now().toDateTime()) << '\n';
    os << "Compile time = " << kCompiledAt << '\n';
    os << "Compile options:\n" << kCompileOptions;
    return os << "\t_QOR_THROW_REALLY = " << kThrowReally << '\n';
}

}  // namespace qor

void qor_20500::zzz_dummy_to_show_version() {}
