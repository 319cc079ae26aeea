// CmdLineQueue: lines that arrive in parts are read whole, in order and once.

#include <unistd.h>

#include <algorithm>
#include <string>

#include "qor/base/base_type_convert.h"
#include "qor/log/console.h"
#include "require.h"

namespace {

using namespace qor;

// The standard input is a pipe to which this program writes.
const int input = [] {
    int ends[2];
    require(pipe(ends) == 0 && dup2(ends[0], STDIN_FILENO) == STDIN_FILENO);
    close(ends[0]);
    return ends[1];
}();

}  // namespace

// The first byte decides the length of the parts. All lines of an input are read. If the last line
// has no line feed, one is added, since the line would otherwise continue in the next input.
extern "C" int LLVMFuzzerTestOneInput(const unsigned char* data, std::size_t size) {
    constexpr std::size_t kMost = 4096;
    if (size < 2 || size > kMost) return 0;
    const std::size_t part = 1 + data[0] % 64;
    std::string text(data + 1, data + size);
    text += '\n';
    std::size_t written = 0;
    for (std::size_t begin = 0; begin < text.size();) {
        const std::size_t end = text.find('\n', begin);
        while (written <= end) {
            const std::size_t count = std::min(part, text.size() - written);
            require(write(input, text.data() + written, count) == static_cast<ssize_t>(count));
            written += count;
        }
        String line("before");
        require(console::readline(line));
        // Text that is malformed in the code page is replaced.
        std::wstring expected;
        ansiToWstring(istr(text.data() + begin, end - begin), expected);
        require(line == String(expected));
        begin = end + 1;
    }
    return 0;
}
