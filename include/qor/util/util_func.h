#ifndef QOR_UTIL_UTIL_FUNC_H
#define QOR_UTIL_UTIL_FUNC_H

#include <string>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor {

// A path name and its parts: "c:\a\b.txt" is "b.txt" in "c:\a". The file system is not accessed.
// Both "\" and "/" separate when a name is split; names are joined with "\", which every operation
// of the library that takes a path understands.
//
// The setters keep the three texts consistent; their arguments may be views of the object's own
// texts. If std::bad_alloc is raised, the object is unchanged.
class QOR_API Filename {
public:
    Filename() = default;
    explicit Filename(iwstr full) : full_(full) { split(); }
    Filename(iwstr dir, iwstr file) : dir_(dir), file_(file) { merge(); }

    const std::wstring& full() const noexcept { return full_; }
    const std::wstring& dir() const noexcept { return dir_; }
    const std::wstring& file() const noexcept { return file_; }
    // Sets the whole and splits it.
    void full(iwstr text) { *this = Filename(text); }
    // Set one part and merge.
    void dir(iwstr text) { *this = Filename(text, file_); }
    void file(iwstr text) { *this = Filename(dir_, text); }

    // Removes one separator at the end of the whole, then splits it at the last separator. Without
    // a separator, and for "\a", the directory is empty.
    void split();
    // Removes one "\" at the end of the file; then the whole becomes the directory, "\" (unless the
    // directory is empty), and the file.
    void merge();

    static constexpr wchar_t separator() noexcept { return L'\\'; }
    // Appends the file, which must not be a part of `dir`, to the directory as merge does.
    static void join(std::wstring& dir, iwstr file);

private:
    std::wstring full_;
    std::wstring dir_;
    std::wstring file_;
};

// A qualified function name and its parts: "qor::Time::now" is "now" in "Time". The setters are as
// those of Filename.
class QOR_API Funcname {
public:
    Funcname() = default;
    explicit Funcname(istr full) : full_(full) { split(); }
    Funcname(istr ns, istr func) : ns_(ns), func_(func) { merge(); }

    const String& full() const noexcept { return full_; }
    const String& ns() const noexcept { return ns_; }
    const String& func() const noexcept { return func_; }
    void full(istr text) { *this = Funcname(text); }
    void ns(istr text) { *this = Funcname(text, func_); }
    void func(istr text) { *this = Funcname(ns_, text); }

    // The function is the part after the last "::". ns is only the name before that, without the
    // enclosing ones, which keeps log lines short.
    void split();
    // Joins ns and func by "::", even if one of them is empty.
    void merge();

    static istr separator() noexcept { return {"::", 2}; }
    // The function of a qualified name, as split finds it, as a view of `full`.
    static istr lastOf(istr full) noexcept;

private:
    String full_;
    String ns_;
    String func_;
};

// The directory of the running program as a path of this system, in UTF-8 and without a separator
// at the end; empty if the system does not provide it. Any thread may call it.
QOR_API String getProgramDir();
// Always empty, whatever the argument.
QOR_API String getApplicationDir(int);

// Makes a qualified name usable as a file name: each sequence of "." and ":" becomes one ".".
QOR_API String normalizeName(const istr& name);

}  // namespace qor

#endif  // QOR_UTIL_UTIL_FUNC_H
