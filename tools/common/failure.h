#ifndef QOR_TOOLS_COMMON_FAILURE_H
#define QOR_TOOLS_COMMON_FAILURE_H

#include <stdexcept>

namespace tools {

// The exit status of a tool: 0 success, 1 bad input or a failed operation, 2 a mistake in the
// command line.
enum Status { kSuccess = 0, kFailure = 1, kUsage = 2 };

// A mistake in the command line. The tool adds "see TOOL --help" to the message.
struct UsageError : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// A failure that ends a tool with kFailure. The message is one line; it names the file and the
// place in it.
struct Failure : std::runtime_error {
    using std::runtime_error::runtime_error;
};

// The output cannot be written. It ends a tool even where another Failure would only end one input.
struct WriteFailure : Failure {
    using Failure::Failure;
};

}  // namespace tools

#endif  // QOR_TOOLS_COMMON_FAILURE_H
