#ifndef QOR_TOOLS_COMMON_RUN_H
#define QOR_TOOLS_COMMON_RUN_H

#include <string>
#include <vector>

namespace tools {

// The main function of a tool: runs `body` with the arguments after the program's name, and returns
// its status. If `body` raises an exception, prints one line on the standard error and returns the
// status for that kind of exception. If the reader of the output closes the pipe, SIGPIPE ends the
// process without a message.
int run(const char* tool, int argc, char** argv,
        int (*body)(const std::vector<std::string>& arguments));

// Prints "tool: message" on the standard error, on one line and without control characters.
void complain(const char* tool, const std::string& message);

}  // namespace tools

#endif  // QOR_TOOLS_COMMON_RUN_H
