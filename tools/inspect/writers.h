#ifndef QOR_TOOLS_INSPECT_WRITERS_H
#define QOR_TOOLS_INSPECT_WRITERS_H

#include <memory>

#include "common/output.h"
#include "inspect/events.h"

namespace tools {

// The maximum number of levels by which a line is indented, so that the output of a very deep tree
// does not consist of blanks.
inline constexpr std::size_t kMostIndent = 64;

// Writers. Each ends a document with a line feed, except that of nbr, and can then write the next
// one. Without colours and limits, the text is that of the library's own writers.

// Writes the form in which a dumper shows nbr: tags or keys in brackets, bytes in hexadecimal.
std::unique_ptr<Sink> makeTreeWriter(Output& out, bool compact);
// Writes pml in the layout FORMATTED or COMPACT.
std::unique_ptr<Sink> makePmlWriter(Output& out, bool compact);
std::unique_ptr<Sink> makeJsonWriter(Output& out, bool compact);
std::unique_ptr<Sink> makeXmlWriter(Output& out, bool compact);
// Writes nbr. A key that is no tag becomes an item of a map, with the key and the value.
std::unique_ptr<Sink> makeNbrWriter(Output& out);

// The bytes in hexadecimal: "41 00 FF".
std::string hexOf(istr bytes);
// Whether a text is a valid number in JSON.
bool isJsonNumber(istr text);

}  // namespace tools

#endif  // QOR_TOOLS_INSPECT_WRITERS_H
