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
    // A unit with a list is a directory; that of a file has its size as an IntegerValue.
    DirItem(const pml::ntv::Unit& node, const iwstr& path);

    // "name, size" or "name, <dir>".
    dumper& dump(dumper& d) const;

    bool isDir = false;
    std::wstring name;                     // from the directory that was set up, "\" in between
    long long size = -1;                   // bytes; -1 for a directory and if it can't be found out
    const pml::ntv::Unit* unit = nullptr;  // its node, which the tree owns
};

// A snapshot of a directory and all that lies below it, as a tree and as a list; and helpers for
// files that are named.
//
// The tree has a unit for each entry, with the entry's name. That of a directory has a list of its
// entries, which may be empty, and that of a file has its size as an IntegerValue: so simple()
// tells files from directories. Entries stand in the order of the system, which is none.
//
// - What changes while it is read is shown as it was at some time, or not at all. What can't be
//   looked at has the size -1, and a directory that can't be read has an empty list.
// - A link to a file has the size of that file, and one that leads nowhere -1. A link to a
//   directory is a directory with an empty list, so that nothing is read twice or for ever. The
//   directory that is set up may itself be a link, and so may names that are given.
// - Pipes, sockets and devices are files of the size 0; nothing is opened but directories.
// - A name that is no UTF-8 has U+FFFD in the place of what is not; the entry is looked at by its
//   real name, but the text that stands for it finds no file. Of several entries that read the same
//   the first one stands for all, and the others are left out of list and sums. A "\" in a name
//   reads as a separator.
//
// Neither the depth of a tree nor the length of its paths matters; at most 32 of its directories
// are open at a time. Names are as for File. Everything but std::bad_alloc, and
// NullPointerException and OutOfRangeException where stated, is reported by a result. A snapshot
// belongs to one thread at a time; the static helpers can be called from any.
class QOR_API Directory : noncopyable {
public:
    Directory();
    // As setup(name); the result is lost.
    explicit Directory(const PathName& name);
    ~Directory();

    // Take the snapshot, in place of the present one. With names given, which may be paths, only
    // these are in it, each with all below it. False when the directory or a name that is given
    // can't be read, or when a directory is moved away meanwhile; what could be read is in the
    // snapshot all the same. std::bad_alloc leaves the present one.
    bool setup(const PathName& name);
    bool setup(const PathName& name, const std::list<std::wstring>& entries);

    // As given to setup.
    const std::wstring& homeDir() const noexcept { return name_; }
    const pml::ntv::Unit& files() const noexcept { return *files_; }
    // A directory stands before its entries. The items' units are valid until the next setup.
    const std::vector<DirItem>& items() const noexcept { return items_; }
    // Raises OutOfRangeException beyond the end.
    const DirItem& at(unsigned long index) const;
    unsigned long numof() const noexcept { return items_.size(); }
    // Bytes of all files whose size is known, and no more than 64 bits hold.
    long long totalSize() const noexcept { return totalSize_; }

    // The two steps of setup. The unit's value becomes the list of the entries. No names given
    // stand for all. A null unit raises NullPointerException.
    static bool setupDirTree(const PathName& dir, pml::ntv::Unit* unit);
    static bool setupDirTree(const PathName& dir, const std::list<std::wstring>& entries,
                             pml::ntv::Unit* unit);
    // Appends an item for each unit below the given one, which keeps owning them. `dir` stands in
    // front of the names. False for a unit without a list.
    static bool recurseDirTree(const PathName& dir, const pml::ntv::Unit& unit,
                               std::vector<DirItem>& out);

    // What stands behind a link; unknown when nothing can be found out.
    static TriBool isDirectory(const PathName& name);
    // -1 also for a directory.
    static long long getFileSize(const PathName& name);
    static bool isEmptyFile(const PathName& name) { return getFileSize(name) == 0; }
    // Makes the file if there is none, and empties it if `truncate` says so.
    static bool createFile(const PathName& name, bool truncate);

    // A handle of the caller's, to be closed by closeFile; all bits are set when the file can't be
    // opened. For writing a file is made if there is none. Any number of threads may use a handle.
    static void* openFileForRead(const PathName& name);
    static void* openFileForWrite(const PathName& name, bool truncate);
    // Reads up to the capacity of `out`, whose size becomes what was got: less at the end of the
    // file. A false leaves it empty; Bytes without a buffer are one, and so is a position below 0.
    static bool readFileAt(void* handle, long long position, Bytes& out) noexcept;
    // All bytes or false. Behind the end of the file there are zeros up to the position.
    static bool writeFileAt(void* handle, long long position, const istr& bytes) noexcept;
    // False when what was written did not reach the file, or for no handle.
    static bool closeFile(void* handle) noexcept;
    // Open, do the one thing, and close. Writing makes the file, and keeps what is around the
    // bytes.
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
