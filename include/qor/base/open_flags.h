#ifndef QOR_BASE_OPEN_FLAGS_H
#define QOR_BASE_OPEN_FLAGS_H

namespace qor {

// How a file is opened: one of the first three, combined by | with any of the others. The numbers
// are the library's own, the same on every system; other bits are ignored.
enum OpenFlag : int {
    OpenRead = 0,
    OpenWrite = 1,
    OpenReadWrite = 2,
    OpenCreate = 0x100,    // creates a missing file
    OpenTruncate = 0x200,  // empties an existing file
    OpenBinary = 0x8000,   // no difference: bytes are never translated
};

}  // namespace qor

#endif  // QOR_BASE_OPEN_FLAGS_H
