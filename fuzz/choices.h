#ifndef QOR_FUZZ_CHOICES_H
#define QOR_FUZZ_CHOICES_H

#include <string>
#include <string_view>

#include "qor/base/base_type_string.h"

// Turns the bytes of an input into decisions, for targets that build a tree. After the end of the
// input, all bytes are 0.
class Choices {
public:
    explicit Choices(qor::istr input) : input_(input) {}
    bool atEnd() const { return input_.empty(); }
    unsigned char byte() {
        if (input_.empty()) return 0;
        const char c = *input_;
        ++input_;
        return static_cast<unsigned char>(c);
    }
    // Any bytes, fewer than `most`.
    std::string bytes(unsigned most) {
        const qor::istr taken = input_.next(byte() % most);
        return std::string(std::string_view(taken));
    }
    // At most four characters of the alphabet.
    std::string token(std::string_view alphabet) {
        std::string text;
        for (int n = byte() % 5; n > 0; --n)
            text += alphabet[byte() % alphabet.size()];
        return text;
    }

private:
    qor::istr input_;
};

#endif  // QOR_FUZZ_CHOICES_H
