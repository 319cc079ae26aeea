#ifndef QOR_UTIL_PATH_NAME_H
#define QOR_UTIL_PATH_NAME_H

#include <concepts>
#include <filesystem>
#include <string>

#include "qor/api.h"
#include "qor/base/base_type_view.h"

namespace qor {

// The name of a file as an argument: wide text or a std::filesystem::path, with "\" or "/" between
// its parts. It refers to wide text, which must outlive it; of a path it has a copy.
//
// A path that is not valid UTF-8, or that has a zero in it, becomes a name that names no file.
class QOR_API PathName {
public:
    PathName() noexcept = default;
    template <std::convertible_to<iwstr> Text>
    PathName(const Text& text) noexcept : text_(text) {}
    // Raises std::bad_alloc.
    template <std::same_as<std::filesystem::path> Path>
    PathName(const Path& path) : ofPath_(wideTextOf(path)), text_(ofPath_) {}
    PathName(const PathName&) = delete;
    PathName& operator=(const PathName&) = delete;

    const iwstr& text() const noexcept { return text_; }
    operator const iwstr&() const noexcept { return text_; }

private:
    static std::wstring wideTextOf(const std::filesystem::path& path);

    std::wstring ofPath_;
    iwstr text_;
};

}  // namespace qor

#endif  // QOR_UTIL_PATH_NAME_H
