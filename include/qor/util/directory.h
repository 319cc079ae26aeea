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

// A snapshot of a directory and everything below it, as a tree and as a list; and static helpers
// for files given by name.
//
// The tree has a unit for each entry, with the entry's name. The value of a directory is the list
// of its entries, which may be empty, and that of a file is its size as an IntegerValue: so
// simple() is true for files and false for directories. Entries are in the order in which the
// system lists them, which is unspecified.
//
// - An entry that changes during the snapshot is shown in one of its states, or not at all. A file
//   whose size can't be read has the size -1, and a directory that can't be read has an empty list.
// - A link to a file has the size of that file, and a broken link has -1. A link to a directory is
//   a directory with an empty list, so that nothing is read twice or for ever. The directory that
//   is set up may itself be a link, and so may names that are given.
// - Pipes, sockets and devices are files of the size 0; nothing is opened but directories.
// - In a name that is not UTF-8, malformed bytes are shown as U+FFFD. The entry is examined by its
//   real name, but the shown text finds no file. Of several entries that are shown alike only the
//   first is in the list and the sums. A "\" in a name counts as a separator.
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

    // Replace the snapshot. If names are given, which may be paths, it has only these entries and
    // everything below them. False if the directory or a given name can't be read, or if a
    // directory is moved away meanwhile; the snapshot then has everything that could be read. If
    // std::bad_alloc is raised, the previous snapshot is kept.
    bool setup(const PathName& name);
    bool setup(const PathName& name, const std::list<std::wstring>& entries);

    // As given to setup.
    const std::wstring& homeDir() const noexcept { return name_; }
    const pml::ntv::Unit& files() const noexcept { return *files_; }
    // A directory precedes its entries. The items' units are valid until the next setup.
    const std::vector<DirItem>& items() const noexcept { return items_; }
    // Raises OutOfRangeException beyond the end.
    const DirItem& at(unsigned long index) const;
    unsigned long numof() const noexcept { return items_.size(); }
    // The sum of all known sizes in bytes, at most the largest long long.
    long long totalSize() const noexcept { return totalSize_; }

    // The two steps of setup. The unit's value becomes the list of the entries. Without names, all
    // entries are taken. A null unit raises NullPointerException.
    static bool setupDirTree(const PathName& dir, pml::ntv::Unit* unit);
    static bool setupDirTree(const PathName& dir, const std::list<std::wstring>& entries,
                             pml::ntv::Unit* unit);
    // Appends an item for each unit below the given one, which keeps owning them. Names are
    // prefixed with `dir`. False for a unit without a list.
    static bool recurseDirTree(const PathName& dir, const pml::ntv::Unit& unit,
                               std::vector<DirItem>& out);

    // Links are followed. Unknown if the system does not answer.
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
    // Reads up to the capacity of `out`, and sets its size to the number of bytes read, which is
    // less at the end of the file. False, with `out` empty, on failure, without a buffer in `out`,
    // and for a negative position.
    static bool readFileAt(void* handle, long long position, Bytes& out) noexcept;
    // All bytes or false. Behind the end of the file there are zeros up to the position.
    static bool writeFileAt(void* handle, long long position, const istr& bytes) noexcept;
    // False if written data did not reach the file, and for a null handle.
    static bool closeFile(void* handle) noexcept;
    // Open, read or write, and close. Writing creates a missing file, and keeps the content before
    // and after the bytes.
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
