#include "qor/util/path_name.h"

#include "qor/base/base_type_convert.h"

namespace qor {

namespace {

// A lone surrogate is not a character, so this name is never passed to the system.
constexpr wchar_t kNoName[] = {0xDC80, 0};

}  // namespace

std::wstring PathName::wideTextOf(const std::filesystem::path& path) {
    const std::u8string utf8Text = path.u8string();
    const istr source(reinterpret_cast<const char*>(utf8Text.data()), utf8Text.size());
    std::wstring wide;
    utf8ToWstring(source, wide);
    // If the conversion has replaced or removed something, converting back does not give the
    // source.
    return istr(toUtf8(wstr(iwstr(wide)))) == source ? wide : kNoName;
}

}  // namespace qor
