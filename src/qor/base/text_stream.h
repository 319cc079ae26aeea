#ifndef QOR_SRC_BASE_TEXT_STREAM_H
#define QOR_SRC_BASE_TEXT_STREAM_H

#include <locale>
#include <new>
#include <sstream>
#include <string>

namespace qor {

// Composes a text of the library. Unlike a plain string stream, it does not follow the global
// locale, which may group digits and have another decimal point.
class TextStream : public std::ostream {
public:
    TextStream() : std::ostream(nullptr) {
        rdbuf(&buffer_);
        imbue(std::locale::classic());
    }

    // The text. Raises std::bad_alloc if memory ran out while it was composed: the stream then
    // lacks a part of it. If the stream failed for another reason, such as a null text, it has what
    // was written before.
    std::string text() const {
        if (buffer_.lacksMemory) throw std::bad_alloc();
        return buffer_.str();
    }
    // Empties the text.
    void restart() { buffer_.str(""); }

private:
    // A stream only remembers that it failed, and not why.
    struct Buffer : std::stringbuf {
        Buffer() : std::stringbuf(std::ios::out) {}
        int_type overflow(int_type c) override {
            try {
                return std::stringbuf::overflow(c);
            } catch (const std::bad_alloc&) {
                lacksMemory = true;
                throw;
            }
        }
        bool lacksMemory = false;
    };

    Buffer buffer_;
};

}  // namespace qor

#endif  // QOR_SRC_BASE_TEXT_STREAM_H
