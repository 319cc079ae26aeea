#ifndef QOR_SRC_BASE_TEXT_STREAM_H
#define QOR_SRC_BASE_TEXT_STREAM_H

#include <locale>
#include <sstream>

namespace qor {

// Composes a text of the library. Unlike a plain string stream, it does not follow the global
// locale, which may group digits and have another decimal point.
class TextStream : public std::ostringstream {
public:
    TextStream() { imbue(std::locale::classic()); }
};

}  // namespace qor

#endif  // QOR_SRC_BASE_TEXT_STREAM_H
