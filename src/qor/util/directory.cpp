#include "qor/util/directory.h"

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <limits>
#include <memory>
#include <string_view>
#include <typeinfo>
#include <utility>

#include "platform/filesystem.h"
#include "qor/base/base_type_convert.h"
#include "qor/base/open_flags.h"
#include "qor/util/util_func.h"

namespace qor {

using pml::ntv::IntegerValue;
using pml::ntv::ListValue;
using pml::ntv::Unit;

namespace {

std::string nativePath(iwstr name) {
    return platform::nativePath(std::wstring_view(name.begin(), name.end()));
}

void* asHandle(int fd) noexcept {
    return reinterpret_cast<void*>(static_cast<std::intptr_t>(fd));
}

int descriptorOf(void* handle) noexcept {
    return static_cast<int>(reinterpret_cast<std::intptr_t>(handle));
}

long long sizeOf(const Unit& unit) noexcept {
    // IntegerValue is final, so comparing the type is sufficient.
    const pml::ntv::ValueBase* const value = unit.value();
    if (value == nullptr || typeid(*value) != typeid(IntegerValue)) return -1;
    return static_cast<const IntegerValue*>(value)->data().value();
}

bool isPlain(std::string_view name) noexcept {
    return std::all_of(name.begin(), name.end(),
                       [](char c) { return static_cast<unsigned char>(c) < 0x80; });
}

void widen(const String& name, std::wstring& wide) {
    if (!isPlain(name)) return utf8ToWstring(name, wide);
    wide.resize(name.size());
    std::copy(name.begin(), name.end(), wide.begin());
}

// Fills units with the content of directories of any depth. A directory stays open until all of its
// subdirectories are read, so that they are opened without a path. At most `mostOpen` stay open: an
// outer one is closed, and opened again as the parent of its subdirectory.
class TreeWalk {
public:
    // Returns false if the directory cannot be read, or if a closed one cannot be opened again.
    bool run(platform::OpenDirectory directory, Unit& unit) {
        bool complete = read(std::move(directory), unit);
        while (!waiting_.empty()) {
            if (waiting_.back().inner.empty()) {
                complete = leave() && complete;
            } else {
                const Entry entry = std::move(waiting_.back().inner.back());
                waiting_.back().inner.pop_back();
                read(waiting_.back().directory.child(entry.name.c_str()), *entry.unit);
            }
        }
        return complete;
    }

    // The unit of a new entry, or null if the name exists already.
    Unit* add(Unit& unit, istr name, const platform::FileStatus& status) {
        const unsigned long before = unit.numofChildren();
        Unit* const child = unit.at(name);
        if (unit.numofChildren() == before) return nullptr;
        if (status.isDirectory) {
            child->initValueAsList();
        } else {
            child->value(IntegerValue::create(status.size));
        }
        ++count_;
        return child;
    }
    // The number of units added.
    std::size_t count() const { return count_; }

private:
    static constexpr std::size_t mostOpen = 30;

    struct Entry {
        std::string name;
        Unit* unit;
    };
    struct Level {
        platform::OpenDirectory directory;
        std::vector<Entry> inner;  // not read yet
        platform::DirectoryId id = {};
    };

    bool read(platform::OpenDirectory directory, Unit& unit) {
        if (!directory.valid()) return false;
        Level level{std::move(directory), {}};
        const char* name = nullptr;
        platform::FileStatus status;
        int result;
        while ((result = level.directory.next(*entries_, name, status)) == 1) {
            Unit* const child = isPlain(name)
                                    ? add(unit, name, status)
                                    : add(unit, toUtf8(wstr(toWstring(utf8(name)))), status);
            if (child != nullptr && status.isDirectory) level.inner.push_back({name, child});
        }
        if (!level.inner.empty()) enter(std::move(level));
        return result == 0;
    }

    void enter(Level level) {
        waiting_.push_back(std::move(level));
        if (waiting_.size() - firstOpen_ <= mostOpen) return;
        Level& outermost = waiting_[firstOpen_++];
        outermost.id = outermost.directory.id();
        outermost.directory.close();
    }

    bool leave() {
        const Level left = std::move(waiting_.back());
        waiting_.pop_back();
        if (waiting_.empty() || waiting_.size() > firstOpen_) return true;
        Level& outer = waiting_.back();
        outer.directory = left.directory.parent();
        --firstOpen_;
        // If the subdirectory was moved meanwhile, its parent is a different directory.
        if (outer.directory.valid() && outer.directory.id() == outer.id) return true;
        outer.directory.close();
        return false;
    }

