#ifndef QOR_TOOLS_INSPECT_WRITERS_H
#define QOR_TOOLS_INSPECT_WRITERS_H

#include <memory>

#include "common/output.h"
#include "inspect/events.h"

namespace tools {

// How deep lines are indented at the most: deeper ones are at that place, so that a very deep tree
// does not become blanks alone.
inline constexpr std::size_t kMostIndent = 64;

// Writers. Each ends a document with a line feed, but for nbr, and is ready for the next one then.
// Without colours and limits the text is that of the library's own writers.

// As a dumper shows nbr: tags or keys in brackets, bytes in hexadecimal.
std::unique_ptr<Sink> makeTreeWriter(Output& out, bool compact);
// In the layout FORMATTED or COMPACT.
std::unique_ptr<Sink> makePmlWriter(Output& out, bool compact);
std::unique_ptr<Sink> makeJsonWriter(Output& out, bool compact);
std::unique_ptr<Sink> makeXmlWriter(Output& out, bool compact);
// Binary. Keys that are no tags make a container a map: items of a key and a value.
std::unique_ptr<Sink> makeNbrWriter(Output& out);

// The bytes as pairs of digits, "41 00 FF".
std::string hexOf(istr bytes);
// Whether a text reads as a number in JSON.
bool isJsonNumber(istr text);

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_WRITERS_H
