#include "common/run.h"

#include <unistd.h>

#include <csignal>
#include <cstdlib>
#include <exception>
#include <new>

#include "common/failure.h"
#include "common/output.h"

namespace tools {

void complain(const char* tool, const std::string& message) {
    std::string line = std::string(tool) + ": ";
    appendHarmless(line, message, true);
    line += '\n';
    static_cast<void>(writeAll(STDERR_FILENO, line));
}

int run(const char* tool, int argc, char** argv,
        int (*body)(const std::vector<std::string>& arguments)) {
    // The parent process may have started this one with the signal ignored.
    std::signal(SIGPIPE, SIG_DFL);
    // The settings of a program in the working directory do not concern a tool.
    ::setenv("OMB_CLI_CFG_FILE", "/dev/null", 1);
    try {
        return body(std::vector<std::string>(argc > 0 ? argv + 1 : argv, argv + argc));
    } catch (const UsageError& e) {
        complain(tool, e.what() + std::string("; see ") + tool + " --help");
        return kUsage;
    } catch (const std::bad_alloc&) {
        complain(tool, "out of memory");
    } catch (const std::exception& e) {
        complain(tool, e.what());
    }
    return kFailure;
}

}  // namespace tools
