#include <ace/Init_ACE.h>

#include <algorithm>
#include <cstdlib>
#include <new>

#include "base/upward.h"
#include "base/version.h"
#include "qor/base/base_type_string.h"
#include "qor/base/base_type_time.h"
#include "qor/base/library.h"
#include "qor/base/mlcheck.h"
#include "qor/build_info.h"
#include "qor/cfg/config_file.h"
#include "qor/log/console.h"
#include "qor/log/log_factory.h"
#include "qor/log/log_tracer.h"
#include "qor/mt/thread.h"
#include "qor/pml/ntv_unit.h"
#include "qor/timer/timerManager.h"
#include "qor/xml/XMLNode.h"

// The start and the end of the library. They depend on all subsystems, and so are on no floor.

namespace qor {

namespace {

void log(istr line) {
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

void init(const char*, bool, int) {
    logBuild();
    std::srand(static_cast<unsigned>(Time::now().toMicroSeconds()));
    ACE::init();
    MLC_Entry::enter();
    MemLeakChecker::instance();
    console::create();
    logger_factory::create();
    SimpleThread::current();
    tracer::instance();
    TimerManager::instance();
}

void startup(const char*, bool, int numberOfTimers) {
    log("");
    log(" qor startup...");
    TimerManager::instance()->reopen(static_cast<unsigned long>(std::max(numberOfTimers, 0)));
    console::open();
}

void shutdown() {
    log(" qor shutdown...");
    log("");
    System::close();
    TimerManager::instance()->close();
    console::close();
}

void fini() {
    shutdown();
    TimerManager::destroy();
    tracer::destroy();
    SimpleThread::destroyThreadFactory();
    log(" qor finalized.");
    log("");
    logger_factory::destroy();
    console::destroy();
    ConfigFile::destroy();
    pml::ntv::Unit::destroy_null();
    XMLAttr::destroy_null();
    XMLNode::destroy_null();
    try {
        // Not to the log, which is already closed.
        if (MemLeakChecker::isStarted()) MemLeakChecker::instance()->dump(std_err());
    } catch (const std::bad_alloc&) {
        // Without memory the report is dropped.
    }
    MemLeakChecker::destroy();
    MLC_Entry::leave();
    ACE::fini();
}

InitFini::InitFini(const char* name, bool flag, int value) {
    init(name, flag, value);
    try {
        startup(name, flag, value);
    } catch (...) {
        fini();
        throw;
    }
}

InitFini::~InitFini() {
    fini();
}

}  // namespace qor
