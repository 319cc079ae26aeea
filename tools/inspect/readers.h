#ifndef QOR_TOOLS_INSPECT_READERS_H
#define QOR_TOOLS_INSPECT_READERS_H

#include <string>
#include <string_view>

#include "common/failure.h"
#include "inspect/events.h"
#include "qor/pml/ntv_unit.h"

namespace tools {

// Malformed content: the message begins with the place, "line 3: ..." or "offset 5: ...".
struct BadContent : Failure {
    using Failure::Failure;
};

// Each reads the content by its format and tells the sink. The result is a remark about what the
// reader forgave: that the content is cut off, or goes on behind the value; else it is empty. Raise
// BadContent.
std::string readNbr(istr content, Sink& sink);
std::string readPml(istr content, Sink& sink);
std::string readJson(istr content, Sink& sink);
std::string readXml(istr content, Sink& sink);
// The entries of a directory, with the sizes of files. Raises Failure for what is no directory.
void readDirectory(const std::string& path, Sink& sink);

// Reads pml into a unit; the result is as above.
std::string parsePml(istr content, qor::pml::ntv::Unit& unit);
// The bytes that hexadecimal text stands for. Raises BadContent.
std::string bytesOfHex(istr content);

// What an exception tells, without the name of its class.
std::string reasonOf(std::string_view message);

// "line 3, column 7" of a position.
std::string placeOf(istr content, unsigned long position);

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_READERS_H
