#ifndef QOR_PML_PML_FILE_H
#define QOR_PML_PML_FILE_H

#include <fstream>

#include "qor/api.h"
#include "qor/base/base_type_string.h"

namespace qor::pml {

// The name of a file from which pml is read or to which it is written. The constructor opens
// nothing. The name is in the configured code page, with "\" or "/" between its parts;
// one with a zero in it names no file.
class QOR_API File {
public:
    File() noexcept = default;
    explicit File(istr name) : filename_(name) {}
    File& operator=(istr name) {
        filename_ = name;
        return *this;
    }
    const String& filename() const noexcept { return filename_; }

    // Open the stream for input, or for output, which empties the file. The file is not locked.
    // Return false if the stream is not good afterwards, and for a directory.
    bool open(std::ifstream& stream) const;
    bool open(std::ofstream& stream) const;

private:
    String filename_;
};

}  // namespace qor::pml

#endif  // QOR_PML_PML_FILE_H
