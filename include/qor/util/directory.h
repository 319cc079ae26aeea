#ifndef QOR_UTIL_DIRECTORY_H
#define QOR_UTIL_DIRECTORY_H

#include <list>
#include <memory>
#include <string>
#include <vector>

#include "qor/api.h"
#include "qor/base/base_type_bytes.h"
#include "qor/base/interface.h"
#include "qor/base/tri_bool.h"
#include "qor/log/log_dumper.h"
#include "qor/pml/ntv_unit.h"
#include "qor/util/path_name.h"

namespace qor {

// One entry of a snapshot.
struct QOR_API DirItem {
    DirItem() = default;
    DirItem(bool isDirectory, const iwstr& path, long long bytes, const pml::ntv::Unit* node)
        : isDir(isDirectory), name(path), size(bytes), unit(node) {}
    // From a unit: one with a list is a directory, one with an IntegerValue is a file of that size.
    DirItem(const pml::ntv::Unit& node, const iwstr& path);

    // "name, size" or "name, <dir>".
    dumper& dump(dumper& d) const;

    bool isDir = false;
    std::wstring name;    // path from the directory of the snapshot, parts joined by "\"
    long long size = -1;  // in bytes; -1 for a directory and if it is unknown
    const pml::ntv::Unit* unit = nullptr;  // its unit in the tree, which owns it
};

// A snapshot of a directory and everything below it, as a tree and as a list; and static functions
// for single files:
//
//     const Directory directory(L"logs");
//     for (const DirItem& item : directory.items())
//         if (!item.isDir) show(item.name, item.size);
//
// The tree has a unit for each entry, with the entry's name. The value of a directory is the list
// of its entries, which may be empty, and that of a file is its size as an IntegerValue: so
// simple() is true for files and false for directories. Entries are in the order in which the
// system lists them, which is unspecified.
//
// - An entry that changes during the snapshot is shown in one of its states, or not at all. A file
//   whose size cannot be read has the size -1, and a directory that cannot be read has an empty
//   list.
// - A link to a file has the size of that file, and a broken link has -1. A link to a directory is
//   a directory with an empty list, so that nothing is read twice or without end. The names given
//   to setup may be links; these are followed.
// - Pipes, sockets and devices are files of the size 0. Only directories are opened.
// - In a name that is not UTF-8, malformed bytes become U+FFFD. The entry's data is right, but its
//   name here does not find the file. If several entries get the same name, only the first is in
//   the list and the sums. A "\" in a name counts as a separator.
//
// The depth of a tree and the length of its paths are not limited; at most 32 of its directories
// are open at a time. Names are as for File. Failures are reported by results; the only exceptions
// are std::bad_alloc, and NullPointerException and OutOfRangeException where stated. Only one
// thread at a time may use a snapshot; any thread may call the static functions.
class QOR_API Directory : noncopyable {
public:
    Directory();
    // Calls setup(name) and ignores its result.
    explicit Directory(const PathName& name);
    ~Directory();

    // Replace the snapshot. If `entries` is not empty, the snapshot has only these entries, which
    // may be paths, and everything below them. Return false if the directory or a given entry
    // cannot be read, or if a directory is moved meanwhile; the snapshot then has everything that
    // could be read. If std::bad_alloc is raised, the previous snapshot is kept.
    bool setup(const PathName& name);
    bool setup(const PathName& name, const std::list<std::wstring>& entries);

    // The name that was given to setup.
    const std::wstring& homeDir() const noexcept { return name_; }
    const pml::ntv::Unit& files() const noexcept { return *files_; }
    // A directory precedes its entries. The items' units are valid until the next setup.
    const std::vector<DirItem>& items() const noexcept { return items_; }
    // Raises OutOfRangeException beyond the end.
    const DirItem& at(unsigned long index) const;
    unsigned long numof() const noexcept { return items_.size(); }
    // The sum of all known sizes in bytes, at most the largest long long.
    long long totalSize() const noexcept { return totalSize_; }

    // The two steps of setup. The value of `unit` becomes the list of the entries; if `entries` is
    // empty, of all entries. A null unit raises NullPointerException.
    static bool setupDirTree(const PathName& dir, pml::ntv::Unit* unit);
    static bool setupDirTree(const PathName& dir, const std::list<std::wstring>& entries,
                             pml::ntv::Unit* unit);
    // Appends an item for each unit below `unit`, which still owns these units. Names begin with
    // `dir`. Returns false if `unit` has no list.
    static bool recurseDirTree(const PathName& dir, const pml::ntv::Unit& unit,
                               std::vector<DirItem>& out);

    // Follows links. Unknown if the system reports an error, such as a missing file.
    static TriBool isDirectory(const PathName& name);
    // In bytes; -1 on failure and for a directory.
    static long long getFileSize(const PathName& name);
    static bool isEmptyFile(const PathName& name) { return getFileSize(name) == 0; }
    // Creates the file if it is missing, and empties it if `truncate` is true.
    static bool createFile(const PathName& name, bool truncate);

    // Return a handle, which the caller closes by closeFile; a handle with all bits set if the file
    // cannot be opened. openFileForWrite creates a missing file. Any number of threads may use a
    // handle.
    static void* openFileForRead(const PathName& name);
    static void* openFileForWrite(const PathName& name, bool truncate);
    // Reads at most the capacity of `out`, and sets its size to the number of bytes read, which is
    // less at the end of the file. Returns false, with `out` empty, on failure, if `out` has no
    // buffer, and for a negative position.
    static bool readFileAt(void* handle, long long position, Bytes& out) noexcept;
    // Writes all bytes, or returns false. If the position is after the end of the file, the bytes
    // between become zeros.
    static bool writeFileAt(void* handle, long long position, const istr& bytes) noexcept;
    // Returns false if the handle is not open, or if written data did not reach the file.
    static bool closeFile(void* handle) noexcept;
    // Open the file, read as readFileAt or write as writeFileAt, and close it. Writing creates a
    // missing file, and keeps the content before and after the bytes.
    static bool readFrom(const PathName& name, long long position, Bytes& out);
    static bool writeTo(const PathName& name, long long position, const istr& bytes);

private:
    std::wstring name_;
    std::unique_ptr<pml::ntv::Unit> files_;
    std::vector<DirItem> items_;
    long long totalSize_ = 0;
};

}  // namespace qor

#endif  // QOR_UTIL_DIRECTORY_H
