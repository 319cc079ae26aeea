#ifndef QOR_TOOLS_INSPECT_READERS_H
#define QOR_TOOLS_INSPECT_READERS_H

#include <string>
#include <string_view>

#include "common/failure.h"
#include "inspect/events.h"
#include "qor/pml/ntv_unit.h"

namespace tools {

// Malformed content. The message begins with the place: "line 3, column 7: ..." or "offset 5: ...".
struct BadContent : Failure {
    using Failure::Failure;
};

// Each function reads content of one format and emits it to the sink. Raises BadContent. It returns
// a remark: for nbr that the content is cut off or has more data after the value, for pml that it
// has more text; empty if there is none, and for JSON and XML.
std::string readNbr(istr content, Sink& sink);
std::string readPml(istr content, Sink& sink);
std::string readJson(istr content, Sink& sink);
std::string readXml(istr content, Sink& sink);
// Emits the entries of a directory, with the sizes of files. Raises Failure.
void readDirectory(const std::string& path, Sink& sink);

// Reads pml into a unit, and returns a remark as above.
std::string parsePml(istr content, qor::pml::ntv::Unit& unit);
// The bytes of hexadecimal text. Raises BadContent.
std::string bytesOfHex(istr content);

// The message of an exception without the name of its class.
std::string reasonOf(std::string_view message);

// The line and the column of a position: "line 3, column 7".
std::string placeOf(istr content, unsigned long position);

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_READERS_H
