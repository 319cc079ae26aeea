#include "qor/util/path_name.h"

#include "qor/base/base_type_convert.h"

namespace qor {

namespace {

// A lone surrogate is no character, so this name never reaches the system.
constexpr wchar_t kNoName[] = {0xDC80, 0};

}  // namespace

std::wstring PathName::wideTextOf(const std::filesystem::path& path) {
    const std::u8string utf8Text = path.u8string();
    const istr source(reinterpret_cast<const char*>(utf8Text.data()), utf8Text.size());
    std::wstring wide;
    utf8ToWstring(source, wide);
    // What was replaced or left out does not come back.
    return istr(toUtf8(wstr(iwstr(wide)))) == source ? wide : kNoName;
}

}  // namespace qor
