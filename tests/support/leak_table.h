#ifndef QOR_TESTS_SUPPORT_LEAK_TABLE_H
#define QOR_TESTS_SUPPORT_LEAK_TABLE_H

#include <cstddef>
#include <iostream>
#include <sstream>
#include <string>

#include "qor/base/mlcheck.h"
#include "qor/log/console.h"

namespace support {

// The table of leaks, on for a scope, and the console that it tells of blocks it does not know.
class LeakTable {
public:
    LeakTable() : out_(std::cout.rdbuf(output_.rdbuf())) {
        qor::console::create();
        qor::console::setOn(true);
        qor::MemLeakChecker::instance()->start();
    }
    LeakTable(const LeakTable&) = delete;
    LeakTable& operator=(const LeakTable&) = delete;
    ~LeakTable() {
        qor::MemLeakChecker::destroy();
        qor::console::destroy();
        qor::console::setOn(false);
        std::cout.rdbuf(out_);
    }

    // How many blocks are in it.
    static std::size_t size() { return qor::MemLeakChecker::instance()->size(); }
    std::string shown() const {
        qor::console::flush();
        return output_.str();
    }

private:
    std::ostringstream output_;
    std::streambuf* out_;
};

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_LEAK_TABLE_H
