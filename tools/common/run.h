#ifndef QOR_TOOLS_COMMON_RUN_H
#define QOR_TOOLS_COMMON_RUN_H

#include <string>
#include <vector>

namespace tools {

// The main of a tool: runs `body` with the arguments after the program's name, and returns its
// status. An exception becomes one line on the standard error and the status of its kind. If the
// reader of the output closes it, the process ends without a message.
int run(const char* tool, int argc, char** argv,
        int (*body)(const std::vector<std::string>& arguments));

// "tool: message" on the standard error, in one line that does nothing to a terminal.
void complain(const char* tool, const std::string& message);

}  // namespace tools

#endif  // QOR_TOOLS_COMMON_RUN_H
