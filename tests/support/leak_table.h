#ifndef QOR_TESTS_SUPPORT_LEAK_TABLE_H
#define QOR_TESTS_SUPPORT_LEAK_TABLE_H

#include <cstddef>
#include <string>

#include "qor/base/mlcheck.h"
#include "qor/log/console.h"
#include "support/terminal.h"

namespace support {

// The table of leaks, on for a scope, and the console on which it reports unknown blocks.
class LeakTable {
public:
    LeakTable() {
        qor::console::create();
        qor::console::setOn(true);
        qor::MemLeakChecker::instance()->start();
    }
    ~LeakTable() {
        qor::MemLeakChecker::destroy();
        qor::console::destroy();
        qor::console::setOn(false);
    }

    // How many blocks are in it.
    static std::size_t size() { return qor::MemLeakChecker::instance()->size(); }
    std::string shown() const {
        qor::console::flush();
        return terminal_.output.str();
    }

private:
    Terminal terminal_;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_LEAK_TABLE_H