    std::size_t count_ = 0;
    std::vector<Level> waiting_;  // each is a subdirectory of the previous one
    std::size_t firstOpen_ = 0;
    std::unique_ptr<platform::EntryBuffer> entries_ = std::make_unique<platform::EntryBuffer>();
};

struct Filled {
    bool complete;
    std::size_t count;
};
Filled fillTree(iwstr dir, const std::list<std::wstring>& entries, Unit& tree) {
    tree.initValueAsList();
    TreeWalk walk;
    bool complete = !entries.empty() || walk.run(platform::OpenDirectory(nativePath(dir)), tree);
    for (const std::wstring& name : entries) {
        const std::string path = platform::nativePath(Filename(dir, name).full());
        platform::FileStatus status;
        if (!platform::fileStatus(path, status)) complete = false;
        Unit* const child = walk.add(tree, toUtf8(wstr(name)), status);
        if (child == nullptr || !status.isDirectory) continue;
        if (!walk.run(platform::OpenDirectory(path), *child)) complete = false;
    }
    return {complete, walk.count()};
}

// `count` is the expected number of items.
std::vector<DirItem> itemsOf(const ListValue& tree, iwstr dir, std::size_t count) {
    struct Level {
        const ListValue* list;
        std::size_t next;
        std::size_t pathSize;
    };
    std::vector<DirItem> items;
    items.reserve(count);
    std::wstring path = dir;
    std::wstring name;
    std::vector<Level> open{{&tree, 0, path.size()}};
    while (!open.empty()) {
        Level& level = open.back();
        if (level.next == level.list->size()) {
            open.pop_back();
            continue;
        }
        const Unit* const child = level.list->data()[level.next++];
        if (child == nullptr) QOR_THROW(NullPointerException, "qor::Directory::recurseDirTree");
        path.resize(level.pathSize);
        widen(child->name(), name);
        Filename::join(path, name);
        items.emplace_back(*child, path);
        const ListValue* const inner = child->listValue();
        if (inner != nullptr) open.push_back({inner, 0, path.size()});
    }
    return items;
}

}  // namespace

DirItem::DirItem(const Unit& node, const iwstr& path)
    : DirItem(!node.simple(), path, sizeOf(node), &node) {}

dumper& DirItem::dump(dumper& d) const {
    d.write(name).raw(", ");
    return isDir ? d.raw("<dir>") : d.write(size);
}

Directory::Directory() : files_(std::make_unique<Unit>()) {
    files_->initValueAsList();
}

Directory::Directory(const PathName& name) : Directory() {
    setup(name);
}

Directory::~Directory() = default;

bool Directory::setup(const PathName& name) {
    return setup(name, {});
}

bool Directory::setup(const PathName& name, const std::list<std::wstring>& entries) {
    std::wstring kept = name.text();
    auto files = std::make_unique<Unit>();
    const Filled filled = fillTree(name, entries, *files);
    std::vector<DirItem> items = itemsOf(*files->listValue(), iwstr(), filled.count);

    name_ = std::move(kept);
    files_ = std::move(files);
    items_ = std::move(items);
    totalSize_ = 0;
    for (const DirItem& item : items_) {
        const long long room = std::numeric_limits<long long>::max() - totalSize_;
        totalSize_ += std::clamp(item.size, 0LL, room);
    }
    return filled.complete;
}

const DirItem& Directory::at(unsigned long index) const {
    if (index >= items_.size()) QOR_THROW(OutOfRangeException, "qor::Directory::at");
    return items_[index];
}

bool Directory::setupDirTree(const PathName& dir, Unit* unit) {
    return setupDirTree(dir, {}, unit);
}

bool Directory::setupDirTree(const PathName& dir, const std::list<std::wstring>& entries,
                             Unit* unit) {
    if (unit == nullptr) QOR_THROW(NullPointerException, "qor::Directory::setupDirTree");
    Unit tree;
    const Filled filled = fillTree(dir, entries, tree);
    unit->value(tree.popValue());
    return filled.complete;
}

bool Directory::recurseDirTree(const PathName& dir, const Unit& unit, std::vector<DirItem>& out) {
    const ListValue* const tree = unit.listValue();
    if (tree == nullptr) return false;
    std::vector<DirItem> items = itemsOf(*tree, dir, tree->size());
    out.insert(out.end(), std::make_move_iterator(items.begin()),
               std::make_move_iterator(items.end()));
    return true;
}

TriBool Directory::isDirectory(const PathName& name) {
    platform::FileStatus status;
    if (!platform::fileStatus(nativePath(name), status)) return -1;
    return status.isDirectory;
}

long long Directory::getFileSize(const PathName& name) {
    platform::FileStatus status;
    platform::fileStatus(nativePath(name), status);
    return status.size;
}

bool Directory::createFile(const PathName& name, bool truncate) {
    const int flags = OpenRead | OpenCreate | (truncate ? OpenTruncate : 0);
    const int fd = platform::openFile(nativePath(name), flags);
    return fd != -1 && platform::closeFile(fd);
}

void* Directory::openFileForRead(const PathName& name) {
    return asHandle(platform::openFile(nativePath(name), OpenBinary | OpenRead));
}

void* Directory::openFileForWrite(const PathName& name, bool truncate) {
    const int flags = OpenBinary | OpenReadWrite | OpenCreate | (truncate ? OpenTruncate : 0);
    return asHandle(platform::openFile(nativePath(name), flags));
}

bool Directory::readFileAt(void* handle, long long position, Bytes& out) noexcept {
    out.size(0);
    if (out.buffer() == nullptr) return false;
    const long long got =
        platform::readFileAt(descriptorOf(handle), out.buffer(), out.max_size(), position);
    if (got > 0) out.size(static_cast<unsigned long>(got));
    return got >= 0;
}

bool Directory::writeFileAt(void* handle, long long position, const istr& bytes) noexcept {
    return platform::writeFileAt(descriptorOf(handle), std::string_view(bytes), position);
}

bool Directory::closeFile(void* handle) noexcept {
    return platform::closeFile(descriptorOf(handle));
}

bool Directory::readFrom(const PathName& name, long long position, Bytes& out) {
    out.size(0);
    void* const handle = openFileForRead(name);
    if (descriptorOf(handle) == -1) return false;
    const bool done = readFileAt(handle, position, out);
    return closeFile(handle) && done;
}

bool Directory::writeTo(const PathName& name, long long position, const istr& bytes) {
    void* const handle = openFileForWrite(name, false);
    if (descriptorOf(handle) == -1) return false;
    const bool done = writeFileAt(handle, position, bytes);
    return closeFile(handle) && done;
}

}  // namespace qor
