#ifndef QOR_SRC_BASE_TEXT_STREAM_H
#define QOR_SRC_BASE_TEXT_STREAM_H

#include <locale>
#include <new>
#include <sstream>
#include <string>

namespace qor {

// Composes a text of the library. Unlike a plain string stream, it does not follow the global
// locale, which may group digits and have another decimal point.
class TextStream : public std::ostringstream {
public:
    TextStream() { imbue(std::locale::classic()); }

    // The text. Raises std::bad_alloc if memory ran out while it was composed: the stream then
    // lacks a part of it.
    std::string text() const {
        if (bad()) throw std::bad_alloc();
        return str();
    }
};

}  // namespace qor

#endif  // QOR_SRC_BASE_TEXT_STREAM_H
