#ifndef QOR_TOOLS_COMMON_RUN_H
#define QOR_TOOLS_COMMON_RUN_H

#include <string>
#include <vector>

namespace tools {

// The main of a tool: runs `body` with the arguments behind the program's name, and returns its
// status. What it raises becomes one line on the standard error and the status that belongs to it.
// A reader of the output that goes away ends the process without a word.
int run(const char* tool, int argc, char** argv,
        int (*body)(const std::vector<std::string>& arguments));

// "tool: message" on the standard error, in one line that does nothing to a terminal.
void complain(const char* tool, const std::string& message);

}  // namespace tools

#endif  // QOR_TOOLS_COMMON_RUN_H
