#include "qor/util/util_func.h"

#include <string_view>

#include "platform/filesystem.h"
#include "platform/first_use.h"

namespace qor {

namespace {

constexpr std::wstring_view separators = L"\\/";

String programDir() {
    const std::string path = platform::programPath();
    const std::size_t cut = path.rfind('/');
    return cut == std::string::npos ? String() : String(path.substr(0, cut));
}

}  // namespace

void Filename::split() {
    std::wstring_view whole = full_;
    if (!whole.empty() && separators.find(whole.back()) != separators.npos) whole.remove_suffix(1);
    const std::size_t cut = whole.find_last_of(separators);
    const bool hasDir = cut != whole.npos;
    std::wstring dir(whole.substr(0, hasDir ? cut : 0));
    std::wstring file(hasDir ? whole.substr(cut + 1) : whole);
    full_.resize(whole.size());
    dir_ = std::move(dir);
    file_ = std::move(file);
}

void Filename::merge() {
    std::wstring whole = dir_;
    join(whole, file_);
    full_ = std::move(whole);
    if (file_.ends_with(separator())) file_.pop_back();
}

void Filename::join(std::wstring& dir, iwstr file) {
    if (!file.empty() && file.end()[-1] == separator()) file = file.removeRight(1);
    // Reserves first, so that `dir` is unchanged if memory runs out.
    dir.reserve(dir.size() + 1 + file.size());
    if (!dir.empty()) dir += separator();
    if (!file.empty()) dir.append(file.data(), file.size());
}

istr Funcname::lastOf(istr full) noexcept {
    const std::string_view whole(full);
    const std::string_view between(separator());
    const std::size_t last = whole.rfind(between);
    return last != whole.npos ? istr(whole.substr(last + between.size())) : full;
}

void Funcname::split() {
    String func(lastOf(full_));
    std::string_view front(full_);
    front.remove_suffix(func.size());
    if (!front.empty()) front.remove_suffix(separator().size());
    String ns(lastOf(front));
    ns_ = std::move(ns);
    func_ = std::move(func);
}

void Funcname::merge() {
    String whole = ns_;
    whole += separator();
    whole += func_;
    full_ = std::move(whole);
}

String getProgramDir() {
    // Never destroyed: static destructors may use it.
    static constinit platform::FirstUse<const String*> dir;
    return *dir.get([] { return new String(programDir()); });
}

String getApplicationDir(int) {
    return String();
}

String normalizeName(const istr& name) {
    String normal;
    bool inRun = false;
    for (const char c : std::string_view(name)) {
        const bool separates = c == '.' || c == ':';
        if (!separates) normal += c;
        if (separates && !inRun) normal += '.';
        inRun = separates;
    }
    return normal;
}

}  // namespace qor
