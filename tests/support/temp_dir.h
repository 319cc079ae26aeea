#ifndef QOR_TESTS_SUPPORT_TEMP_DIR_H
#define QOR_TESTS_SUPPORT_TEMP_DIR_H

#include <string>
#include <string_view>

#include "qor/base/interface.h"

namespace support {

// A fresh directory that is removed at the end with all that lies in it, however deep.
class TempDir : qor::noncopyable {
public:
    TempDir();
    ~TempDir();

    // Without a separator at the end; ASCII.
    const std::string& path() const { return path_; }
    std::string path(std::string_view name) const { return path_ + "/" + std::string(name); }
    std::wstring wide() const { return {path_.begin(), path_.end()}; }
    std::wstring wide(std::wstring_view name) const { return wide() + L"/" + std::wstring(name); }

    // The path of a new file with these bytes.
    std::wstring file(std::string_view name, std::string_view content) const;

private:
    std::string path_;
};

std::string contentOf(const std::string& path);

// Of this process. A sanitizer may start a thread with the program's first one: it is counted, too.
unsigned openDescriptors();
unsigned runningThreads();

}  // namespace support

#endif  // QOR_TESTS_SUPPORT_TEMP_DIR_H
